#pragma once

#include "tests/support/Eventually.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace zelkor::test {

/// A pipe whose reader may be slow.
class Pipe {
public:
    Pipe() { EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0); }
    ~Pipe() {
        ::close(ends_[0]);
        ::close(ends_[1]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int writer() const { return ends_[1]; }
    /// What was written so far; waits for the first of it.
    std::string read() const {
        std::array<char, 4096> some{};
        pollfd ready{ends_[0], POLLIN, 0};
        EXPECT_EQ(::poll(&ready, 1, 60'000), 1);
        return {some.data(), static_cast<std::size_t>(::read(ends_[0], some.data(), some.size()))};
    }
    /// Until nothing goes in any more.
    void fill() const {
        // The file description is shared: opened anew, the flag is this test's only.
        const int own =
            ::open(("/proc/self/fd/" + std::to_string(ends_[1])).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        while (::write(own, "\n", 1) == 1) {
        }
        ::close(own);
    }

private:
    std::array<int, 2> ends_{-1, -1};
};

/// A program that runs beside the test, started by a shell command.
class RunningProgram {
public:
    RunningProgram(const std::string& command, int out, int err) : pid_(::fork()) {
        if (pid_ == 0) {
            ::dup2(out, STDOUT_FILENO);
            ::dup2(err, STDERR_FILENO);
            exec(command);
        }
    }
    /// At a terminal of its own, at which nobody types.
    explicit RunningProgram(const std::string& command)
        : pid_(::forkpty(&terminal_, nullptr, nullptr, nullptr)) {
        if (pid_ == 0)
            exec(command);
    }
    ~RunningProgram() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        ::close(terminal_);
    }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    void signal(int number) const { ::kill(pid_, number); }
    /// Waits for its end: the exit code, or minus the signal.
    int end() {
        int status = 0;
        if (!eventually([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; }))
            return -SIGKILL;
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    /// All that it writes to its terminal.
    std::string screen() const {
        std::string text;
        std::array<char, 1024> some{};
        for (pollfd ready{terminal_, POLLIN, 0}; ::poll(&ready, 1, 60'000) == 1;) {
            const auto got = ::read(terminal_, some.data(), some.size());
            if (got <= 0) // an error: nobody is at the other end any more
                break;
            text.append(some.data(), static_cast<std::size_t>(got));
        }
        return text;
    }

private:
    [[noreturn]] static void exec(const std::string& command) {
        ::execl("/bin/sh", "sh", "-c", ("exec env " + command).c_str(), nullptr);
        ::_exit(127);
    }

    int terminal_ = -1;
    pid_t pid_;
};

} // namespace zelkor::test
