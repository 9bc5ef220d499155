#pragma once

#include <filesystem>

namespace zelkor::host {

/// The login module's library as it lies for a program in `programFolder`: beside it, or where both were
/// installed.
/// @throws ConfigurationError that lists where it was looked for.
std::filesystem::path findModule(const std::filesystem::path& programFolder);

/// The folder of the running program.
std::filesystem::path programFolder();

} // namespace zelkor::host
