#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "zelvo/value.h"
#include "zelvo/export.h"

namespace zelvo {

// One posted notification. The name, object and user info are borrowed for the delivery only.
struct ZELVO_EXPORT Notification {
  std::string_view name;
  const void* object = nullptr;
  const Value* userInfo = nullptr;  // a dictionary, or nullptr for none
};

// Application, keyboard and library notifications. Delivery is synchronous, on the posting
// thread, to every matching registration in registration order. Registering the same observer
// again for the same name and object counts that registration once more instead of keeping a
// copy: each post then calls the callback of the first registration as many times as it was
// registered, at its place in the order. (The tracker registers again on every return to the
// foreground; a copy each time grew the process for as long as it ran.)
// Thread: every member is safe from any thread, also from inside a delivery. A registration
// added during a delivery is not called for that post; one removed during a delivery is not
// called after its removal has returned on the same thread. Posting allocates nothing.
class ZELVO_EXPORT NotificationCenter {
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
  // Whether anyone observes `name` now: a poster can skip building user info nobody reads.
  bool hasObserver(std::string_view name) const;
  // How many times `observer` is registered for `name`, repeats included.
  std::size_t registrationCount(const void* observer, std::string_view name) const;
  // How many distinct (observer, name, object) registrations are held, whatever their counts.
  std::size_t entryCount() const;

 private:
  struct Registration;
  struct Entry {
    std::shared_ptr<Registration> registration;
    std::size_t multiplicity;
  };
  using Registrations = std::vector<Entry>;
  void removeWhere(const std::function<bool(const Registration&)>& match);

  mutable std::mutex mutex_;
  // Copy-on-write: a post takes the current list and walks it without the lock.
  std::shared_ptr<const Registrations> registrations_;
};

}  // namespace zelvo
