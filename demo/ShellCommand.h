#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace demo {

/// A program that has been run to its end.
struct ShellCommand {
    int exitCode = 0;
    std::string output; ///< both streams, in the order of writing

    /// @throws std::runtime_error when there is no shell to run it.
    static ShellCommand run(const std::filesystem::path& program, const std::vector<std::string>& arguments);
};

} // namespace demo
