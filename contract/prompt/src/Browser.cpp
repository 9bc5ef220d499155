#include <login/prompt/SignInPrompt.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <string_view>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace login::prompt {
namespace {

constexpr int patience = 2000; // milliseconds; some openers end with the browser only

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value && *value;
}

bool mayBeOpened(std::string_view address) {
    for (const std::string_view start :
         {"https://", "http://127.0.0.1:", "http://[::1]:", "http://localhost:"})
        if (address.starts_with(start))
            return address.find_first_of(" \t\r\n") == std::string_view::npos;
    return false;
}

/// In a session of its own, with nothing to read or write. -1 when it cannot be started.
pid_t start(const std::string& address) {
    std::string program = "xdg-open";
    std::string argument = address;
    const std::array<char*, 3> argv{program.data(), argument.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    pid_t pid = -1;
    const int error = ::posix_spawnp(&pid, program.c_str(), &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? pid : -1;
}

} // namespace

bool openInBrowser(const std::string& address) noexcept {
    try {
        if (!mayBeOpened(address) || isSet("SSH_CONNECTION") ||
            (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY")))
            return false;
        const pid_t pid = start(address);
        if (pid < 0)
            return false;
        const int process = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
        pollfd ended{process, POLLIN, 0};
        int polled = 0;
        while (process >= 0 && (polled = ::poll(&ended, 1, patience)) < 0 && errno == EINTR) {
        }
        if (process >= 0)
            ::close(process);
        int status = 0;
        if (polled > 0)
            return ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
        std::thread([pid] { ::waitpid(pid, nullptr, 0); }).detach(); // it leaves no zombie, whenever it ends
        return true;
    } catch (...) {
        return false;
    }
}

} // namespace login::prompt
