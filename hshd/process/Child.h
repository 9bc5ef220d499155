#pragma once

#include <foundation/unique_fd.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace hshd {

/// A program started for one task, in a session of its own: no terminal's Ctrl-C ends it. It inherits its
/// standard streams, descriptor 3 when there is one to keep, and no other.
class Child {
public:
    /// @param keep its descriptor 3; -1: none.
    /// @throws std::runtime_error when it cannot be started.
    Child(const std::filesystem::path& program, std::vector<std::string> arguments, int keep = -1);
    /// Does not wait: the program goes on.
    ~Child() = default;
    Child(Child&&) = default;

    /// Writes the text to its standard input and closes that. @return false when it does not read.
    bool give(std::string_view text);
    /// Its standard output; once.
    foundation::UniqueFd takeOutput() { return std::move(output_); }
    /// Waits for its end; the exit code, or minus a signal. Once.
    int wait();
    void kill() noexcept;

private:
    pid_t pid_ = -1;
    foundation::UniqueFd input_;
    foundation::UniqueFd output_;
};

/// The program that this process runs, even when its file has been replaced.
std::filesystem::path ownProgram();
/// A program that belongs to it: in the same directory, or in the installed one for such programs. Empty when
/// there is none.
std::filesystem::path besideOwnProgram(const char* name);

} // namespace hshd
