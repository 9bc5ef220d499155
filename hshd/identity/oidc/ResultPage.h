#pragma once

#include <string>
#include <string_view>

namespace hshd::oidc {

/// The page on which a sign-in ends in the browser: whether it went well, and what to do next. Plain HTML
/// without scripts and without anything from elsewhere.
std::string resultPage(bool signedIn, std::string_view text);

/// The policy to be sent with it: nothing may be loaded or run but its own style.
std::string resultPagePolicy();

} // namespace hshd::oidc
