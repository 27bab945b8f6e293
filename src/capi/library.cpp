// The C API's version and error texts.
#include "capi/arguments.h"
#include "zelvo/version.h"
#include "zelvo/zelvo.h"

extern "C" {

const char* zelvo_version(void) { return zelvo::libraryVersion(); }

const char* zelvo_error_text(zelvo_error error) {
  switch (zelvo::capi::fromC(error)) {
    case ZELVO_OK: return "ok";
    case ZELVO_ERROR_NULL_ARGUMENT: return "null argument";
    case ZELVO_ERROR_INVALID_UTF8: return "invalid UTF-8";
    case ZELVO_ERROR_INVALID_ARGUMENT: return "invalid argument";
    case ZELVO_ERROR_BAD_OPTIONS: return "bad platform options";
    case ZELVO_ERROR_REFUSED: return "refused";
    case ZELVO_ERROR_OUT_OF_MEMORY: return "out of memory";
    case ZELVO_ERROR_INTERNAL: return "internal error";
  }
  return "unknown error";
}

}  // extern "C"
