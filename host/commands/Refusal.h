#pragma once

#include "host/commands/Command.h"

#include <login/detail/ZelkorLogin.h>

namespace zelkor::host {

/// What is told when somebody does not agree to a logout: the messages, of which each negotiator gives one.
/// @param note the first line for a person
Result refusal(const login::detail::NegotiationsResult& result, const std::string& note);

} // namespace zelkor::host
