#include "host/commands/PrintableText.h"

#include "contract/records/Utf.h"

#include <algorithm>
#include <cstdio>

namespace zelkor::host {

namespace {

bool isControl(char16_t c) {
    return c < 0x20 || (c >= 0x7f && c < 0xa0);
}

} // namespace

std::string printable(std::u16string_view text) {
    std::u16string result(text.substr(0, maxText + 1));
    std::replace_if(result.begin(), result.end(), isControl, u'\ufffd');
    return shortened(login::toUtf8(result));
}

std::string shortened(std::string text) {
    constexpr std::string_view more = "...";
    if (text.size() <= maxText)
        return text;
    auto end = maxText - more.size();
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) // not within a character
        --end;
    return text.replace(end, std::string::npos, more);
}

std::string jsonLine(const foundation::json::value& value) {
    std::u16string line;
    for (const auto c : login::toUtf16(foundation::json::serialize(value)))
        if (isControl(c)) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
            line.append(escaped, escaped + 6);
        } else {
            line += c;
        }
    return login::toUtf8(line) + "\n";
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
