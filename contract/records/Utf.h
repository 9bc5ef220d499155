#pragma once

#include <string>
#include <string_view>

namespace login {

/// UTF-16 to UTF-8. A malformed sequence becomes U+FFFD; nothing throws but memory exhaustion.
std::string toUtf8(std::u16string_view text);

/// UTF-8 to UTF-16. A malformed sequence becomes U+FFFD; nothing throws but memory exhaustion.
std::u16string toUtf16(std::string_view text);

} // namespace login
