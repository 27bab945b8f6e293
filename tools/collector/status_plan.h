#pragma once

#include <cstddef>
#include <map>
#include <string_view>

namespace zelvo::collector {

// Which status the collector answers to each ping request (counted from 1, resends
// included); 200 to every ping the plan does not name. Statuses lie in 100..599.
class StatusPlan {
 public:
  // "503,200,500": the answers to the first pings, in order. False (and no change) when the
  // text is not such a list.
  bool setList(std::string_view list);
  // "N=STATUS": the answer to ping N. False (and no change) when the text is not that.
  bool addRule(std::string_view rule);
  void setStatusAt(std::size_t pingNumber, int status);

  int statusFor(std::size_t pingNumber) const;

 private:
  std::map<std::size_t, int> statuses_;
};

}  // namespace zelvo::collector
