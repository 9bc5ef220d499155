#include <login/utils.h>

namespace login::utils {

int toNumber(LoginInfo::Level level) noexcept {
    return static_cast<int>(level);
}

foundation::json::value toJson(const interactive::LoginOptions& options) {
    return foundation::json::object{{"rememberMe", options.rememberMe},
                                    {"forcePrompt", options.forcePrompt},
                                    {"accountHint", options.accountHint}};
}

foundation::json::value toJson(const interactive::LogoutOptions& options) {
    return foundation::json::object{{"askConsent", options.askConsent},
                                    {"forgetAccount", options.forgetAccount}};
}

} // namespace login::utils
