#pragma once

#include <foundation/log/diagnostic_logger.h>

namespace login::v1 {

/// What the client logs as. Never destroyed: calls may outlive the exit handlers.
foundation::log::basic_diagnostic_logger<char>& logger();

} // namespace login::v1
