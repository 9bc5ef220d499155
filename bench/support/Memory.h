#pragma once

#include <sys/types.h>

namespace zelkor::bench {

/// What a process holds in memory, in kB.
struct Memory {
    long resident;     ///< all pages, shared ones too
    long proportional; ///< each shared page divided among those that share it
    long own;          ///< pages that only this process has

    /// @throws std::runtime_error when the process is gone.
    static Memory of(pid_t process);
    /// The most that was resident at any time. @throws as of()
    static long peakOf(pid_t process);
};

} // namespace zelkor::bench
