#include "hshd/process/DaemonProcess.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace hshd {

namespace {

[[noreturn]] void failWith(const std::string& what, int error) {
    throw std::runtime_error(what + ": " + std::strerror(error));
}

pid_t spawn(const DaemonProcess::Options& options, int output) {
    std::vector<std::string> arguments{options.program.string(), "--socket-dir",
                                       options.socketDirectory.string(), "--state-dir",
                                       options.stateDirectory.string()};
    arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
    std::vector<char*> argv;
    for (auto& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (!options.errorFile.empty())
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, options.errorFile.c_str(),
                                         O_CREAT | O_WRONLY | O_APPEND, 0600);
    pid_t pid = -1;
    const int error = ::posix_spawn(&pid, options.program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        failWith("cannot start " + options.program.string(), error);
    return pid;
}

} // namespace

StartFailure::StartFailure(int exitCode, const std::filesystem::path& errorFile)
    : std::runtime_error("hshd did not become ready (exit code " + std::to_string(exitCode) + "); see " +
                         errorFile.string()),
      exitCode_(exitCode) {}

DaemonProcess::DaemonProcess(Options options) : options_(std::move(options)) {}

DaemonProcess::~DaemonProcess() {
    kill();
}

std::string DaemonProcess::start() {
    if (running())
        throw std::logic_error("the daemon is running already");
    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC) != 0)
        failWith("no pipe to the daemon", errno);
    try {
        pid_ = spawn(options_, pipe[1]);
    } catch (...) {
        ::close(pipe[0]);
        ::close(pipe[1]);
        throw;
    }
    ::close(pipe[1]);
    output_ = pipe[0];
    auto line = awaitReadiness();
    if (!line || line->empty())
        // Who closed the output is ending by itself: its own exit code is what tells.
        throw StartFailure(line ? endByItself() : endWith(SIGKILL), options_.errorFile);
    return *std::move(line);
}

std::optional<std::string> DaemonProcess::awaitReadiness() const {
    const auto deadline = std::chrono::steady_clock::now() + options_.readyLimit;
    std::string text;
    while (!text.ends_with('\n')) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return std::nullopt;
        pollfd readable{output_, POLLIN, 0};
        if (::poll(&readable, 1, static_cast<int>(left.count())) <= 0)
            continue; // interrupted, or time is over
        char next;
        if (::read(output_, &next, 1) != 1)
            return "";
        text += next;
    }
    text.pop_back();
    return text;
}

int DaemonProcess::awaitEnd() {
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    ::close(std::exchange(output_, -1));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int DaemonProcess::endByItself() {
    // glibc's own declaration has no C linkage here.
    const int process = static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0));
    pollfd ended{process, POLLIN, 0};
    const bool inTime = process >= 0 && ::poll(&ended, 1, static_cast<int>(options_.readyLimit.count())) > 0;
    ::close(process);
    return inTime ? awaitEnd() : endWith(SIGKILL);
}

int DaemonProcess::endWith(int signal) {
    if (!running())
        return 0;
    ::kill(pid_, signal);
    return awaitEnd();
}

int DaemonProcess::stop(int signal) {
    return endWith(signal);
}
int DaemonProcess::kill() {
    return endWith(SIGKILL);
}

} // namespace hshd
