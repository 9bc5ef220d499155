#pragma once

#include <string>

namespace zelkor::host {

/// A picture of the text for a terminal, in lines of half blocks, dark on light. Empty for an empty text, in
/// a locale other than UTF-8, and where the library for it (libqrencode) is not installed.
std::string qrCode(const std::string& text);

} // namespace zelkor::host
