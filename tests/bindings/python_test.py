"""The Python package against a collector (with_collector.sh checks what the collector saw):
a tracker with its properties, callbacks and status, consent asked first (a view tracked
before the reader agrees never reaches the collector), and the error codes of bad arguments.
Usage: python_test.py ENDPOINT CA_FILE STORE_FILE, with ZELVO_LIBRARY naming the library."""
import ctypes
import os
import sys
import time

import zelvo
from zelvo import Error, lib


def drive(endpoint, ca_file, store_path):
    outcomes, log_lines = [], []
    with zelvo.Tracker(12345, app_id="com.example.python", endpoint=endpoint, ca_file=ca_file,
                       store_path=store_path, model_name="Python test", reachability=zelvo.Reachability.ALWAYS,
                       screen=(375, 667, 2), on_log=lambda severity, line: log_lines.append((severity, line)),
                       consent_required=True) as tracker:
        tracker.on_ping = outcomes.append
        tracker.interval = 1
        tracker.sections = ["news", "world"]
        tracker.authors = []
        tracker.subscription = zelvo.Subscription.LOGGED_IN
        tracker.id_sync = {"crm": "r\u00e9"}
        assert tracker.collection_enabled and tracker.sections == ["news", "world"]
        assert tracker.consent_required and tracker.consent == zelvo.Consent.UNKNOWN
        tracker.track_view(zelvo.View(), "/python/before-consent")
        tracker.input_event(zelvo.InputEvent.TOUCHES)
        time.sleep(1.5)  # a ping a second, were the reader asked and agreed
        assert not outcomes and tracker.status.attempted == 0, outcomes
        article = zelvo.View(bounds=(375, 667), content_size=(375, 4000))
        tracker.track_view(article, "/python/article", "Python")
        tracker.give_consent()
        assert tracker.consent == zelvo.Consent.GIVEN
        article.content_offset = (0, 1200)  # 2400 pixels at scale 2
        tracker.input_event(zelvo.InputEvent.TOUCHES)
        deadline = time.monotonic() + 20
        while sum(o.kind == zelvo.PingOutcome.DELIVERED for o in outcomes) < 3 and time.monotonic() < deadline:
            time.sleep(0.1)
        status = tracker.status
        tracker.revoke_consent()
        assert tracker.consent == zelvo.Consent.REVOKED
        attempted = tracker.status.attempted
        time.sleep(1.5)
        assert tracker.status.attempted == attempted, "a request after the reader refused"
    delivered = [o for o in outcomes if o.kind == zelvo.PingOutcome.DELIVERED]
    assert len(delivered) >= 3 and status.delivered >= len(delivered), (outcomes, status)
    assert all(o.status_code == 200 and "/ping?" in o.url and o.error == "" for o in delivered), delivered
    assert status.last_error == "" and status.lock_out_end is None, status
    assert not any(severity == zelvo.LogSeverity.ERROR for severity, _ in log_lines), log_lines


def drive_own_transport(endpoint, ca_file, store_path):
    """The same through urllib (the example's transport): the library's proxy, which curl would
    use, is dead and unused; the requests reach the collector all the same."""
    sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "bindings", "python"))
    from urllib_transport import make_transport
    urls, outcomes = [], []
    urllib_transport = make_transport(ca_file)

    def transport(url, headers):
        urls.append((url, headers.get("User-Agent", "")))
        return urllib_transport(url, headers)

    with zelvo.Tracker(12345, app_id="com.example.python", endpoint=endpoint, store_path=store_path + ".own",
                       reachability=zelvo.Reachability.ALWAYS, proxy="http://127.0.0.1:9", request_timeout=2,
                       connect_timeout=1, transport=transport) as tracker:
        tracker.on_ping = outcomes.append
        tracker.interval = 1
        tracker.track_view(zelvo.View(bounds=(375, 667)), "/python/own-transport", "urllib")
        deadline = time.monotonic() + 20
        while sum(o.kind == zelvo.PingOutcome.DELIVERED for o in outcomes) < 2 and time.monotonic() < deadline:
            time.sleep(0.1)
        status = tracker.status
    assert status.delivered >= 2 and status.failed_connection == 0, (outcomes, status)
    assert all(url.startswith(endpoint + "/ping?") and agent for url, agent in urls), urls


def bad_arguments():
    options, view = ctypes.c_void_p(), ctypes.c_void_p()
    assert lib.zelvo_options_new(ctypes.byref(options)) == Error.OK
    assert lib.zelvo_view_new(0, ctypes.byref(view)) == Error.OK
    cases = [
        (lib.zelvo_tracker_start(None, 1, None), Error.NULL_ARGUMENT),
        (lib.zelvo_view_set_bounds(None, 1.0, 1.0), Error.NULL_ARGUMENT),
        (lib.zelvo_options_set_app_id(options, b"caf\xc3"), Error.INVALID_UTF8),
        (lib.zelvo_options_set_endpoint(options, b"\xed\xa0\x80"), Error.INVALID_UTF8),
        (lib.zelvo_view_set_content_offset(view, 0.0, 1.0), Error.INVALID_ARGUMENT),
        (lib.zelvo_options_set_request_timeout(options, float("nan")), Error.INVALID_ARGUMENT),
        (lib.zelvo_options_set_connect_timeout(options, -1.0), Error.INVALID_ARGUMENT),
        (lib.zelvo_http_request_complete(ctypes.c_void_p(12345), 200, None, 0), Error.REFUSED),
    ]
    lib.zelvo_view_free(view)
    lib.zelvo_options_free(options)
    assert [got for got, _ in cases] == [want for _, want in cases], cases
    log_lines = []
    try:
        zelvo.Tracker(1, endpoint="not a url", on_log=lambda severity, line: log_lines.append(severity))
        raise AssertionError("a tracker with an endpoint that is not a URL")
    except zelvo.ZelvoError as error:
        assert error.code == Error.BAD_OPTIONS and zelvo.LogSeverity.ERROR in log_lines, (error, log_lines)


if __name__ == "__main__":
    drive(*sys.argv[1:4])
    drive_own_transport(*sys.argv[1:4])
    bad_arguments()
    print(f"zelvo {zelvo.version()} from Python: pings delivered, bad arguments refused")
