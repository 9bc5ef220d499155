#pragma once

#include "host/HostOptions.h"

#include <foundation/log/severity_filter.h>

#include <chrono>
#include <filesystem>
#include <optional>

namespace zelkor::host {

class Command;

/// What the program was told, before the configuration file is read.
struct CommandLine {
    std::filesystem::path configurationFile;
    std::filesystem::path module;
    std::filesystem::path socketDirectory;
    std::string logLevel = "off";
    std::optional<int> timeout; ///< seconds
    bool json = false;
    bool direct = false; ///< past the session

    std::optional<std::chrono::seconds> limit() const {
        return timeout ? std::optional(std::chrono::seconds(*timeout)) : std::nullopt;
    }
    foundation::log::SeverityFilter logFilter() const {
        return foundation::log::SeverityFilter::parse(logLevel);
    }
    /// The defaults, then the file, then what the command line says.
    /// @throws ConfigurationError
    HostOptions hostOptions() const;
};

} // namespace zelkor::host
