#pragma once

#include "BundleArchive.h"

#include <cppmicroservices/AnyMap.h>

namespace cppmicroservices::detail {

/// A manifest's JSON as headers: integers become int (long if they do not fit), other numbers double, arrays
/// std::vector<Any>, objects AnyMap; nulls become empty. Keys of the top level are found in any case.
/// \throws std::runtime_error if the text is no JSON object, or if its "bundle.symbolic_name" is missing or
/// not the directory's name, or "bundle.version" is none; the text says where.
AnyMap ParseManifest(const ArchivedManifest& manifest);

/// Headers that the installing program brings along, checked like those of a manifest.
/// \throws std::runtime_error if \p headers are no AnyMap, or like ParseManifest()
AnyMap GivenHeaders(const std::string& symbolicName, const Any& headers);

} // namespace cppmicroservices::detail
