#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "zelvo/value.h"

namespace zelvo {

// One posted notification. The name, object and user info are borrowed for the delivery only.
struct Notification {
  std::string_view name;
  const void* object = nullptr;
  const Value* userInfo = nullptr;  // a dictionary, or nullptr for none
};

// Application, keyboard and library notifications. Delivery is synchronous, on the posting
// thread, to every matching registration in registration order. Registering the same observer
// twice for a name keeps both registrations, and both are called.
// Thread: every member is safe from any thread, also from inside a delivery. A registration
// added during a delivery is not called for that post; one removed during a delivery is not
// called after its removal has returned on the same thread. Posting allocates nothing.
class NotificationCenter {
 public:
  using Callback = std::function<void(const Notification&)>;

  NotificationCenter();
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  // Calls `callback` for every post of `name` whose object is `object`, or for every post of
  // `name` when `object` is nullptr. `observer` only identifies the registration for removal.
  void addObserver(const void* observer, std::string name, Callback callback,
                   const void* object = nullptr);
  // Removes every registration of `observer`.
  void removeObserver(const void* observer);
  // Removes every registration of `observer` for `name`.
  void removeObserver(const void* observer, std::string_view name);
  void post(std::string_view name, const void* object = nullptr, const Value* userInfo = nullptr);
  std::size_t registrationCount(const void* observer, std::string_view name) const;

 private:
  struct Registration;
  using Registrations = std::vector<std::shared_ptr<Registration>>;
  void removeWhere(const std::function<bool(const Registration&)>& match);

  mutable std::mutex mutex_;
  // Copy-on-write: a post takes the current list and walks it without the lock.
  std::shared_ptr<const Registrations> registrations_;
};

}  // namespace zelvo
