#pragma once

#include <cstddef>
#include <cstdint>

namespace zelvo {

// Fills `data` from the clock, the process id and a counter (splitmix64), for where the system
// refuses random bytes: the library's tokens need to be unique, not secret. Thread: any.
void fillFromClock(uint8_t* data, std::size_t size, uint64_t processId);

}  // namespace zelvo
