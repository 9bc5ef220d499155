#include "Manifest.h"

#include <cppmicroservices/BundleVersion.h>
#include <cppmicroservices/Constants.h>
#include <foundation/json.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

namespace {

namespace json = foundation::json;

Any FromJson(const json::value& value);

AnyMap FromObject(const json::object& object) {
    AnyMap map(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (const auto& [key, value] : object) {
        if (!map.emplace(std::string(key), FromJson(value)).second)
            throw std::runtime_error("two of its keys differ from '" + std::string(key) + "' in case only");
    }
    return map;
}

template <class Integer>
Any FromInteger(Integer number) {
    if (std::in_range<int>(number))
        return static_cast<int>(number);
    if (std::in_range<long>(number))
        return static_cast<long>(number);
    throw std::runtime_error("the number " + std::to_string(number) + " is too large");
}

Any FromJson(const json::value& value) {
    switch (value.kind()) {
    case boost::json::kind::null:
        return {};
    case boost::json::kind::bool_:
        return value.get_bool();
    case boost::json::kind::int64:
        return FromInteger(value.get_int64());
    case boost::json::kind::uint64:
        return FromInteger(value.get_uint64());
    case boost::json::kind::double_:
        return value.get_double();
    case boost::json::kind::string:
        return std::string(value.get_string());
    case boost::json::kind::array: {
        std::vector<Any> items;
        for (const auto& item : value.get_array())
            items.push_back(FromJson(item));
        return items;
    }
    case boost::json::kind::object:
        return FromObject(value.get_object());
    }
    return {};
}

AnyMap Parse(const std::string& text) {
    const auto document = json::parse(text);
    if (!document.is_object())
        throw std::runtime_error("it must be a JSON object");
    return FromObject(document.get_object());
}

void Check(const std::string& symbolicName, const AnyMap& headers) {
    const auto found = headers.find(Constants::BUNDLE_SYMBOLICNAME);
    const auto* name = found == headers.end() ? nullptr : any_cast<std::string>(&found->second);
    if (!name)
        throw std::runtime_error("'bundle.symbolic_name' is missing or no text; set it to '" + symbolicName +
                                 "'");
    if (*name != symbolicName)
        throw std::runtime_error("its 'bundle.symbolic_name' is '" + *name + "'; it must be '" +
                                 symbolicName + "'");
    const auto version = headers.find(Constants::BUNDLE_VERSION);
    if (version == headers.end())
        return;
    const auto* text = any_cast<std::string>(&version->second);
    if (!text)
        throw std::runtime_error("its 'bundle.version' must be a text, like \"1.0.0\"");
    BundleVersion check(*text);
}

} // namespace

AnyMap ParseManifest(const ArchivedManifest& manifest) {
    try {
        auto headers = Parse(manifest.text);
        Check(manifest.symbolicName, headers);
        return headers;
    } catch (const std::exception& error) {
        throw std::runtime_error("'" + manifest.symbolicName +
                                 "/manifest.json' in its archive: " + error.what());
    }
}

AnyMap GivenHeaders(const std::string& symbolicName, const Any& given) {
    try {
        const auto* map = any_cast<AnyMap>(&given);
        if (!map)
            throw std::runtime_error("it must be an AnyMap of headers");
        AnyMap headers(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
        for (const auto& [key, value] : *map)
            headers.emplace(key, value);
        Check(symbolicName, headers);
        return headers;
    } catch (const std::exception& error) {
        throw std::runtime_error("the manifest given for '" + symbolicName + "': " + error.what());
    }
}

} // namespace cppmicroservices::detail
