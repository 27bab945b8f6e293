// The small fakes: device facts, the screen, the log.
#include <algorithm>

#include "zelvo/testing/testing_platform.h"

namespace zelvo::testing {

std::string FakeDeviceInfo::modelName() const {
  std::lock_guard lock(mutex_);
  return model_;
}

std::optional<std::string> FakeDeviceInfo::applicationIdentifier() const {
  std::lock_guard lock(mutex_);
  return identifier_;
}

void FakeDeviceInfo::setModelName(std::string model) {
  std::lock_guard lock(mutex_);
  model_ = std::move(model);
}

void FakeDeviceInfo::setApplicationIdentifier(std::optional<std::string> identifier) {
  std::lock_guard lock(mutex_);
  identifier_ = std::move(identifier);
}

std::optional<ScreenMetrics> FakeScreen::mainScreen() const {
  std::lock_guard lock(mutex_);
  ++queries_;
  return screen_;
}

void FakeScreen::setMainScreen(std::optional<ScreenMetrics> screen) {
  std::lock_guard lock(mutex_);
  screen_ = screen;
}

int FakeScreen::queryCount() const {
  std::lock_guard lock(mutex_);
  return queries_;
}

void CapturingLogSink::write(LogSeverity severity, std::string_view line) {
  std::lock_guard lock(mutex_);
  lines_.emplace_back(line);
  severities_.push_back(severity);
}

std::vector<std::string> CapturingLogSink::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

std::vector<std::string> CapturingLogSink::lines(LogSeverity severity) const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> matching;
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    if (severities_[i] == severity) matching.push_back(lines_[i]);
  }
  return matching;
}

std::size_t CapturingLogSink::count(std::string_view line) const {
  std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count(lines_.begin(), lines_.end(), line));
}

void CapturingLogSink::clear() {
  std::lock_guard lock(mutex_);
  lines_.clear();
  severities_.clear();
}

}  // namespace zelvo::testing
