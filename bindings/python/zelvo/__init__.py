"""Zelvo from Python: the tracker through libzelvo's C API, with ctypes.

    import zelvo
    with zelvo.Tracker(12345, app_id="com.example.news") as tracker:
        article = zelvo.View(bounds=(375, 667), content_size=(375, 4000))
        tracker.track_view(article, "/news/today", "Today's news")
        article.content_offset = (0, 1200)   # as the reader scrolls

The library loaded is libzelvo.so.1, or the file the ZELVO_LIBRARY environment variable names.
"""

from ._native import Error, lib
from .tracker import (AppEvent, Consent, InputEvent, LogSeverity, Outcome, PingOutcome, Reachability, Status,
                      Subscription, Tracker, Transport, TransportError, View, ZelvoError)


def version() -> str:
    """The version of the library loaded."""
    return lib.zelvo_version().decode()


__all__ = ["AppEvent", "Consent", "Error", "InputEvent", "LogSeverity", "Outcome", "PingOutcome", "Reachability", "Status",
           "Subscription", "Tracker", "Transport", "TransportError", "View", "ZelvoError", "version"]
