#include "BundleArchive.h"

#include "ArchiveBytes.h"

#include <memory>
#include <set>
#include <stdexcept>
#include <zip.h>

namespace cppmicroservices::detail {

namespace {

/// Far more than any manifest needs; keeps a small file from unpacking to a huge one.
constexpr zip_uint64_t kManifestLimit = 4 << 20;

struct CloseZip {
    void operator()(zip_t* archive) const { zip_discard(archive); }
    void operator()(zip_file_t* file) const { zip_fclose(file); }
};

std::unique_ptr<zip_t, CloseZip> Open(const ArchiveBytes& bytes) {
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_buffer_create(bytes.Data(), bytes.Size(), 0, &error);
    zip_t* archive = source ? zip_open_from_source(source, ZIP_RDONLY, &error) : nullptr;
    if (!archive) {
        const std::string reason = zip_error_strerror(&error);
        zip_source_free(source);
        zip_error_fini(&error);
        throw std::runtime_error("its archive is damaged (" + reason + "); build or copy the file again");
    }
    zip_error_fini(&error);
    return std::unique_ptr<zip_t, CloseZip>(archive);
}

std::set<std::string> TopLevelDirectories(zip_t* archive) {
    std::set<std::string> directories;
    const auto count = zip_get_num_entries(archive, 0);
    for (zip_int64_t i = 0; i < count; ++i) {
        const char* entry = zip_get_name(archive, static_cast<zip_uint64_t>(i), 0);
        const std::string name = entry ? entry : "";
        const auto slash = name.find('/');
        if (slash == std::string::npos || slash == 0)
            throw std::runtime_error("'" + name +
                                     "' stands at the root of its archive; put every file into a directory "
                                     "named like the bundle");
        directories.insert(name.substr(0, slash));
    }
    if (directories.empty())
        throw std::runtime_error("its archive is empty; it must hold <symbolic name>/manifest.json");
    return directories;
}

std::string ReadEntry(zip_t* archive, const std::string& name) {
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat(archive, name.c_str(), 0, &stat) != 0)
        throw std::runtime_error("'" + name + "' is missing in its archive");
    if (stat.size > kManifestLimit)
        throw std::runtime_error("'" + name + "' is larger than a manifest may be (4 MiB)");
    std::string text(stat.size, '\0');
    const std::unique_ptr<zip_file_t, CloseZip> file(zip_fopen(archive, name.c_str(), 0));
    if (!file || zip_fread(file.get(), text.data(), text.size()) != static_cast<zip_int64_t>(text.size()))
        throw std::runtime_error("'" + name +
                                 "' in its archive cannot be unpacked; build or copy the file again");
    return text;
}

} // namespace

std::vector<ArchivedManifest> ReadManifests(const std::filesystem::path& file) {
    const ArchiveBytes bytes(file);
    const auto archive = Open(bytes);
    std::vector<ArchivedManifest> manifests;
    for (const auto& directory : TopLevelDirectories(archive.get()))
        manifests.push_back({directory, ReadEntry(archive.get(), directory + "/manifest.json")});
    return manifests;
}

} // namespace cppmicroservices::detail
