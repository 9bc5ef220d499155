#pragma once

#include "demo/Narrator.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace demo {

/// A program that has been run to its end.
struct ShellCommand {
    int exitCode = 0;
    std::string output; ///< both streams, in the order of writing

    /// @throws std::runtime_error when there is no shell to run it.
    static ShellCommand run(const std::filesystem::path& program, const std::vector<std::string>& arguments);
};

/// The program zelkorlogin as a person runs it: shows the command, what it prints, and its exit code, which
/// should be `wantedExitCode`.
class Shell {
public:
    Shell(Narrator& narrator, std::filesystem::path zelkorlogin, std::filesystem::path socketDirectory)
        : narrator_(narrator), program_(std::move(zelkorlogin)),
          socketDirectory_(std::move(socketDirectory)) {}

    enum class Shown { All, FirstLine };
    void run(std::vector<std::string> arguments, int wantedExitCode, Shown shown = Shown::All) const;

private:
    Narrator& narrator_;
    const std::filesystem::path program_;
    const std::filesystem::path socketDirectory_;
};

} // namespace demo
