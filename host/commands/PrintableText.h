#pragma once

#include "contract/records/LoginInfo.h"

#include <foundation/json.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace zelkor::host {

/// Of one text from another program a person is shown no more, in bytes.
inline constexpr std::size_t maxText = 16 * 1024;

/// For a terminal, one line of it: what would control it is replaced, and what is too long is cut. Names and
/// messages come from other programs.
std::string printable(std::u16string_view text);
std::string printable(std::string_view text);
/// The beginning of a text in UTF-8, at most `maxText` bytes.
std::string shortened(std::string text);

/// One line of JSON that a terminal bears as well: whatever controls one is escaped.
std::string jsonLine(const foundation::json::value& value);

/// The user's name as people know it, printable: the display name, or the id.
std::string nameOf(const login::LoginInfo& info);

/// "signed-in" and the like, as --level takes it; the number for a level without a name.
std::string levelName(login::LoginInfo::Level level);

} // namespace zelkor::host
