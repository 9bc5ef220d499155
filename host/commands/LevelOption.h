#pragma once

#include "contract/records/LoginInfo.h"

namespace CLI {
class App;
}

namespace zelkor::host {

/// --level: how much of the identity is asked for.
class LevelOption {
public:
    void addTo(CLI::App& app);
    login::LoginInfo::Level level() const noexcept { return level_; }

private:
    login::LoginInfo::Level level_ = login::LoginInfo::Level::SignedIn;
};

} // namespace zelkor::host
