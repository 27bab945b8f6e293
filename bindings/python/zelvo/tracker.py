"""A Pythonic wrapper of the C API: Tracker and View."""

import ctypes
import enum
import threading
import traceback
from typing import Callable, Dict, List, NamedTuple, Optional, Sequence, Tuple

from . import _native
from ._native import Error, lib


class ZelvoError(Exception):
    """A call of the library failed; `code` says how (an Error)."""

    def __init__(self, code: int, call: str):
        self.code = Error(code)
        super().__init__(f"{call}: {lib.zelvo_error_text(code).decode()}")


def _check(code: int, call: str) -> None:
    if code != Error.OK:
        raise ZelvoError(code, call)


def _text(value: Optional[str]) -> Optional[bytes]:
    return None if value is None else value.encode("utf-8")


class Reachability(enum.IntEnum):
    SYSTEM = 0  # the kernel's routes (an endpoint on loopback counts as reachable)
    ALWAYS = 1  # every ping is tried


class LogSeverity(enum.IntEnum):
    DEBUG = 0
    INFO = 1
    WARNING = 2
    ERROR = 3


class AppEvent(enum.IntEnum):
    WILL_RESIGN_ACTIVE = 0
    WILL_TERMINATE = 1
    DID_BECOME_ACTIVE = 2
    KEYBOARD_DID_SHOW = 3
    KEYBOARD_WILL_HIDE = 4


class InputEvent(enum.IntEnum):
    TOUCHES = 0
    MOTION = 1
    REMOTE_CONTROL = 2
    PRESSES = 3


class Subscription(enum.IntEnum):
    ANONYMOUS = 0
    LOGGED_IN = 1
    PAID = 2


class PingOutcome(enum.IntEnum):
    DELIVERED = 0
    RESENT = 1
    OVER_CAPACITY = 2
    REJECTED = 3
    CONNECTION_FAILED = 4
    TLS_FAILED = 5
    TIMED_OUT = 6
    FAILED = 7
    SKIPPED_OFFLINE = 8
    SKIPPED_LOCKED_OUT = 9
    SKIPPED_BUSY = 10


class Consent(enum.Enum):
    """The reader's answer to the consent question, kept across launches."""
    UNKNOWN = 0
    GIVEN = 1
    REVOKED = 2


class Outcome(NamedTuple):
    """What became of one ping."""
    kind: PingOutcome
    status_code: int  # the HTTP status, 0 without an answer
    url: str          # "" for a skipped ping
    error: str        # "" when delivered


class Status(NamedTuple):
    """The tracker's ping counters since it was made."""
    attempted: int
    delivered: int
    resent: int
    failed_over_capacity: int
    failed_rejected: int
    failed_connection: int
    failed_tls: int
    failed_timeout: int
    failed_other: int
    skipped_offline: int
    skipped_locked_out: int
    skipped_busy: int
    last_error: str
    lock_out_end: Optional[float]  # seconds since 2001-01-01T00:00:00Z, while locked out


class TransportError(Exception):
    """Raised by a transport when no answer came; `kind` is CONNECTION_FAILED, TLS_FAILED,
    TIMED_OUT or FAILED (any other exception a transport raises counts as FAILED)."""

    def __init__(self, kind: PingOutcome, message: str):
        self.kind = PingOutcome(kind)
        super().__init__(message)


# What a transport is given: the URL and the request's headers; it returns the status and the
# body of the answer (any status: redirects are not to be followed) or raises TransportError.
Transport = Callable[[str, Dict[str, str]], Tuple[int, bytes]]

_REQUEST_HEADERS = ("User-Agent", "Cache-Control", "Pragma")


def _send(transport: Transport, request: int) -> None:
    """Runs one request of the library through the host's transport, on a thread of its own."""
    url = ctypes.c_char_p()
    if lib.zelvo_http_request_url(request, ctypes.byref(url)) != Error.OK:
        return  # the platform is gone
    headers = {}
    for name in _REQUEST_HEADERS:
        value = ctypes.c_char_p()
        if lib.zelvo_http_request_header(request, name.encode(), ctypes.byref(value)) == Error.OK and value.value:
            headers[name] = value.value.decode("utf-8", "replace")
    try:
        status, body = transport(url.value.decode("utf-8"), headers)
        body = bytes(body or b"")
        lib.zelvo_http_request_complete(request, int(status), body, len(body))
    except TransportError as error:
        lib.zelvo_http_request_fail(request, int(error.kind), _text(str(error)))
    except Exception as error:  # the transport's own fault: the request ends all the same
        traceback.print_exc()
        lib.zelvo_http_request_fail(request, int(PingOutcome.FAILED), _text(f"{type(error).__name__}: {error}"))


class View:
    """A screen of the application whose geometry you set, in points. A view with a content
    size scrolls; its content offset is how far the reader scrolled."""

    def __init__(self, bounds: Tuple[float, float] = (0, 0),
                 content_size: Optional[Tuple[float, float]] = None):
        handle = ctypes.c_void_p()
        _check(lib.zelvo_view_new(int(content_size is not None), ctypes.byref(handle)), "zelvo_view_new")
        self._handle = handle
        self._bounds = (0.0, 0.0)
        self._content_size = content_size
        self._content_offset = (0.0, 0.0)
        self.bounds = bounds
        if content_size is not None:
            self.content_size = content_size

    @property
    def bounds(self) -> Tuple[float, float]:
        return self._bounds

    @bounds.setter
    def bounds(self, size: Tuple[float, float]) -> None:
        _check(lib.zelvo_view_set_bounds(self._handle, *size), "zelvo_view_set_bounds")
        self._bounds = tuple(size)

    @property
    def content_size(self) -> Optional[Tuple[float, float]]:
        return self._content_size

    @content_size.setter
    def content_size(self, size: Tuple[float, float]) -> None:
        _check(lib.zelvo_view_set_content_size(self._handle, *size), "zelvo_view_set_content_size")
        self._content_size = tuple(size)

    @property
    def content_offset(self) -> Tuple[float, float]:
        return self._content_offset

    @content_offset.setter
    def content_offset(self, point: Tuple[float, float]) -> None:
        _check(lib.zelvo_view_set_content_offset(self._handle, *point), "zelvo_view_set_content_offset")
        self._content_offset = tuple(point)

    def __del__(self):
        if getattr(self, "_handle", None):
            lib.zelvo_view_free(self._handle)
            self._handle = None


class Tracker:
    """A tracker of its own on a Linux platform made from the options, started with the
    account number. Use it as a context manager, or call close(): that stops it and joins the
    library's threads.

    on_log, when given, receives (LogSeverity, line) from any of the library's threads;
    on_ping (a property) receives an Outcome per ping on the library's main thread.
    Exceptions raised in either are printed and otherwise ignored.

    proxy is curl's ("http://proxy:3128", "socks5h://host:1080"; "" for none whatever
    https_proxy says); request_timeout and connect_timeout are in seconds. transport, when
    given, sends every request instead of curl (see Transport): each runs on a thread of its
    own, and the library then opens no connection of its own.

    With consent_required, nothing is stored or sent until give_consent() (the answer is kept
    across launches).
    """

    def __init__(self, account_id: int, *, app_id: Optional[str] = None, endpoint: Optional[str] = None,
                 ca_file: Optional[str] = None, store_path: Optional[str] = None,
                 model_name: Optional[str] = None, reachability: Reachability = Reachability.SYSTEM,
                 screen: Optional[Tuple[float, float, float]] = None,
                 on_log: Optional[Callable[[LogSeverity, str], None]] = None, proxy: Optional[str] = None,
                 request_timeout: Optional[float] = None, connect_timeout: Optional[float] = None,
                 transport: Optional[Transport] = None, consent_required: bool = False):
        self._tracker = None
        self._platform = None
        self._on_ping = None
        self._ping_callback = None
        self._properties: Dict[str, object] = {}
        options = ctypes.c_void_p()
        _check(lib.zelvo_options_new(ctypes.byref(options)), "zelvo_options_new")
        try:
            for setter, value in (("store_path", store_path), ("endpoint", endpoint), ("ca_file", ca_file),
                                  ("app_id", app_id), ("model_name", model_name)):
                if value is not None:
                    name = "zelvo_options_set_" + setter
                    _check(getattr(lib, name)(options, _text(value)), name)
            _check(lib.zelvo_options_set_reachability(options, int(reachability)), "zelvo_options_set_reachability")
            _check(lib.zelvo_options_set_consent_required(options, int(consent_required)),
                   "zelvo_options_set_consent_required")
            if proxy is not None:
                _check(lib.zelvo_options_set_proxy(options, _text(proxy)), "zelvo_options_set_proxy")
            for name, seconds in (("request_timeout", request_timeout), ("connect_timeout", connect_timeout)):
                if seconds is not None:
                    _check(getattr(lib, "zelvo_options_set_" + name)(options, float(seconds)), "zelvo_options_set_" + name)
            if transport is not None:
                # Kept as long as the platform, like the log callback.
                self._http_handler = _native.HTTP_HANDLER(
                    lambda _, request: threading.Thread(target=_send, args=(transport, request), daemon=True).start())
                _check(lib.zelvo_options_set_http_handler(options, self._http_handler, None),
                       "zelvo_options_set_http_handler")
            if on_log is not None:
                # Kept as long as the platform, which may log until close() has joined it.
                self._log_callback = _native.LOG_CALLBACK(
                    lambda _, severity, line: on_log(LogSeverity(severity), line.decode("utf-8", "replace")))
                _check(lib.zelvo_options_set_log_callback(options, self._log_callback, None),
                       "zelvo_options_set_log_callback")
            platform = ctypes.c_void_p()
            _check(lib.zelvo_platform_new(options, ctypes.byref(platform)), "zelvo_platform_new")
            self._platform = platform
        finally:
            lib.zelvo_options_free(options)
        if screen is not None:
            _check(lib.zelvo_platform_set_screen(self._platform, *screen), "zelvo_platform_set_screen")
        tracker = ctypes.c_void_p()
        _check(lib.zelvo_tracker_new(self._platform, ctypes.byref(tracker)), "zelvo_tracker_new")
        self._tracker = tracker
        self._call("start", ctypes.c_uint32(account_id), _text(app_id))

    def _call(self, name: str, *arguments) -> None:
        if self._tracker is None:
            raise ValueError("the tracker is closed")
        _check(getattr(lib, "zelvo_tracker_" + name)(self._tracker, *arguments), "zelvo_tracker_" + name)

    def __enter__(self) -> "Tracker":
        return self

    def __exit__(self, *exception) -> None:
        self.close()

    def close(self) -> None:
        """Stops the tracker and releases it with its platform (whose threads are joined)."""
        if self._tracker is not None:
            lib.zelvo_tracker_stop(self._tracker)
            lib.zelvo_tracker_set_ping_outcome_callback(self._tracker, _native.PING_OUTCOME_CALLBACK(), None)
            lib.zelvo_tracker_free(self._tracker)
            self._tracker = None
        if self._platform is not None:
            lib.zelvo_platform_free(self._platform)
            self._platform = None

    def __del__(self):
        try:
            self.close()
        except Exception:  # at interpreter exit, the module may be gone already
            pass

    # Views and events.
    def track_view(self, view: View, path: str, title: Optional[str] = None) -> None:
        """The reader now looks at `view`, known on the wire by `path`."""
        self._call("track_view", view._handle, _text(path), _text(title))

    def stop(self) -> None:
        self._call("stop")

    def app_event(self, event: AppEvent) -> None:
        self._call("post_app_event", int(event))

    def input_event(self, event: InputEvent = InputEvent.TOUCHES) -> None:
        self._call("send_input_event", int(event))

    def user_engaged(self, typing: bool = False) -> None:
        self._call("user_engaged", int(typing))

    def erase_stored_data(self) -> None:
        self._call("erase_stored_data")

    # Properties: each reads back what was set here.
    def _set(self, name: str, value, *arguments) -> None:
        self._call("set_" + name, *arguments)
        self._properties[name] = value

    def _list_property(name: str):
        def setter(self, items: Optional[Sequence[str]]) -> None:
            array = _native.text_array(None if items is None else list(items))
            self._set(name, None if items is None else list(items), array, 0 if items is None else len(items))
        return property(lambda self: self._properties.get(name), setter)

    def _text_property(name: str):
        return property(lambda self: self._properties.get(name),
                        lambda self, value: self._set(name, value, _text(value)))

    def _flag_property(name: str, default):
        return property(lambda self: self._properties.get(name, default),
                        lambda self, value: self._set(name, value, int(value)))

    sections = _list_property("sections")
    authors = _list_property("authors")
    zones = _list_property("zones")
    domain = _text_property("domain")
    app_referrer = _text_property("app_referrer")
    push_referrer = _text_property("push_referrer")
    interval = _flag_property("interval", None)
    active = _flag_property("active", True)
    debug_mode = _flag_property("debug_mode", False)
    subscription = _flag_property("subscription", None)
    del _list_property, _text_property, _flag_property

    @property
    def id_sync(self) -> Optional[Dict[str, str]]:
        return self._properties.get("id_sync")

    @id_sync.setter
    def id_sync(self, pairs: Optional[Dict[str, str]]) -> None:
        keys = None if pairs is None else list(pairs)
        values = None if pairs is None else [pairs[key] for key in keys]
        self._set("id_sync", None if pairs is None else dict(pairs), _native.text_array(keys),
                  _native.text_array(values), 0 if pairs is None else len(keys))

    @property
    def collection_enabled(self) -> bool:
        enabled = ctypes.c_int()
        self._call("collection_enabled", ctypes.byref(enabled))
        return bool(enabled.value)

    @collection_enabled.setter
    def collection_enabled(self, enabled: bool) -> None:
        self._call("set_collection_enabled", int(enabled))

    # Consent, when the tracker was made with consent_required: nothing is stored or sent
    # until give_consent().
    @property
    def consent_required(self) -> bool:
        required = ctypes.c_int()
        self._call("consent_required", ctypes.byref(required))
        return bool(required.value)

    @property
    def consent(self) -> Consent:
        state = ctypes.c_int()
        self._call("consent_state", ctypes.byref(state))
        return Consent(state.value)

    def give_consent(self) -> None:
        self._call("give_consent")

    def revoke_consent(self, erase: bool = False) -> None:
        """Stops collecting at once; with erase, the reader's identity is forgotten too."""
        self._call("revoke_consent", int(erase))

    # Ping outcomes.
    @property
    def on_ping(self) -> Optional[Callable[[Outcome], None]]:
        return self._on_ping

    @on_ping.setter
    def on_ping(self, function: Optional[Callable[[Outcome], None]]) -> None:
        callback = _native.PING_OUTCOME_CALLBACK()
        if function is not None:
            callback = _native.PING_OUTCOME_CALLBACK(
                lambda _, kind, status, url, error: function(
                    Outcome(PingOutcome(kind), status, url.decode("utf-8", "replace"),
                            error.decode("utf-8", "replace"))))
        # Once the call returns the old callback is not called again, so it may go.
        self._call("set_ping_outcome_callback", callback, None)
        self._on_ping, self._ping_callback = function, callback

    @property
    def status(self) -> Status:
        snapshot = ctypes.c_void_p()
        self._call("status", ctypes.byref(snapshot))
        try:
            counters = []
            for counter in range(12):
                value = ctypes.c_uint64()
                _check(lib.zelvo_status_counter(snapshot, counter, ctypes.byref(value)), "zelvo_status_counter")
                counters.append(value.value)
            last_error = ctypes.c_char_p()
            _check(lib.zelvo_status_last_error(snapshot, ctypes.byref(last_error)), "zelvo_status_last_error")
            locked_out, end = ctypes.c_int(), ctypes.c_double()
            _check(lib.zelvo_status_lock_out(snapshot, ctypes.byref(locked_out), ctypes.byref(end)),
                   "zelvo_status_lock_out")
            return Status(*counters, last_error.value.decode("utf-8", "replace"),
                          end.value if locked_out.value else None)
        finally:
            lib.zelvo_status_free(snapshot)
