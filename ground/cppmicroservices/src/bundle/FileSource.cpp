#include "FileSource.h"

#include "BundleArchive.h"
#include "FileBundle.h"
#include "Manifest.h"

#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

std::vector<AnyMap> FileSource::Read(const std::string& location) {
    try {
        std::vector<AnyMap> headers;
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
