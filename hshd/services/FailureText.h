#pragma once

#include <exception>
#include <string>

namespace hshd {

/// Why a client's function could not be called or gave no usable answer, for the log. What the function
/// itself threw is left out, because its text is the client's and may hold a secret.
std::string failureText(const std::exception_ptr& error);

} // namespace hshd
