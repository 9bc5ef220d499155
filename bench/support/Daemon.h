#pragma once

#include "hshd/process/DaemonProcess.h"

#include <filesystem>

namespace zelkor::bench {

/// A directory of its own for a benchmark, gone at the end.
class Workplace {
public:
    Workplace();
    ~Workplace();
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;

    const std::filesystem::path& path() const noexcept { return path_; }

private:
    std::filesystem::path path_;
};

/// A real daemon that runs as a child process, with a state of its own and without a log.
class Daemon {
public:
    explicit Daemon(const std::filesystem::path& program);

    std::filesystem::path socketDirectory() const { return workplace_.path() / "run"; }
    pid_t pid() const noexcept { return process_.pid(); }
    /// Ends it without warning and starts its successor; returns when that is ready.
    void restart();

private:
    Workplace workplace_;
    hshd::DaemonProcess process_;
};

} // namespace zelkor::bench
