"""The README's Python example: one article, read and scrolled for a few seconds.

    python3 example.py                      pings the library's own hosts
    python3 example.py ENDPOINT CA_FILE     pings a collector of yours, e.g. zelvo-collector's
                                            https://127.0.0.1:PORT and the file of its --ca-out
"""
import sys
import time

import zelvo

endpoint, ca_file = sys.argv[1:3] if len(sys.argv) == 3 else (None, None)
with zelvo.Tracker(12345, app_id="com.example.news", endpoint=endpoint, ca_file=ca_file,
                   screen=(375, 667, 2)) as tracker:
    tracker.on_ping = lambda outcome: print(outcome.kind.name, outcome.status_code, outcome.url[:60])
    tracker.sections = ["news", "world"]
    article = zelvo.View(bounds=(375, 667), content_size=(375, 4000))
    tracker.track_view(article, "/news/today", "Today's news")
    article.content_offset = (0, 1200)  # as the reader scrolls
    time.sleep(3)
    status = tracker.status
    print(f"zelvo {zelvo.version()}: pings attempted {status.attempted}, delivered {status.delivered}")
