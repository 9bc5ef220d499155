#pragma once

#include <string>

namespace agent::spf::cppmsclientutils {

/// Which remote service a tracker looks for: its name, the version it must have, and the least revision of
/// it.
class TrackedServiceInfo {
public:
    TrackedServiceInfo(std::string name, int version, int revision);

    /// The filter that selects matching Invokables in the registry.
    std::string ldap() const;
    /// For people, like "ZelkorLogin-v2.1".
    const std::string& toString() const noexcept { return text_; }

private:
    std::string name_;
    int version_;
    int revision_;
    std::string text_;
};

} // namespace agent::spf::cppmsclientutils
