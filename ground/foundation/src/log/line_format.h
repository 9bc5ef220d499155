#pragma once

#include <foundation/log/subscription.h>

#include <string>

namespace foundation::log::detail {

/// The record as one line, line break included.
std::string formatLine(const Record& record);

} // namespace foundation::log::detail
