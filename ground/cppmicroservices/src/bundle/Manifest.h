#pragma once

#include "BundleArchive.h"

#include <cppmicroservices/AnyMap.h>

namespace cppmicroservices::detail {

/// A manifest's JSON as headers: integers become int (long if they do not fit), other numbers double, arrays
/// std::vector<Any>, objects AnyMap; nulls become empty. Keys of the top level are found in any case.
/// \throws std::runtime_error if the text is no JSON object, or if its "bundle.symbolic_name" is missing or
/// not the directory's name; the text says where.
AnyMap ParseManifest(const ArchivedManifest& manifest);

} // namespace cppmicroservices::detail
