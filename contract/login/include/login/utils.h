#pragma once

#include "contract/records/InteractiveOptions.h"
#include "contract/records/LoginInfo.h"

#include <foundation/json.h>

namespace login::utils {

/// The level as it travels in remote calls.
int toNumber(LoginInfo::Level level) noexcept;

foundation::json::value toJson(const interactive::LoginOptions& options);
foundation::json::value toJson(const interactive::LogoutOptions& options);

} // namespace login::utils
