#pragma once

#include <chrono>
#include <csignal>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/types.h>
#include <vector>

namespace hshd {

/// The daemon did not come up.
class StartFailure : public std::runtime_error {
public:
    StartFailure(int exitCode, const std::filesystem::path& errorFile);
    /// Of the daemon, or minus the signal that ended it; SIGKILL is ours, after the limit.
    int exitCode() const noexcept { return exitCode_; }

private:
    int exitCode_;
};

/// The daemon as a child process, to be started, ended and started again. Not thread-safe.
class DaemonProcess {
public:
    struct Options {
        std::filesystem::path program; ///< of hshd
        std::filesystem::path socketDirectory;
        std::filesystem::path stateDirectory;
        std::vector<std::string> arguments; ///< further ones
        std::filesystem::path errorFile;    ///< where its standard error stream is appended
        std::chrono::milliseconds readyLimit{30'000};
    };

    explicit DaemonProcess(Options options);
    /// Kills it if it still runs.
    ~DaemonProcess();
    DaemonProcess(const DaemonProcess&) = delete;
    DaemonProcess& operator=(const DaemonProcess&) = delete;

    /// Returns when clients may connect, with the line in which the daemon said so.
    /// @throws StartFailure when it ends before that or takes too long; std::runtime_error when it cannot be
    /// run.
    std::string start();
    /// Asks it to end, waits; the exit code, or minus the signal that ended it.
    int stop(int signal = SIGTERM);
    /// Kills it without warning (SIGKILL), waits; as stop().
    int kill();

    bool running() const noexcept { return pid_ > 0; }
    pid_t pid() const noexcept { return pid_; }

private:
    /// The line, or an empty one when the daemon has closed its output; nothing when time is over.
    std::optional<std::string> awaitReadiness() const;
    int awaitEnd();
    int endByItself();
    int endWith(int signal);

    const Options options_;
    pid_t pid_ = -1;
    int output_ = -1;
};

} // namespace hshd
