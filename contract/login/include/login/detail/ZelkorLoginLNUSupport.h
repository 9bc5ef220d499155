#pragma once

#include <string>

namespace login::detail {

/// Told which source the daemon's login data comes from.
class ZelkorLoginLNUSupport {
public:
    virtual void setSourceId(const std::string& sourceId) = 0;

    virtual ~ZelkorLoginLNUSupport() = default;
};

} // namespace login::detail
