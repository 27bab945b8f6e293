#pragma once

namespace zelvo {

// Lets go of the process-wide tracker and platform without destroying them. For a library
// unloaded by a process that is exiting (zelvo.dll): Windows has already ended every other
// thread then, and destroying them would wait on those threads.
void abandonProcessWideObjects();

}  // namespace zelvo
