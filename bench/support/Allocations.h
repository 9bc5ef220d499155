#pragma once

#include <cstdint>

namespace zelkor::bench {

/// How often this thread has called operator new.
std::uint64_t allocationsOfThisThread() noexcept;

} // namespace zelkor::bench
