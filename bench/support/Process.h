#pragma once

#include <chrono>
#include <ctime>
#include <functional>
#include <optional>
#include <sys/types.h>
#include <vector>

namespace zelkor::bench {

/// @throws std::system_error with errno when `good` is false.
void check(bool good, const char* what);

/// Where and how this process is measured.
struct Place {
    int cpu;
    bool undisturbed; ///< no ordinary process runs there meanwhile
};

/// Keeps the calling thread, and the threads and processes that it starts from now on, on one processor:
/// `wanted`, or the last of those it may use (the first one takes most interrupts). Gives them real-time
/// priority if this user may.
Place claimOneCpu(std::optional<int> wanted);

/// The processor time that this process and some others have used, all threads, in the kernel too.
class ProcessorTime {
public:
    explicit ProcessorTime(const std::vector<pid_t>& others);
    /// @throws std::system_error when one of the processes is gone.
    std::chrono::nanoseconds used() const;

private:
    std::vector<clockid_t> clocks_{CLOCK_PROCESS_CPUTIME_ID};
};

/// A forked process that runs `work` and ends; killed when this goes. To be made before this process has
/// threads.
class Child {
public:
    explicit Child(const std::function<void()>& work);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const noexcept { return pid_; }

private:
    pid_t pid_;
};

} // namespace zelkor::bench
