#pragma once

namespace zelvo {

// The reader's answer to the host's consent question: not asked yet, agreed, or refused.
// Kept across launches once the host has recorded one.
enum class ConsentState { kUnknown, kGiven, kRevoked };

}  // namespace zelvo
