#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace hshd {

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

    /// Returns when clients may connect.
    /// @throws std::runtime_error with its exit code and where to read its last words, when it does not come
    /// up.
    void start();
    /// Asks it to end, waits; the exit code, or minus the signal that ended it.
    int stop();
    /// Kills it without warning (SIGKILL), waits.
    void kill();

    bool running() const noexcept { return pid_ > 0; }
    pid_t pid() const noexcept { return pid_; }

private:
    bool awaitReadiness(int output) const;
    int endWith(int signal);

    const Options options_;
    pid_t pid_ = -1;
    int output_ = -1;
};

} // namespace hshd
