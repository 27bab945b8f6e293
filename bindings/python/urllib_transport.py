"""The library's requests sent by Python's own urllib instead of curl: through the proxies
urllib reads (https_proxy, or a ProxyHandler of the application's), with its TLS context.

    ZELVO_LIBRARY=build/shared/libzelvo.so.1 PYTHONPATH=bindings/python \
      python3 bindings/python/urllib_transport.py ENDPOINT CA_FILE STORE_FILE

sends a view's pings to ENDPOINT (a collector trusted through CA_FILE) and prints their
outcomes. make_transport() is the part to take into an application.
"""
import socket
import ssl
import sys
import time
import urllib.error
import urllib.request

import zelvo


def make_transport(ca_file=None, timeout=10.0):
    """A transport for zelvo.Tracker(transport=...) on urllib: redirects are answers, not
    followed; a failure to connect, a TLS failure and a timeout are told apart."""
    context = ssl.create_default_context(cafile=ca_file)

    class NoRedirect(urllib.request.HTTPRedirectHandler):
        def redirect_request(self, *arguments):
            return None  # the 3xx comes back as an answer

    opener = urllib.request.build_opener(urllib.request.HTTPSHandler(context=context), NoRedirect())

    def transport(url, headers):
        try:
            with opener.open(urllib.request.Request(url, headers=headers), timeout=timeout) as answer:
                return answer.status, answer.read()
        except urllib.error.HTTPError as answer:  # a status that is not 2xx is still an answer
            return answer.code, answer.read()
        except urllib.error.URLError as error:
            reason = error.reason
            if isinstance(reason, ssl.SSLError):
                raise zelvo.TransportError(zelvo.PingOutcome.TLS_FAILED, str(reason)) from error
            if isinstance(reason, (socket.timeout, TimeoutError)):
                raise zelvo.TransportError(zelvo.PingOutcome.TIMED_OUT, str(reason)) from error
            raise zelvo.TransportError(zelvo.PingOutcome.CONNECTION_FAILED, str(reason)) from error
        except (socket.timeout, TimeoutError) as error:
            raise zelvo.TransportError(zelvo.PingOutcome.TIMED_OUT, str(error)) from error

    return transport


def main(endpoint, ca_file, store_path):
    outcomes = []
    with zelvo.Tracker(12345, app_id="com.example.urllib", endpoint=endpoint, store_path=store_path,
                       reachability=zelvo.Reachability.ALWAYS, transport=make_transport(ca_file)) as tracker:
        tracker.on_ping = outcomes.append
        tracker.interval = 1
        tracker.track_view(zelvo.View(bounds=(375, 667)), "/python/urllib", "urllib")
        deadline = time.monotonic() + 10
        while len(outcomes) < 2 and time.monotonic() < deadline:
            time.sleep(0.1)
    for outcome in outcomes:
        print(outcome.kind.name, outcome.status_code, outcome.url)
    return 0 if any(o.kind == zelvo.PingOutcome.DELIVERED for o in outcomes) else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:4]))
