#include "host/commands/PrintableText.h"

#include "contract/records/Utf.h"

#include <algorithm>

namespace zelkor::host {

std::string printable(std::u16string_view text) {
    std::u16string result(text);
    const auto isControl = [](char16_t c) { return c < 0x20 || (c >= 0x7f && c < 0xa0); };
    std::replace_if(result.begin(), result.end(), isControl, u'\ufffd');
    return login::toUtf8(result);
}

std::string printable(std::string_view text) {
    return printable(login::toUtf16(text));
}

std::string nameOf(const login::LoginInfo& info) {
    return printable(info.displayName.empty() ? info.userId : info.displayName);
}

std::string levelName(login::LoginInfo::Level level) {
    using Level = login::LoginInfo::Level;
    switch (level) {
    case Level::None:
        return "none";
    case Level::Identified:
        return "identified";
    case Level::SignedIn:
        return "signed-in";
    case Level::Confirmed:
        return "confirmed";
    }
    return std::to_string(static_cast<int>(level));
}

} // namespace zelkor::host
