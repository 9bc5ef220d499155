#include "hshd/process/Child.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace hshd {
namespace {

std::pair<foundation::UniqueFd, foundation::UniqueFd> ends() {
    std::array<int, 2> pair{};
    // Sockets, for a write to one that nobody reads can be told not to raise SIGPIPE.
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()) != 0)
        throw std::runtime_error(std::string("no channel to a child process: ") + std::strerror(errno));
    return {foundation::UniqueFd(pair[0]), foundation::UniqueFd(pair[1])};
}

} // namespace

Child::Child(const std::filesystem::path& program, std::vector<std::string> arguments, int keep) {
    arguments.insert(arguments.begin(), program.filename().string());
    std::vector<char*> argv;
    for (auto& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    auto [input, childsInput] = ends();
    auto [output, childsOutput] = ends();

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, childsInput.get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, childsOutput.get(), STDOUT_FILENO);
    if (keep >= 0)
        posix_spawn_file_actions_adddup2(&actions, keep, 3);
    // Not everything that libraries open is closed by itself in a new program.
    posix_spawn_file_actions_addclosefrom_np(&actions, keep >= 0 ? 4 : 3);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    const int error = ::posix_spawn(&pid_, program.c_str(), &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error("cannot start " + program.string() + ": " + std::strerror(error));
    input_ = std::move(input);
    output_ = std::move(output);
}

bool Child::give(std::string_view text) {
    while (!text.empty()) {
        const auto written = ::send(input_.get(), text.data(), text.size(), MSG_NOSIGNAL);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    input_ = {};
    return true;
}

int Child::wait() {
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void Child::kill() noexcept {
    ::kill(pid_, SIGKILL);
}

std::filesystem::path ownProgram() {
    return "/proc/self/exe";
}

std::filesystem::path besideOwnProgram(const char* name) {
    std::error_code none;
    const auto directory = std::filesystem::read_symlink(ownProgram(), none).parent_path();
    for (const auto& place :
         {directory / name, directory / "process" / name, directory / "../libexec/hshd" / name})
        if (std::filesystem::exists(place, none))
            return place;
    return {};
}

} // namespace hshd
