#pragma once

#include <mutex>

#include "zelvo/export.h"

namespace zelvo {

struct ZELVO_EXPORT Size {
  double width = 0.0;
  double height = 0.0;
};

struct ZELVO_EXPORT Point {
  double x = 0.0;
  double y = 0.0;
};

// A screen of the host application as the library measures it, in points. The host owns
// its views and hands them to the tracker as shared pointers; a view's identity is the
// object's address. Thread: every member is called on the main thread only.
class ZELVO_EXPORT View {
 public:
  virtual ~View() = default;
  virtual Size boundsSize() const = 0;
  // Whether this is a scrolling container (content larger than its bounds).
  virtual bool isScrollView() const { return false; }
  // Whether it can tell its content size; a scroll view that cannot counts as a plain view.
  virtual bool answersContentSize() const { return false; }
  virtual Size contentSize() const { return {}; }
  virtual Point contentOffset() const { return {}; }
};

// A view whose numbers the host sets: enough for hosts that draw their own screens.
// Thread: unlike other views, any: the host may set the numbers on its own thread while the
// library reads them on the main thread (each number is read whole; a lock guards them).
class ZELVO_EXPORT SimpleView : public View {
 public:
  explicit SimpleView(Size bounds = {}) : bounds_(bounds) {}
  Size boundsSize() const override {
    std::lock_guard lock(mutex_);
    return bounds_;
  }
  void setBoundsSize(Size bounds) {
    std::lock_guard lock(mutex_);
    bounds_ = bounds;
  }

 protected:
  mutable std::mutex mutex_;

 private:
  Size bounds_;
};

class ZELVO_EXPORT SimpleScrollView : public SimpleView {
 public:
  explicit SimpleScrollView(Size bounds = {}, Size content = {}) : SimpleView(bounds), content_(content) {}
  bool isScrollView() const override { return true; }
  bool answersContentSize() const override {
    std::lock_guard lock(mutex_);
    return answersContentSize_;
  }
  Size contentSize() const override {
    std::lock_guard lock(mutex_);
    return content_;
  }
  Point contentOffset() const override {
    std::lock_guard lock(mutex_);
    return offset_;
  }
  void setContentSize(Size content) {
    std::lock_guard lock(mutex_);
    content_ = content;
  }
  void setContentOffset(Point offset) {
    std::lock_guard lock(mutex_);
    offset_ = offset;
  }
  void setAnswersContentSize(bool answers) {
    std::lock_guard lock(mutex_);
    answersContentSize_ = answers;
  }

 private:
  Size content_;
  Point offset_;
  bool answersContentSize_ = true;
};

}  // namespace zelvo
