#ifndef ZELVO_ZELVO_H
#define ZELVO_ZELVO_H

/*
 * Zelvo's C API: the tracker for hosts that cannot use the C++ classes (C, or any language
 * with a C foreign-function interface; bindings/python is one).
 *
 * Stability: from version 1.0 on this API only grows. Functions, enumerators and handle types
 * are added, never changed nor removed, and enumerators keep their values, so a program built
 * against an older header runs against a newer libzelvo.so.1. The package check compares the
 * library's ABI with the one recorded in abi/ and fails on anything removed or changed.
 *
 * Conventions:
 *  - Every handle is opaque and made by a zelvo_..._new (or zelvo_tracker_shared) call; each
 *    is released with its zelvo_..._free, which accepts NULL. Nothing else the host gets is
 *    to be freed.
 *  - Every call that can fail returns a zelvo_error. A NULL handle, out pointer or required
 *    string gives ZELVO_ERROR_NULL_ARGUMENT and changes nothing; an out pointer is written
 *    only on ZELVO_OK.
 *  - Strings are UTF-8, NUL-terminated, and copied by the library before the call returns.
 *    A string that is not well-formed UTF-8 gives ZELVO_ERROR_INVALID_UTF8 and changes
 *    nothing. Where a string is optional, NULL means "none".
 *  - Booleans are ints: 0 is false, anything else true.
 *  - Thread: every function may be called from any thread, as the C++ ZVTracker's members
 *    may (see the README's "Threads"): setters and actions made off the library's main thread
 *    are carried onto it in order and return at once; getters wait for it. A zelvo_options
 *    is a plain builder: use one from one thread at a time.
 */

#include <stddef.h>
#include <stdint.h>

#include "zelvo/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Errors and version ---------------------------------------------------------------- */

typedef enum zelvo_error {
  ZELVO_OK = 0,
  /** A handle, an out pointer or a required string was NULL. */
  ZELVO_ERROR_NULL_ARGUMENT = 1,
  /** A string was not well-formed UTF-8. */
  ZELVO_ERROR_INVALID_UTF8 = 2,
  /** An enumerator out of range, or a call the handle does not support (a content size on a
     view that does not scroll). */
  ZELVO_ERROR_INVALID_ARGUMENT = 3,
  /** The platform cannot be made from these options (an endpoint that is not an https URL);
     the reason is logged at error severity. */
  ZELVO_ERROR_BAD_OPTIONS = 4,
  /** zelvo_platform_install: the process-wide tracker already runs on another platform.
     zelvo_http_request_*: the request is already completed, or its platform is gone. */
  ZELVO_ERROR_REFUSED = 5,
  ZELVO_ERROR_OUT_OF_MEMORY = 6,
  /** An unexpected failure inside the library. */
  ZELVO_ERROR_INTERNAL = 7
} zelvo_error;

/** The error's name in words ("null argument"); static text, never NULL. */
ZELVO_EXPORT const char* zelvo_error_text(zelvo_error error);
/** The version of the library loaded, "MAJOR.MINOR.PATCH"; static text. */
ZELVO_EXPORT const char* zelvo_version(void);

/* ---- Platform: the operating system's services the tracker runs on ---------------------- */

typedef struct zelvo_options zelvo_options;
typedef struct zelvo_platform zelvo_platform;

typedef enum zelvo_reachability {
  ZELVO_REACHABILITY_SYSTEM = 0, /* the kernel's routes (an endpoint on loopback counts as
                                    reachable without asking) */
  ZELVO_REACHABILITY_ALWAYS = 1  /* never asks; every ping is tried */
} zelvo_reachability;

typedef enum zelvo_log_severity {
  ZELVO_LOG_DEBUG = 0,
  ZELVO_LOG_INFO = 1,
  ZELVO_LOG_WARNING = 2,
  ZELVO_LOG_ERROR = 3
} zelvo_log_severity;

/** One log line, without its newline, valid during the call only. Called from any thread,
   possibly from several at once. */
typedef void (*zelvo_log_callback)(void* user_data, zelvo_log_severity severity, const char* line);

ZELVO_EXPORT zelvo_error zelvo_options_new(zelvo_options** out);
ZELVO_EXPORT void zelvo_options_free(zelvo_options* options);
/** The store's file (default: zelvo.sqlite in the application's XDG data directory). */
ZELVO_EXPORT zelvo_error zelvo_options_set_store_path(zelvo_options* options, const char* path);
/** Base URL "https://host[:port][/prefix]" that pings and the configuration go to instead of
   the library's own hosts; checked by zelvo_platform_new. */
ZELVO_EXPORT zelvo_error zelvo_options_set_endpoint(zelvo_options* options, const char* endpoint);
/** A PEM bundle of authorities to trust instead of the system's. */
ZELVO_EXPORT zelvo_error zelvo_options_set_ca_file(zelvo_options* options, const char* path);
/** The application identifier (default: the program's file name). */
ZELVO_EXPORT zelvo_error zelvo_options_set_app_id(zelvo_options* options, const char* app_id);
/** The device model sent in the user agent (default: the firmware's product name). */
ZELVO_EXPORT zelvo_error zelvo_options_set_model_name(zelvo_options* options, const char* model_name);
ZELVO_EXPORT zelvo_error zelvo_options_set_reachability(zelvo_options* options, zelvo_reachability choice);
/** Where log lines go instead of standard error; NULL returns them there. */
ZELVO_EXPORT zelvo_error zelvo_options_set_log_callback(zelvo_options* options, zelvo_log_callback callback,
                                                        void* user_data);
/** Nonzero: the tracker stores and sends nothing until the reader agrees
   (zelvo_tracker_give_consent). Default 0. */
ZELVO_EXPORT zelvo_error zelvo_options_set_consent_required(zelvo_options* options, int required);

/** Makes the platform (it starts its threads) from a copy of `options`. */
ZELVO_EXPORT zelvo_error zelvo_platform_new(const zelvo_options* options, zelvo_platform** out);
/** Releases the handle; the platform lives on while a tracker uses it. */
ZELVO_EXPORT void zelvo_platform_free(zelvo_platform* platform);
/** Makes `platform` the one zelvo_tracker_shared() runs on; call it before the first
   zelvo_tracker_shared(). Later: ZELVO_ERROR_REFUSED. */
ZELVO_EXPORT zelvo_error zelvo_platform_install(zelvo_platform* platform);
/** The host's screen in points and its pixels per point. Scroll depths and sizes are sent in
   pixels, so until this is called they go out as 0. */
ZELVO_EXPORT zelvo_error zelvo_platform_set_screen(zelvo_platform* platform, double width, double height,
                                                   double scale);

/* ---- Views: a screen of the host, whose geometry the host sets -------------------------- */

typedef struct zelvo_view zelvo_view;

/** A view with zero bounds; `scrolls` makes it a scrolling container with a content size and
   offset. Its setters may be called from any thread while it is tracked. */
ZELVO_EXPORT zelvo_error zelvo_view_new(int scrolls, zelvo_view** out);
/** Releases the handle; the tracker keeps the view alive while it tracks it. */
ZELVO_EXPORT void zelvo_view_free(zelvo_view* view);
/** In points. */
ZELVO_EXPORT zelvo_error zelvo_view_set_bounds(zelvo_view* view, double width, double height);
/** Scrolling views only; ZELVO_ERROR_INVALID_ARGUMENT on others. */
ZELVO_EXPORT zelvo_error zelvo_view_set_content_size(zelvo_view* view, double width, double height);
ZELVO_EXPORT zelvo_error zelvo_view_set_content_offset(zelvo_view* view, double x, double y);

/* ---- The tracker ------------------------------------------------------------------------- */

typedef struct zelvo_tracker zelvo_tracker;

/** The process-wide tracker, on the installed platform (or the default one). */
ZELVO_EXPORT zelvo_error zelvo_tracker_shared(zelvo_tracker** out);
/** A tracker of its own on `platform`, with its own heartbeat; it goes away with its handle. */
ZELVO_EXPORT zelvo_error zelvo_tracker_new(zelvo_platform* platform, zelvo_tracker** out);
ZELVO_EXPORT void zelvo_tracker_free(zelvo_tracker* tracker);

/** Starts with the account number; `app_id` NULL: the platform's. Nothing is sent before the
   first zelvo_tracker_track_view. */
ZELVO_EXPORT zelvo_error zelvo_tracker_start(zelvo_tracker* tracker, uint32_t account_id, const char* app_id);
/** The reader now looks at `view`, known on the wire as `view_id` (its path); `title` may be
   NULL. Sends the view's first ping. */
ZELVO_EXPORT zelvo_error zelvo_tracker_track_view(zelvo_tracker* tracker, zelvo_view* view, const char* view_id,
                                                  const char* title);
/** Stops for good; the next zelvo_tracker_track_view starts again. */
ZELVO_EXPORT zelvo_error zelvo_tracker_stop(zelvo_tracker* tracker);
/** The ping period, in seconds, from the next view on. */
ZELVO_EXPORT zelvo_error zelvo_tracker_set_interval(zelvo_tracker* tracker, uint32_t seconds);
/** Whether the reader counts as active; while not, the ping period doubles up to 240 s. */
ZELVO_EXPORT zelvo_error zelvo_tracker_set_active(zelvo_tracker* tracker, int active);
/** Logs every step of the tracker (through the platform's log). */
ZELVO_EXPORT zelvo_error zelvo_tracker_set_debug_mode(zelvo_tracker* tracker, int debug_mode);

typedef enum zelvo_app_event {
  ZELVO_APP_WILL_RESIGN_ACTIVE = 0, /* leaving the foreground: the heartbeat pauses */
  ZELVO_APP_WILL_TERMINATE = 1,
  ZELVO_APP_DID_BECOME_ACTIVE = 2, /* back in the foreground */
  ZELVO_KEYBOARD_DID_SHOW = 3,
  ZELVO_KEYBOARD_WILL_HIDE = 4
} zelvo_app_event;

typedef enum zelvo_input_event {
  ZELVO_INPUT_TOUCHES = 0, /* counts as the reader's engagement */
  ZELVO_INPUT_MOTION = 1,
  ZELVO_INPUT_REMOTE_CONTROL = 2,
  ZELVO_INPUT_PRESSES = 3
} zelvo_input_event;

/** The application's lifecycle and keyboard; returns once the tracker has seen the event. */
ZELVO_EXPORT zelvo_error zelvo_tracker_post_app_event(zelvo_tracker* tracker, zelvo_app_event event);
/** An input event the application has handled, through the platform's event dispatch. */
ZELVO_EXPORT zelvo_error zelvo_tracker_send_input_event(zelvo_tracker* tracker, zelvo_input_event event);
/** Engagement told directly: a touch (`typing` 0) or typing. */
ZELVO_EXPORT zelvo_error zelvo_tracker_user_engaged(zelvo_tracker* tracker, int typing);

/** Descriptive properties, sent with the pings. A list is `count` strings; `items` NULL (with
   `count` 0) means none, which is not the same as an empty list. */
ZELVO_EXPORT zelvo_error zelvo_tracker_set_sections(zelvo_tracker* tracker, const char* const* items, size_t count);
ZELVO_EXPORT zelvo_error zelvo_tracker_set_authors(zelvo_tracker* tracker, const char* const* items, size_t count);
ZELVO_EXPORT zelvo_error zelvo_tracker_set_zones(zelvo_tracker* tracker, const char* const* items, size_t count);
ZELVO_EXPORT zelvo_error zelvo_tracker_set_domain(zelvo_tracker* tracker, const char* domain);
ZELVO_EXPORT zelvo_error zelvo_tracker_set_app_referrer(zelvo_tracker* tracker, const char* referrer);
/** The referrer of a push notification, from its identifier. */
ZELVO_EXPORT zelvo_error zelvo_tracker_set_push_referrer(zelvo_tracker* tracker, const char* push_id);

typedef enum zelvo_subscription {
  ZELVO_SUBSCRIPTION_ANONYMOUS = 0,
  ZELVO_SUBSCRIPTION_LOGGED_IN = 1,
  ZELVO_SUBSCRIPTION_PAID = 2
} zelvo_subscription;
ZELVO_EXPORT zelvo_error zelvo_tracker_set_subscription(zelvo_tracker* tracker, zelvo_subscription state);
/** Identity-sync pairs: keys[i] = values[i] for i < count; both NULL (with `count` 0) means
   none. */
ZELVO_EXPORT zelvo_error zelvo_tracker_set_id_sync(zelvo_tracker* tracker, const char* const* keys,
                                                   const char* const* values, size_t count);

/** Privacy: while collection is off nothing is sent nor stored but the switch, which is kept
   across launches. Erasing forgets the reader and stops the tracker. */
ZELVO_EXPORT zelvo_error zelvo_tracker_set_collection_enabled(zelvo_tracker* tracker, int enabled);
ZELVO_EXPORT zelvo_error zelvo_tracker_collection_enabled(zelvo_tracker* tracker, int* out);
ZELVO_EXPORT zelvo_error zelvo_tracker_erase_stored_data(zelvo_tracker* tracker);

/** Consent, where the platform's options require it: until the reader agrees the tracker makes
   no reader identity, stores nothing but the answer and the switch, and sends and fetches
   nothing. The answer is kept across launches; giving it starts collecting at once, revoking
   it stops every request (erase_stored_data nonzero: and forgets the reader, as
   zelvo_tracker_erase_stored_data does). */
typedef enum zelvo_consent {
  ZELVO_CONSENT_UNKNOWN = 0, /* not asked yet */
  ZELVO_CONSENT_GIVEN = 1,
  ZELVO_CONSENT_REVOKED = 2
} zelvo_consent;
ZELVO_EXPORT zelvo_error zelvo_tracker_consent_required(zelvo_tracker* tracker, int* out);
ZELVO_EXPORT zelvo_error zelvo_tracker_give_consent(zelvo_tracker* tracker);
ZELVO_EXPORT zelvo_error zelvo_tracker_revoke_consent(zelvo_tracker* tracker, int erase_stored_data);
ZELVO_EXPORT zelvo_error zelvo_tracker_consent_state(zelvo_tracker* tracker, zelvo_consent* out);

/* ---- Ping outcomes and status ----------------------------------------------------------- */

typedef enum zelvo_ping_outcome {
  ZELVO_PING_DELIVERED = 0,          /* answered 200 */
  ZELVO_PING_RESENT = 1,             /* answered 202 or 500: sent again */
  ZELVO_PING_OVER_CAPACITY = 2,      /* answered 503: no ping until the lock-out ends */
  ZELVO_PING_REJECTED = 3,           /* answered with another status */
  ZELVO_PING_CONNECTION_FAILED = 4,
  ZELVO_PING_TLS_FAILED = 5,
  ZELVO_PING_TIMED_OUT = 6,
  ZELVO_PING_FAILED = 7,             /* no answer for another reason */
  ZELVO_PING_SKIPPED_OFFLINE = 8,    /* not sent: the network was unreachable */
  ZELVO_PING_SKIPPED_LOCKED_OUT = 9, /* not sent: the service asked for a pause */
  ZELVO_PING_SKIPPED_BUSY = 10       /* not sent: 64 pings were already waiting for answers */
} zelvo_ping_outcome;

/** One ping's outcome, on the library's main thread. `url` is the ping's URL ("" when
   skipped), `status_code` the HTTP status (0 without an answer), `error` what went wrong
   ("" when delivered); both strings are valid during the call only. */
typedef void (*zelvo_ping_outcome_callback)(void* user_data, zelvo_ping_outcome outcome, int status_code,
                                            const char* url, const char* error);
/** NULL stops the calls. Once this returns, the previous callback is not called again
   (unless this is called from within it). */
ZELVO_EXPORT zelvo_error zelvo_tracker_set_ping_outcome_callback(zelvo_tracker* tracker,
                                                                 zelvo_ping_outcome_callback callback,
                                                                 void* user_data);

/** A snapshot of the tracker's ping counters since it was made. */
typedef struct zelvo_status zelvo_status;
typedef enum zelvo_counter {
  ZELVO_PINGS_ATTEMPTED = 0, /* requests started, resends included */
  ZELVO_PINGS_DELIVERED = 1,
  ZELVO_PINGS_RESENT = 2,
  ZELVO_FAILED_OVER_CAPACITY = 3,
  ZELVO_FAILED_REJECTED = 4,
  ZELVO_FAILED_CONNECTION = 5,
  ZELVO_FAILED_TLS = 6,
  ZELVO_FAILED_TIMEOUT = 7,
  ZELVO_FAILED_OTHER = 8,
  ZELVO_SKIPPED_OFFLINE = 9,
  ZELVO_SKIPPED_LOCKED_OUT = 10,
  ZELVO_SKIPPED_BUSY = 11
} zelvo_counter;

ZELVO_EXPORT zelvo_error zelvo_tracker_status(zelvo_tracker* tracker, zelvo_status** out);
ZELVO_EXPORT void zelvo_status_free(zelvo_status* status);
ZELVO_EXPORT zelvo_error zelvo_status_counter(const zelvo_status* status, zelvo_counter counter, uint64_t* out);
/** The latest failure in words ("" before the first), valid until the snapshot is freed. */
ZELVO_EXPORT zelvo_error zelvo_status_last_error(const zelvo_status* status, const char** out);
/** While locked out: *locked_out 1 and *end the lock-out's end in seconds since
   2001-01-01T00:00:00Z; otherwise *locked_out 0 and *end 0. */
ZELVO_EXPORT zelvo_error zelvo_status_lock_out(const zelvo_status* status, int* locked_out, double* end);

/* ---- Transports: proxies, timeouts and the host's own HTTP client ------------------------ */

/** curl's proxy ("http://proxy:3128", "socks5h://127.0.0.1:1080"). Not set: the environment's
   https_proxy and no_proxy apply; "": no proxy at all, whatever the environment says. */
ZELVO_EXPORT zelvo_error zelvo_options_set_proxy(zelvo_options* options, const char* proxy);
/** The limit of each whole request in seconds, instead of the library's (5 for a ping, 60 for
   the configuration); a value not above 0 (or NaN) gives ZELVO_ERROR_INVALID_ARGUMENT. */
ZELVO_EXPORT zelvo_error zelvo_options_set_request_timeout(zelvo_options* options, double seconds);
/** The limit of the connection phase alone in seconds (curl's default: 300); as above. */
ZELVO_EXPORT zelvo_error zelvo_options_set_connect_timeout(zelvo_options* options, double seconds);

/** One request of the library for the host's handler to send: a GET of an https URL. */
typedef struct zelvo_http_request zelvo_http_request;
/** Called for every request (pings and the configuration), on a thread of the library's,
   possibly several at once. The host sends it its own way and ends it with exactly one
   zelvo_http_request_complete or zelvo_http_request_fail, from any thread, inside this call
   or later; that frees the request. A request the platform still holds when it goes away is
   failed by the library; the host's later call is then refused. */
typedef void (*zelvo_http_handler)(void* user_data, zelvo_http_request* request);
/** Hands every request to `handler` instead of curl: with a handler the library opens no
   socket of its own (ZELVO_REACHABILITY_SYSTEM then counts as ALWAYS: no routes are asked),
   and the proxy, timeouts and CA file above are the host's business (the endpoint still
   applies: the request's URL is already on it). NULL returns to curl. */
ZELVO_EXPORT zelvo_error zelvo_options_set_http_handler(zelvo_options* options, zelvo_http_handler handler,
                                                        void* user_data);
/** The URL to GET; valid until the request is completed. */
ZELVO_EXPORT zelvo_error zelvo_http_request_url(const zelvo_http_request* request, const char** out);
/** The value of the request header `name` (compared without case: "User-Agent",
   "Cache-Control", "Pragma"), or NULL when the request has none; valid until completion. */
ZELVO_EXPORT zelvo_error zelvo_http_request_header(const zelvo_http_request* request, const char* name,
                                                   const char** out);
/** The server answered `status_code` (any status; the library judges it) with `length` bytes
   of `body` (NULL with 0 for none; the library reads the body of the configuration only).
   A redirect is an answer, not to be followed. */
ZELVO_EXPORT zelvo_error zelvo_http_request_complete(zelvo_http_request* request, int status_code, const char* body,
                                                     size_t length);
/** No answer: `kind` is ZELVO_PING_CONNECTION_FAILED (server or proxy unreachable, hung up),
   ZELVO_PING_TLS_FAILED (the handshake failed; an untrusted certificate or one for another
   name), ZELVO_PING_TIMED_OUT or ZELVO_PING_FAILED (anything else); `error` says what, in
   words (NULL: none). Another kind gives ZELVO_ERROR_INVALID_ARGUMENT and leaves the request
   open. */
ZELVO_EXPORT zelvo_error zelvo_http_request_fail(zelvo_http_request* request, zelvo_ping_outcome kind,
                                                 const char* error);

#ifdef __cplusplus
}
#endif

#endif /* ZELVO_ZELVO_H */
