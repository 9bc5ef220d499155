#include "FileSource.h"

#include "BundleArchive.h"
#include "FileBundle.h"
#include "Manifest.h"

#include <filesystem>
#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

std::vector<AnyMap> FileSource::Read(const std::string& location, const AnyMap& given) {
    try {
        std::vector<AnyMap> headers;
        if (!given.empty()) {
            if (!std::filesystem::exists(location))
                throw std::runtime_error("there is no such file");
            for (const auto& [name, one] : given)
                headers.push_back(GivenHeaders(name, one));
            return headers;
        }
        for (const auto& manifest : ReadManifests(location))
            headers.push_back(ParseManifest(manifest));
        return headers;
    } catch (const std::exception& error) {
        throw std::runtime_error("The file '" + location + "' cannot be installed: " + error.what() + '.');
    }
}

std::shared_ptr<BundlePrivate> FileSource::Make(const std::shared_ptr<FrameworkCore>& core,
                                                BundlePrivate::Identity identity, AnyMap headers) {
    return std::make_shared<FileBundle>(core, std::move(identity), std::move(headers));
}

} // namespace cppmicroservices::detail
