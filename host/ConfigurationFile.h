#pragma once

#include "host/HostOptions.h"

#include <filesystem>

namespace zelkor::host {

/// Replaces in `options` what the JSON file gives, and leaves the rest:
///
///     {
///       "bundle": "libzelkorloginclient.so",
///       "socketDirectory": "run",
///       "clientId": "my-app",
///       "desktopServices": true,
///       "configurations": {"pid~instance": {"timeouts::call": 10}}
///     }
///
/// Relative paths start at the file's folder; configurations are made in the file's order.
/// @throws ConfigurationError naming the file and the place in it; `options` is then as it was.
void readConfigurationFile(const std::filesystem::path& file, HostOptions& options);

} // namespace zelkor::host
