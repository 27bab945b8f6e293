// The C API's views: SimpleView and SimpleScrollView, whose numbers the host sets.
#include <memory>

#include "capi/arguments.h"
#include "capi/handles.h"

using zelvo::capi::guarded;

extern "C" {

zelvo_error zelvo_view_new(int scrolls, zelvo_view** out) {
  return guarded([&] {
    if (!out) return ZELVO_ERROR_NULL_ARGUMENT;
    std::shared_ptr<zelvo::SimpleScrollView> scrollView;
    std::shared_ptr<zelvo::SimpleView> view;
    if (scrolls) {
      scrollView = std::make_shared<zelvo::SimpleScrollView>();
      view = scrollView;
    } else {
      view = std::make_shared<zelvo::SimpleView>();
    }
    *out = new zelvo_view{std::move(view), std::move(scrollView)};
    return ZELVO_OK;
  });
}

void zelvo_view_free(zelvo_view* view) { delete view; }

zelvo_error zelvo_view_set_bounds(zelvo_view* view, double width, double height) {
  if (!view) return ZELVO_ERROR_NULL_ARGUMENT;
  view->view->setBoundsSize({width, height});
  return ZELVO_OK;
}

zelvo_error zelvo_view_set_content_size(zelvo_view* view, double width, double height) {
  if (!view) return ZELVO_ERROR_NULL_ARGUMENT;
  if (!view->scrollView) return ZELVO_ERROR_INVALID_ARGUMENT;
  view->scrollView->setContentSize({width, height});
  return ZELVO_OK;
}

zelvo_error zelvo_view_set_content_offset(zelvo_view* view, double x, double y) {
  if (!view) return ZELVO_ERROR_NULL_ARGUMENT;
  if (!view->scrollView) return ZELVO_ERROR_INVALID_ARGUMENT;
  view->scrollView->setContentOffset({x, y});
  return ZELVO_OK;
}

}  // extern "C"
