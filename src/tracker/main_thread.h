#pragma once

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "zelvo/platform/run_loop.h"

namespace zelvo {

// How a host's call reaches the main thread, where all of the tracker's state lives. On the
// main thread a call runs at once, exactly as if this did not exist; from any other thread:
//   - an action or setter is posted and the caller goes on. Calls keep their order, since the
//     run loop runs posted tasks (and the tasks of runAndWait) in the order they came;
//   - a getter waits for the main thread to read the value. On the main thread, and so inside
//     every callback, it reads inline and never waits for itself; a loop that is going away
//     and cannot run it gives a default value instead of a wait.

// True when `(owner.*method)(args...)` was posted because this is not the main thread: the
// caller then returns. The posted call keeps `owner` alive and owns copies of the arguments.
template <typename Owner, typename Result, typename... Params, typename... Args>
bool postedToMainThread(RunLoop& loop, Owner& owner, Result (Owner::*method)(Params...), Args&&... args) {
  if (loop.isMainThread()) return false;
  loop.post([self = owner.shared_from_this(), method, ... args = std::decay_t<Args>(std::forward<Args>(args))]() mutable {
    ((*self).*method)(std::move(args)...);
  });
  return true;
}

// The same for a call that names an overload or does more than one call: `call(owner)`.
template <typename Owner, typename Call>
bool postedToMainThread(RunLoop& loop, Owner& owner, Call&& call) {
  if (loop.isMainThread()) return false;
  loop.post([self = owner.shared_from_this(), call = std::forward<Call>(call)]() mutable { call(*self); });
  return true;
}

// What `read()` gives on the main thread.
template <typename Read>
auto readOnMainThread(RunLoop& loop, Read&& read) -> std::decay_t<decltype(read())> {
  using Result = std::decay_t<decltype(read())>;
  if (loop.isMainThread()) return read();
  std::optional<Result> result;
  loop.runAndWait([&] { result.emplace(read()); });
  return result ? std::move(*result) : Result{};
}

}  // namespace zelvo
