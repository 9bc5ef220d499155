#pragma once

#include "LdapNode.h"

#include <cppmicroservices/Any.h>

namespace cppmicroservices::detail {

/// Whether the comparison \p node holds for a property's value. A value of a type that filters do not know is
/// only ever present.
bool LdapMatch(const Any& value, const LdapNode& node);

} // namespace cppmicroservices::detail
