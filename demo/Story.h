#pragma once

#include "contract/records/LoginInfo.h"

#include <chrono>
#include <string>

/// What the chapters have in common: who signs in, and words for what they see.
namespace demo {

inline constexpr char token[] = "demo-token";

login::LoginInfo ada();
std::string nameOf(const login::LoginInfo& info);
std::string yesNo(bool yes);
/// "1.0 s"
std::string since(std::chrono::steady_clock::time_point begin);
void pause(std::chrono::milliseconds time);

} // namespace demo
