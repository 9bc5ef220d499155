#include "bench/support/Process.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace zelkor::bench {

void check(bool good, const char* what) {
    if (!good)
        throw std::system_error(errno, std::generic_category(), what);
}

Place claimOneCpu(std::optional<int> wanted) {
    cpu_set_t allowed;
    check(::sched_getaffinity(0, sizeof allowed, &allowed) == 0, "sched_getaffinity");
    int cpu = wanted.value_or(CPU_SETSIZE - 1);
    while (!wanted && cpu > 0 && !CPU_ISSET(cpu, &allowed))
        --cpu;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(cpu, &one);
    check(::sched_setaffinity(0, sizeof one, &one) == 0, "sched_setaffinity");
    // A busy machine takes more from the ping-pong, which sleeps more often, than from the calls: ratios look
    // better than they are.
    const sched_param priority{.sched_priority = 1};
    return {cpu, ::sched_setscheduler(0, SCHED_FIFO, &priority) == 0};
}

ProcessorTime::ProcessorTime(const std::vector<pid_t>& others) {
    for (const auto process : others) {
        clockid_t clock{};
        errno = ::clock_getcpuclockid(process, &clock); // answers what others leave in errno
        check(errno == 0, "clock_getcpuclockid");
        clocks_.push_back(clock);
    }
}

std::chrono::nanoseconds ProcessorTime::used() const {
    std::chrono::nanoseconds sum{};
    for (const auto clock : clocks_) {
        timespec time{};
        check(::clock_gettime(clock, &time) == 0, "clock_gettime");
        sum += std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    }
    return sum;
}

Child::Child(const std::function<void()>& work) : pid_(::fork()) {
    check(pid_ >= 0, "fork");
    if (pid_ != 0)
        return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL); // nothing stays behind when the benchmark is interrupted
    try {
        work();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "benchmark child: %s\n", error.what());
        std::_Exit(1);
    }
    std::_Exit(0);
}

Child::~Child() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
}

} // namespace zelkor::bench
