#include "zelvo/platform/notification_center.h"

#include <atomic>

namespace zelvo {

struct NotificationCenter::Registration {
  const void* observer;
  std::string name;
  const void* object;
  Callback callback;
  // Cleared on removal, so that a delivery already walking an older list skips it.
  std::atomic<bool> active{true};
};

NotificationCenter::NotificationCenter() : registrations_(std::make_shared<const Registrations>()) {}

NotificationCenter::~NotificationCenter() = default;

void NotificationCenter::addObserver(const void* observer, std::string name, Callback callback,
                                     const void* object) {
  std::lock_guard lock(mutex_);
  auto next = std::make_shared<Registrations>(*registrations_);
  // The count lives in the list, not in the registration, so a post already walking the old
  // list keeps the count it started with.
  for (Entry& entry : *next) {
    const Registration& r = *entry.registration;
    if (r.observer == observer && r.object == object && r.name == name) {
      ++entry.multiplicity;
      registrations_ = std::move(next);
      return;
    }
  }
  auto registration = std::make_shared<Registration>();
  registration->observer = observer;
  registration->name = std::move(name);
  registration->object = object;
  registration->callback = std::move(callback);
  next->push_back({std::move(registration), 1});
  registrations_ = std::move(next);
}

void NotificationCenter::removeWhere(const std::function<bool(const Registration&)>& match) {
  std::lock_guard lock(mutex_);
  auto next = std::make_shared<Registrations>();
  next->reserve(registrations_->size());
  for (const Entry& entry : *registrations_) {
    if (match(*entry.registration)) {
      entry.registration->active.store(false, std::memory_order_release);
    } else {
      next->push_back(entry);
    }
  }
  registrations_ = std::move(next);
}

void NotificationCenter::removeObserver(const void* observer) {
  removeWhere([observer](const Registration& r) { return r.observer == observer; });
}

void NotificationCenter::removeObserver(const void* observer, std::string_view name) {
  removeWhere([observer, name](const Registration& r) { return r.observer == observer && r.name == name; });
}

void NotificationCenter::post(std::string_view name, const void* object, const Value* userInfo) {
  std::shared_ptr<const Registrations> snapshot;
  {
    std::lock_guard lock(mutex_);
    snapshot = registrations_;
  }
  const Notification notification{name, object, userInfo};
  for (const Entry& entry : *snapshot) {
    const Registration& r = *entry.registration;
    if (r.name != name) continue;
    if (r.object != nullptr && r.object != object) continue;
    for (std::size_t i = 0; i < entry.multiplicity && r.active.load(std::memory_order_acquire); ++i) {
      r.callback(notification);
    }
  }
}

std::size_t NotificationCenter::registrationCount(const void* observer, std::string_view name) const {
  std::lock_guard lock(mutex_);
  std::size_t n = 0;
  for (const Entry& entry : *registrations_) {
    if (entry.registration->observer == observer && entry.registration->name == name) n += entry.multiplicity;
  }
  return n;
}

bool NotificationCenter::hasObserver(std::string_view name) const {
  std::lock_guard lock(mutex_);
  for (const Entry& entry : *registrations_) {
    if (entry.registration->name == name) return true;
  }
  return false;
}

std::size_t NotificationCenter::entryCount() const {
  std::lock_guard lock(mutex_);
  return registrations_->size();
}

}  // namespace zelvo
