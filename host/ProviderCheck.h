#pragma once

#include <string>

namespace zelkor::host {

/// Becomes the program hshd, beside this one or in PATH, that checks a provider file: the daemon is who asks
/// the provider, so it is who can tell. @return only when there is no such program, the exit code for that
int checkProvider(const std::string& file);

} // namespace zelkor::host
