#pragma once

#include <foundation/log/diagnostic_logger.h>

namespace hshd {

using Logger = foundation::log::basic_diagnostic_logger<char>;
using Severity = foundation::log::logging_event_types;

/// The daemon's logger; never destroyed, so that late callbacks may log while the process ends.
const Logger& logger();

} // namespace hshd
