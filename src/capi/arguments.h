#pragma once

#include <cstddef>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "zelvo/zelvo.h"

// How the C API reads its arguments and keeps C++ exceptions from crossing into C.
namespace zelvo::capi {

// Runs `body` (returning a zelvo_error), turning any exception into an error code.
template <typename Body>
zelvo_error guarded(Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return ZELVO_ERROR_OUT_OF_MEMORY;
  } catch (...) {
    return ZELVO_ERROR_INTERNAL;
  }
}

// An enum argument as its integer. C may pass any int for an enum, which C++ may not even
// read as the enum type when it is outside the enumerators' range; its bytes are read instead.
template <typename Enum>
std::underlying_type_t<Enum> fromC(const Enum& value) {
  std::underlying_type_t<Enum> raw;
  std::memcpy(&raw, &value, sizeof raw);
  return raw;
}

// An optional string: NULL gives nothing.
zelvo_error readText(const char* text, std::optional<std::string>& out);
// A required string: NULL gives ZELVO_ERROR_NULL_ARGUMENT.
zelvo_error readRequiredText(const char* text, std::string& out);
// `count` strings; `items` NULL with `count` 0 gives nothing.
zelvo_error readList(const char* const* items, size_t count, std::optional<std::vector<std::string>>& out);

// Runs `apply(handle)` on a handle that is not NULL.
template <typename Handle, typename Apply>
zelvo_error act(Handle* handle, Apply&& apply) noexcept {
  return guarded([&] {
    if (!handle) return ZELVO_ERROR_NULL_ARGUMENT;
    apply(*handle);
    return ZELVO_OK;
  });
}

// Stores `read(handle)` in *out, for the getters; both must be non-NULL.
template <typename Handle, typename Out, typename Read>
zelvo_error readInto(Handle* handle, Out* out, Read&& read) noexcept {
  return guarded([&] {
    if (!handle || !out) return ZELVO_ERROR_NULL_ARGUMENT;
    *out = read(*handle);
    return ZELVO_OK;
  });
}

// Makes a handle of type T from `args` and stores it in *out.
template <typename T, typename... Args>
zelvo_error makeHandle(T** out, Args&&... args) noexcept {
  return guarded([&] {
    if (!out) return ZELVO_ERROR_NULL_ARGUMENT;
    *out = new T{std::forward<Args>(args)...};
    return ZELVO_OK;
  });
}

}  // namespace zelvo::capi
