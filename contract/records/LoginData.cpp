#include "contract/records/LoginData.h"

#include <utility>

namespace login::detail {

LoginData::LoginData(LoginData&& other) noexcept
    : refreshToken(std::move(other.refreshToken)), deviceId(other.deviceId),
      accountHint(std::move(other.accountHint)), info(std::move(other.info)),
      endpoint(std::move(other.endpoint)), sourceId(std::move(other.sourceId)), rememberMe(other.rememberMe) {
}

LoginData& LoginData::operator=(LoginData&& other) noexcept {
    refreshToken = std::move(other.refreshToken);
    deviceId = other.deviceId;
    accountHint = std::move(other.accountHint);
    info = std::move(other.info);
    endpoint = std::move(other.endpoint);
    sourceId = std::move(other.sourceId);
    rememberMe = other.rememberMe;
    return *this;
}

} // namespace login::detail
