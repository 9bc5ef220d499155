#pragma once

#include <foundation/log/diagnostic_logger.h>

#include <string>

namespace agent::spf::cppmsclientutils::detail {

/// How a tracker is named in logs, and what it logs of itself.
class ServiceTrackerBase {
public:
    ServiceTrackerBase(std::string name, std::string filter,
                       const foundation::log::basic_diagnostic_logger<char>& logger);

protected:
    /// For diagnosis only (level debug): which filter is going to be opened.
    void logStarting() const;

private:
    const std::string name_;
    const std::string filter_;
    const foundation::log::basic_diagnostic_logger<char>& logger_;
};

} // namespace agent::spf::cppmsclientutils::detail
