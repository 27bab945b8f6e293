"""The C API of libzelvo (include/zelvo/zelvo.h) as ctypes prototypes.

The library is libzelvo.so.1 from the loader's search path, or the file named by the
ZELVO_LIBRARY environment variable (a build tree's library, for instance).
"""

import ctypes
import enum
import os

LIBRARY_VARIABLE = "ZELVO_LIBRARY"


class Error(enum.IntEnum):
    OK = 0
    NULL_ARGUMENT = 1
    INVALID_UTF8 = 2
    INVALID_ARGUMENT = 3
    BAD_OPTIONS = 4
    REFUSED = 5
    OUT_OF_MEMORY = 6
    INTERNAL = 7


LOG_CALLBACK = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_int, ctypes.c_char_p)
PING_OUTCOME_CALLBACK = ctypes.CFUNCTYPE(
    None, ctypes.c_void_p, ctypes.c_int, ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p)

HTTP_HANDLER = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_void_p)

_handle = ctypes.c_void_p
_out = ctypes.POINTER(ctypes.c_void_p)
_text = ctypes.c_char_p
_texts = ctypes.POINTER(ctypes.c_char_p)
_int = ctypes.c_int
_double = ctypes.c_double

# name: (result type, argument types); every function not listed as returning something else
# returns a zelvo_error.
_PROTOTYPES = {
    "zelvo_error_text": (_text, [_int]),
    "zelvo_version": (_text, []),
    "zelvo_options_new": (_int, [_out]),
    "zelvo_options_free": (None, [_handle]),
    "zelvo_options_set_store_path": (_int, [_handle, _text]),
    "zelvo_options_set_endpoint": (_int, [_handle, _text]),
    "zelvo_options_set_ca_file": (_int, [_handle, _text]),
    "zelvo_options_set_app_id": (_int, [_handle, _text]),
    "zelvo_options_set_model_name": (_int, [_handle, _text]),
    "zelvo_options_set_reachability": (_int, [_handle, _int]),
    "zelvo_options_set_log_callback": (_int, [_handle, LOG_CALLBACK, ctypes.c_void_p]),
    "zelvo_platform_new": (_int, [_handle, _out]),
    "zelvo_platform_free": (None, [_handle]),
    "zelvo_platform_install": (_int, [_handle]),
    "zelvo_platform_set_screen": (_int, [_handle, _double, _double, _double]),
    "zelvo_view_new": (_int, [_int, _out]),
    "zelvo_view_free": (None, [_handle]),
    "zelvo_view_set_bounds": (_int, [_handle, _double, _double]),
    "zelvo_view_set_content_size": (_int, [_handle, _double, _double]),
    "zelvo_view_set_content_offset": (_int, [_handle, _double, _double]),
    "zelvo_tracker_shared": (_int, [_out]),
    "zelvo_tracker_new": (_int, [_handle, _out]),
    "zelvo_tracker_free": (None, [_handle]),
    "zelvo_tracker_start": (_int, [_handle, ctypes.c_uint32, _text]),
    "zelvo_tracker_track_view": (_int, [_handle, _handle, _text, _text]),
    "zelvo_tracker_stop": (_int, [_handle]),
    "zelvo_tracker_set_interval": (_int, [_handle, ctypes.c_uint32]),
    "zelvo_tracker_set_active": (_int, [_handle, _int]),
    "zelvo_tracker_set_debug_mode": (_int, [_handle, _int]),
    "zelvo_tracker_post_app_event": (_int, [_handle, _int]),
    "zelvo_tracker_send_input_event": (_int, [_handle, _int]),
    "zelvo_tracker_user_engaged": (_int, [_handle, _int]),
    "zelvo_tracker_set_sections": (_int, [_handle, _texts, ctypes.c_size_t]),
    "zelvo_tracker_set_authors": (_int, [_handle, _texts, ctypes.c_size_t]),
    "zelvo_tracker_set_zones": (_int, [_handle, _texts, ctypes.c_size_t]),
    "zelvo_tracker_set_domain": (_int, [_handle, _text]),
    "zelvo_tracker_set_app_referrer": (_int, [_handle, _text]),
    "zelvo_tracker_set_push_referrer": (_int, [_handle, _text]),
    "zelvo_tracker_set_subscription": (_int, [_handle, _int]),
    "zelvo_tracker_set_id_sync": (_int, [_handle, _texts, _texts, ctypes.c_size_t]),
    "zelvo_tracker_set_collection_enabled": (_int, [_handle, _int]),
    "zelvo_tracker_collection_enabled": (_int, [_handle, ctypes.POINTER(_int)]),
    "zelvo_tracker_erase_stored_data": (_int, [_handle]),
    "zelvo_tracker_set_ping_outcome_callback": (_int, [_handle, PING_OUTCOME_CALLBACK, ctypes.c_void_p]),
    "zelvo_tracker_status": (_int, [_handle, _out]),
    "zelvo_status_free": (None, [_handle]),
    "zelvo_status_counter": (_int, [_handle, _int, ctypes.POINTER(ctypes.c_uint64)]),
    "zelvo_status_last_error": (_int, [_handle, ctypes.POINTER(ctypes.c_char_p)]),
    "zelvo_status_lock_out": (_int, [_handle, ctypes.POINTER(_int), ctypes.POINTER(_double)]),
    "zelvo_options_set_proxy": (_int, [_handle, _text]),
    "zelvo_options_set_request_timeout": (_int, [_handle, _double]),
    "zelvo_options_set_connect_timeout": (_int, [_handle, _double]),
    "zelvo_options_set_http_handler": (_int, [_handle, HTTP_HANDLER, ctypes.c_void_p]),
    "zelvo_http_request_url": (_int, [_handle, ctypes.POINTER(ctypes.c_char_p)]),
    "zelvo_http_request_header": (_int, [_handle, _text, ctypes.POINTER(ctypes.c_char_p)]),
    "zelvo_http_request_complete": (_int, [_handle, _int, ctypes.c_char_p, ctypes.c_size_t]),
    "zelvo_http_request_fail": (_int, [_handle, _int, _text]),
    "zelvo_options_set_consent_required": (_int, [_handle, _int]),
    "zelvo_tracker_consent_required": (_int, [_handle, ctypes.POINTER(_int)]),
    "zelvo_tracker_give_consent": (_int, [_handle]),
    "zelvo_tracker_revoke_consent": (_int, [_handle, _int]),
    "zelvo_tracker_consent_state": (_int, [_handle, ctypes.POINTER(_int)]),
}


def _load():
    library = ctypes.CDLL(os.environ.get(LIBRARY_VARIABLE) or "libzelvo.so.1")
    for name, (result, arguments) in _PROTOTYPES.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = arguments
    return library


lib = _load()


def text_array(items):
    """A C array of UTF-8 strings, or None for None."""
    if items is None:
        return None
    encoded = [item.encode("utf-8") for item in items]
    return (ctypes.c_char_p * len(encoded))(*encoded)
