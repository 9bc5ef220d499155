#include "Manifest.h"

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

} // namespace

AnyMap ParseManifest(const ArchivedManifest& manifest) {
    const auto file = manifest.symbolicName + "/manifest.json";
    try {
        auto headers = Parse(manifest.text);
        const auto found = headers.find(Constants::BUNDLE_SYMBOLICNAME);
        const auto* name = found == headers.end() ? nullptr : any_cast<std::string>(&found->second);
        if (!name)
            throw std::runtime_error("'bundle.symbolic_name' is missing or no text; set it to '" +
                                     manifest.symbolicName + "'");
        if (*name != manifest.symbolicName)
            throw std::runtime_error("its 'bundle.symbolic_name' is '" + *name +
                                     "'; it must be named like its directory");
        return headers;
    } catch (const std::exception& error) {
        throw std::runtime_error("'" + file + "' in its archive: " + error.what());
    }
}

} // namespace cppmicroservices::detail
