#pragma once

#include <string>

#include "collector/request_record.h"

namespace zelvo::collector {

// One line for a person, followed by one indented line per violation; no final newline.
//   #3 200 /news/today dwell 15s engaged 4s (+4) scroll 1200 reading visit 2 full
std::string readableLine(const RequestRecord& record);

// The record for tools: one JSON object on one line (for a JSON Lines file), without the
// newline. Bytes that are not UTF-8 are replaced, so any request can be written.
std::string jsonLine(const RequestRecord& record);

}  // namespace zelvo::collector
