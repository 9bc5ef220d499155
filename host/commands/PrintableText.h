#pragma once

#include "contract/records/LoginInfo.h"

#include <string>
#include <string_view>

namespace zelkor::host {

/// For a terminal: what would control it is replaced. Names and messages come from other programs.
std::string printable(std::u16string_view text);
std::string printable(std::string_view text);

/// The user's name as people know it, printable: the display name, or the id.
std::string nameOf(const login::LoginInfo& info);

/// "signed-in" and the like, as --level takes it; the number for a level without a name.
std::string levelName(login::LoginInfo::Level level);

} // namespace zelkor::host
