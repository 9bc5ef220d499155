#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace cppmicroservices::detail {

/// The manifest of one bundle in a file.
struct ArchivedManifest {
    std::string symbolicName; ///< the top-level directory that holds it
    std::string text;
};

/// Reads the manifests out of a bundle file: a library with the archive in the ELF section .us_resources, a
/// library with the archive appended, or an archive alone.
///
/// Each top-level directory of the archive is one bundle and holds a manifest.json.
/// \throws std::runtime_error if there is no archive, if it is damaged, or if it is not laid out like that;
/// the text says what is wrong with which file.
std::vector<ArchivedManifest> ReadManifests(const std::filesystem::path& file);

} // namespace cppmicroservices::detail
