#pragma once

namespace zelvo {

struct Size {
  double width = 0.0;
  double height = 0.0;
};

struct Point {
  double x = 0.0;
  double y = 0.0;
};

// A screen of the host application as the library measures it, in points. The host owns
// its views and hands them to the tracker as shared pointers; a view's identity is the
// object's address. Thread: every member is called on the main thread only.
class View {
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
class SimpleView : public View {
 public:
  explicit SimpleView(Size bounds = {}) : bounds_(bounds) {}
  Size boundsSize() const override { return bounds_; }
  void setBoundsSize(Size bounds) { bounds_ = bounds; }

 private:
  Size bounds_;
};

class SimpleScrollView : public SimpleView {
 public:
  explicit SimpleScrollView(Size bounds = {}, Size content = {}) : SimpleView(bounds), content_(content) {}
  bool isScrollView() const override { return true; }
  bool answersContentSize() const override { return answersContentSize_; }
  Size contentSize() const override { return content_; }
  Point contentOffset() const override { return offset_; }
  void setContentSize(Size content) { content_ = content; }
  void setContentOffset(Point offset) { offset_ = offset; }
  void setAnswersContentSize(bool answers) { answersContentSize_ = answers; }

 private:
  Size content_;
  Point offset_;
  bool answersContentSize_ = true;
};

}  // namespace zelvo
