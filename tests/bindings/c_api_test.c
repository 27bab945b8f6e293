/* The C API from C: the shared tracker against a collector (tests/bindings/with_collector.sh
   checks what the collector saw), consent asked first (a view tracked before the reader agrees
   never reaches the collector), and the error codes of bad arguments. Built as C11 with
   -pedantic -Werror, which is also the check that zelvo.h is plain C.

   The environment picks the transport: ZELVO_TEST_PROXY a proxy ("" none, whatever https_proxy
   says); ZELVO_TEST_HANDLER=1 the host's handler, running the curl program (strace tells its
   connections from the library's); neither, curl directly. */
#define _POSIX_C_SOURCE 200809L /* nanosleep, popen */
#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "zelvo/zelvo.h"

static int failures;
#define EXPECT(condition)                                                          \
  do {                                                                             \
    if (!(condition)) {                                                            \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition);      \
      ++failures;                                                                  \
    }                                                                              \
  } while (0)

static void onOutcome(void* user_data, zelvo_ping_outcome outcome, int status_code, const char* url,
                      const char* error) {
  (void)error;
  if (outcome == ZELVO_PING_DELIVERED && status_code == 200 && strstr(url, "/ping?")) {
    atomic_fetch_add((atomic_int*)user_data, 1);
  }
}

static void onLog(void* user_data, zelvo_log_severity severity, const char* line) {
  if (severity == ZELVO_LOG_ERROR) atomic_fetch_add((atomic_int*)user_data, 1);
  fprintf(stderr, "log %d: %s\n", (int)severity, line);
}

static void waitTenths(int tenths) {
  const struct timespec wait = {tenths / 10, (tenths % 10) * 100000000L};
  nanosleep(&wait, NULL);
}

/* ---- The host's own transport: each request on a thread, sent by the curl program. ---- */

typedef struct {
  zelvo_http_request* request;
  char command[8192];
} Job;

static void* sendWithCurl(void* data) {
  Job* job = data;
  char output[1 << 16];
  size_t length = 0;
  char *last, *body = output;
  int status;
  FILE* curl = popen(job->command, "r");
  if (curl) length = fread(output, 1, sizeof output - 1, curl);
  status = curl ? pclose(curl) : -1;
  output[length] = '\0';
  last = strrchr(output, '\n');
  if (status == 0 && last) {
    EXPECT(zelvo_http_request_complete(job->request, atoi(last + 1), body, (size_t)(last - body)) == ZELVO_OK);
  } else {
    EXPECT(zelvo_http_request_fail(job->request, ZELVO_PING_CONNECTION_FAILED, "curl failed") == ZELVO_OK);
  }
  EXPECT(zelvo_http_request_complete(job->request, 200, NULL, 0) == ZELVO_ERROR_REFUSED); /* ended already */
  free(job);
  return NULL;
}

/* The library's URLs and user agent hold no quote: the shell takes them as they are. */
static void handleRequest(void* caFile, zelvo_http_request* request) {
  const char *url = "", *agent = NULL;
  pthread_t thread;
  Job* job = malloc(sizeof *job);
  EXPECT(zelvo_http_request_url(request, &url) == ZELVO_OK);
  EXPECT(zelvo_http_request_header(request, "User-Agent", &agent) == ZELVO_OK);
  job->request = request;
  snprintf(job->command, sizeof job->command, "curl -s --max-time 5 --cacert '%s' -A '%s' -w '\\n%%{http_code}' '%s'",
           (const char*)caFile, agent ? agent : "", url);
  EXPECT(pthread_create(&thread, NULL, sendWithCurl, job) == 0 && pthread_detach(thread) == 0);
}

/* A platform that cannot reach the collector delivers nothing and counts each failure. */
static void checkUndelivered(const char* endpoint, const char* caFile, const char* proxy, const char* storeFile,
                             zelvo_counter counter) {
  char store[4096];
  zelvo_options* options = NULL;
  zelvo_platform* platform = NULL;
  zelvo_tracker* tracker = NULL;
  zelvo_view* view = NULL;
  zelvo_status* status = NULL;
  uint64_t failed = 0, delivered = 1;
  int tenths;
  snprintf(store, sizeof store, "%s.undelivered", storeFile);
  EXPECT(zelvo_options_new(&options) == ZELVO_OK && zelvo_options_set_endpoint(options, endpoint) == ZELVO_OK);
  EXPECT(zelvo_options_set_ca_file(options, caFile) == ZELVO_OK && zelvo_options_set_store_path(options, store) == ZELVO_OK);
  EXPECT(zelvo_options_set_reachability(options, ZELVO_REACHABILITY_ALWAYS) == ZELVO_OK);
  EXPECT(zelvo_options_set_proxy(options, proxy) == ZELVO_OK);
  EXPECT(zelvo_options_set_connect_timeout(options, 2) == ZELVO_OK);
  EXPECT(zelvo_options_set_request_timeout(options, 0) == ZELVO_ERROR_INVALID_ARGUMENT);
  EXPECT(zelvo_platform_new(options, &platform) == ZELVO_OK && zelvo_tracker_new(platform, &tracker) == ZELVO_OK);
  EXPECT(zelvo_view_new(0, &view) == ZELVO_OK);
  zelvo_options_free(options);
  EXPECT(zelvo_tracker_start(tracker, 12345, NULL) == ZELVO_OK);
  EXPECT(zelvo_tracker_track_view(tracker, view, "/c-api/undelivered", NULL) == ZELVO_OK);
  for (tenths = 0; tenths < 100 && failed == 0; ++tenths) {
    waitTenths(1);
    if (zelvo_tracker_status(tracker, &status) != ZELVO_OK) break;
    zelvo_status_counter(status, counter, &failed);
    zelvo_status_counter(status, ZELVO_PINGS_DELIVERED, &delivered);
    zelvo_status_free(status);
  }
  EXPECT(failed >= 1 && delivered == 0);
  zelvo_tracker_stop(tracker);
  zelvo_tracker_free(tracker);
  zelvo_view_free(view);
  zelvo_platform_free(platform);
}

/* Every bad argument gives its code and changes nothing (the collector sees none of them). */
static void checkBadArguments(zelvo_tracker* tracker, zelvo_platform* platform, atomic_int* errorLines) {
  const char* cutShort = "caf\xc3";
  const char* sections[] = {"news", "\xed\xa0\x80"}; /* a surrogate */
  const char* keys[] = {"crm"};
  zelvo_options* badEndpoint = NULL;
  zelvo_platform* none = NULL;
  zelvo_view* plain = NULL;
  EXPECT(zelvo_options_new(&badEndpoint) == ZELVO_OK && zelvo_view_new(0, &plain) == ZELVO_OK);
  zelvo_options_set_endpoint(badEndpoint, "not a url");
  zelvo_options_set_log_callback(badEndpoint, onLog, errorLines);
  zelvo_options_set_reachability(badEndpoint, ZELVO_REACHABILITY_ALWAYS); /* no routes asked */
  {
    const struct {
      zelvo_error got, want;
      const char* call;
    } cases[] = {
        {zelvo_tracker_start(NULL, 1, NULL), ZELVO_ERROR_NULL_ARGUMENT, "start without a tracker"},
        {zelvo_tracker_track_view(tracker, NULL, "/a", NULL), ZELVO_ERROR_NULL_ARGUMENT, "track without a view"},
        {zelvo_tracker_track_view(tracker, plain, NULL, NULL), ZELVO_ERROR_NULL_ARGUMENT, "track without a path"},
        {zelvo_view_set_bounds(NULL, 1, 1), ZELVO_ERROR_NULL_ARGUMENT, "bounds without a view"},
        {zelvo_tracker_status(tracker, NULL), ZELVO_ERROR_NULL_ARGUMENT, "status without an out pointer"},
        {zelvo_tracker_set_sections(tracker, NULL, 2), ZELVO_ERROR_NULL_ARGUMENT, "two sections at NULL"},
        {zelvo_tracker_set_id_sync(tracker, keys, NULL, 1), ZELVO_ERROR_NULL_ARGUMENT, "idSync without values"},
        {zelvo_tracker_track_view(tracker, plain, cutShort, NULL), ZELVO_ERROR_INVALID_UTF8, "a cut-short path"},
        {zelvo_tracker_set_sections(tracker, sections, 2), ZELVO_ERROR_INVALID_UTF8, "a surrogate section"},
        {zelvo_tracker_set_id_sync(tracker, keys, &cutShort, 1), ZELVO_ERROR_INVALID_UTF8, "an idSync value"},
        {zelvo_options_set_endpoint(badEndpoint, cutShort), ZELVO_ERROR_INVALID_UTF8, "a cut-short endpoint"},
        {zelvo_view_set_content_offset(plain, 0, 1), ZELVO_ERROR_INVALID_ARGUMENT, "an offset on a plain view"},
        {zelvo_tracker_post_app_event(tracker, (zelvo_app_event)99), ZELVO_ERROR_INVALID_ARGUMENT, "event 99"},
        {zelvo_options_set_reachability(badEndpoint, (zelvo_reachability)7), ZELVO_ERROR_INVALID_ARGUMENT,
         "reachability 7"},
        {zelvo_platform_new(badEndpoint, &none), ZELVO_ERROR_BAD_OPTIONS, "an endpoint that is not a URL"},
        {zelvo_platform_install(platform), ZELVO_ERROR_REFUSED, "a second installation"},
    };
    size_t i;
    for (i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
      if (cases[i].got != cases[i].want) {
        fprintf(stderr, "%s: got \"%s\", want \"%s\"\n", cases[i].call, zelvo_error_text(cases[i].got),
                zelvo_error_text(cases[i].want));
        ++failures;
      }
    }
  }
  EXPECT(none == NULL);
  EXPECT(atomic_load(errorLines) > 0); /* the reason for the bad endpoint */
  zelvo_view_free(plain);
  zelvo_options_free(badEndpoint);
}

int main(int argc, char** argv) {
  static atomic_int delivered, errorLines;
  const char* sections[] = {"news", "world"};
  const char* keys[] = {"crm"};
  const char* values[] = {"r\xc3\xa9"};
  zelvo_options* options = NULL;
  zelvo_platform* platform = NULL;
  zelvo_tracker* tracker = NULL;
  zelvo_view* article = NULL;
  zelvo_view* waiting = NULL;
  zelvo_status* status = NULL;
  zelvo_consent consent = ZELVO_CONSENT_GIVEN;
  uint64_t count = 0;
  int tenths, enabled = 0, required = 0;
  if (argc != 4) {
    fprintf(stderr, "usage: %s ENDPOINT CA_FILE STORE_FILE\n", argv[0]);
    return 2;
  }
  EXPECT(strlen(zelvo_version()) >= 5);
  EXPECT(zelvo_options_new(&options) == ZELVO_OK);
  EXPECT(zelvo_options_set_endpoint(options, argv[1]) == ZELVO_OK);
  EXPECT(zelvo_options_set_ca_file(options, argv[2]) == ZELVO_OK);
  EXPECT(zelvo_options_set_store_path(options, argv[3]) == ZELVO_OK);
  EXPECT(zelvo_options_set_app_id(options, "com.example.capi") == ZELVO_OK);
  EXPECT(zelvo_options_set_model_name(options, "C test") == ZELVO_OK);
  /* With a handler the default (the system's routes) asks nothing: no socket of the library's. */
  if (!getenv("ZELVO_TEST_HANDLER")) EXPECT(zelvo_options_set_reachability(options, ZELVO_REACHABILITY_ALWAYS) == ZELVO_OK);
  if (getenv("ZELVO_TEST_PROXY")) EXPECT(zelvo_options_set_proxy(options, getenv("ZELVO_TEST_PROXY")) == ZELVO_OK);
  if (getenv("ZELVO_TEST_HANDLER")) EXPECT(zelvo_options_set_http_handler(options, handleRequest, argv[2]) == ZELVO_OK);
  EXPECT(zelvo_options_set_consent_required(options, 1) == ZELVO_OK);
  EXPECT(zelvo_platform_new(options, &platform) == ZELVO_OK);
  zelvo_options_free(options);
  if (!platform) return 1;
  EXPECT(zelvo_platform_set_screen(platform, 375, 667, 2) == ZELVO_OK);
  EXPECT(zelvo_platform_install(platform) == ZELVO_OK);
  EXPECT(zelvo_tracker_shared(&tracker) == ZELVO_OK);
  if (!tracker) return 1;

  EXPECT(zelvo_tracker_set_ping_outcome_callback(tracker, onOutcome, &delivered) == ZELVO_OK);
  EXPECT(zelvo_tracker_start(tracker, 12345, NULL) == ZELVO_OK);
  EXPECT(zelvo_tracker_set_interval(tracker, 1) == ZELVO_OK);
  EXPECT(zelvo_tracker_set_sections(tracker, sections, 2) == ZELVO_OK);
  EXPECT(zelvo_tracker_set_authors(tracker, NULL, 0) == ZELVO_OK);
  EXPECT(zelvo_tracker_set_domain(tracker, "news.example.com") == ZELVO_OK);
  EXPECT(zelvo_tracker_set_app_referrer(tracker, "https://search.example/") == ZELVO_OK);
  EXPECT(zelvo_tracker_set_subscription(tracker, ZELVO_SUBSCRIPTION_PAID) == ZELVO_OK);
  EXPECT(zelvo_tracker_set_id_sync(tracker, keys, values, 1) == ZELVO_OK);
  EXPECT(zelvo_tracker_collection_enabled(tracker, &enabled) == ZELVO_OK && enabled == 1);
  checkBadArguments(tracker, platform, &errorLines);

  /* Until the reader agrees nothing is sent: a view with input for a second and a half, at a
     ping a second, never reaches the collector. */
  EXPECT(zelvo_tracker_consent_required(tracker, &required) == ZELVO_OK && required == 1);
  EXPECT(zelvo_tracker_consent_state(tracker, &consent) == ZELVO_OK && consent == ZELVO_CONSENT_UNKNOWN);
  EXPECT(zelvo_view_new(0, &waiting) == ZELVO_OK);
  EXPECT(zelvo_tracker_track_view(tracker, waiting, "/c-api/before-consent", NULL) == ZELVO_OK);
  EXPECT(zelvo_tracker_send_input_event(tracker, ZELVO_INPUT_TOUCHES) == ZELVO_OK);
  waitTenths(15);
  EXPECT(atomic_load(&delivered) == 0);
  zelvo_view_free(waiting);

  EXPECT(zelvo_view_new(1, &article) == ZELVO_OK);
  EXPECT(zelvo_view_set_bounds(article, 375, 667) == ZELVO_OK);
  EXPECT(zelvo_view_set_content_size(article, 375, 4000) == ZELVO_OK);
  EXPECT(zelvo_tracker_track_view(tracker, article, "/c-api/article", "C API") == ZELVO_OK);
  EXPECT(zelvo_tracker_give_consent(tracker) == ZELVO_OK);
  EXPECT(zelvo_tracker_consent_state(tracker, &consent) == ZELVO_OK && consent == ZELVO_CONSENT_GIVEN);
  EXPECT(zelvo_view_set_content_offset(article, 0, 1200) == ZELVO_OK); /* 2400 pixels at scale 2 */
  EXPECT(zelvo_tracker_send_input_event(tracker, ZELVO_INPUT_TOUCHES) == ZELVO_OK);
  EXPECT(zelvo_tracker_post_app_event(tracker, ZELVO_KEYBOARD_DID_SHOW) == ZELVO_OK);

  /* Pings from the next second on, one a second; the third carries the scroll depth. */
  for (tenths = 0; tenths < 200 && atomic_load(&delivered) < 3; ++tenths) waitTenths(1);
  EXPECT(zelvo_tracker_set_ping_outcome_callback(tracker, NULL, NULL) == ZELVO_OK);
  EXPECT(zelvo_tracker_status(tracker, &status) == ZELVO_OK);
  EXPECT(zelvo_status_counter(status, ZELVO_PINGS_DELIVERED, &count) == ZELVO_OK);
  EXPECT(count >= 3 && count >= (uint64_t)atomic_load(&delivered));
  EXPECT(zelvo_status_counter(status, ZELVO_FAILED_CONNECTION, &count) == ZELVO_OK && count == 0);
  zelvo_status_free(status);
  EXPECT(zelvo_tracker_revoke_consent(tracker, 1) == ZELVO_OK);
  EXPECT(zelvo_tracker_consent_state(tracker, &consent) == ZELVO_OK && consent == ZELVO_CONSENT_REVOKED);
  EXPECT(zelvo_tracker_stop(tracker) == ZELVO_OK);
  zelvo_view_free(article);
  zelvo_tracker_free(tracker);
  zelvo_platform_free(platform);
  /* A dead proxy; then the live one's tunnel to a collector the system's authorities do not vouch for. */
  if (!getenv("ZELVO_TEST_HANDLER") && !getenv("ZELVO_TEST_PROXY")) checkUndelivered(argv[1], argv[2], "http://127.0.0.1:9", argv[3], ZELVO_FAILED_CONNECTION);
  if (getenv("ZELVO_TEST_PROXY") && *getenv("ZELVO_TEST_PROXY")) checkUndelivered(argv[1], "/etc/ssl/certs/ca-certificates.crt", getenv("ZELVO_TEST_PROXY"), argv[3], ZELVO_FAILED_TLS);
  printf("%d pings delivered, %d failures\n", atomic_load(&delivered), failures);
  return failures == 0 ? 0 : 1;
}
