#include "host/ConfigurationFile.h"

#include "host/ConfigurationError.h"

#include <cppmicroservices/Any.h>
#include <foundation/json.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

namespace zelkor::host {

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
namespace json = foundation::json;

/// Says where in which file something is wrong.
class Place {
public:
    explicit Place(const std::filesystem::path& file) : text_(file.string()) {}

    Place at(std::string_view key) const {
        Place inner = *this;
        inner.text_ += (depth_ == 0 ? ": '" : " > '") + std::string(key) + "'";
        ++inner.depth_;
        return inner;
    }
    [[noreturn]] void fail(const std::string& what) const {
        throw ConfigurationError(text_ + (depth_ == 0 ? ": " : " ") + what);
    }

private:
    std::string text_;
    int depth_ = 0;
};

std::string contentOf(const std::filesystem::path& file) {
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(stream), {}};
    if (!stream.is_open() || stream.bad() || (text.empty() && errno != 0))
        throw ConfigurationError(file.string() + ": cannot be read: " + std::strerror(errno) +
                                 ". Check the path, or leave out --config for the defaults");
    return text;
}

std::string textAt(const Place& place, const json::value& value) {
    if (!value.is_string() || value.get_string().empty())
        place.fail("must be a text, and not empty");
    return std::string(value.get_string());
}

Any propertyAt(const Place& place, const json::value& value);

AnyMap mapAt(const Place& place, const json::object& object) {
    AnyMap map(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (const auto& [key, value] : object)
        if (!map.emplace(std::string(key), propertyAt(place.at(key), value)).second)
            place.at(key).fail("is there twice, in different letter case; remove one");
    return map;
}

/// As the framework reads the manifest: whole numbers are ints.
Any propertyAt(const Place& place, const json::value& value) {
    switch (value.kind()) {
    case boost::json::kind::bool_:
        return Any(value.get_bool());
    case boost::json::kind::int64:
        if (std::in_range<int>(value.get_int64()))
            return Any(static_cast<int>(value.get_int64()));
        [[fallthrough]];
    case boost::json::kind::uint64:
        place.fail("is too large: whole numbers go up to " + std::to_string(std::numeric_limits<int>::max()));
    case boost::json::kind::double_:
        return Any(value.get_double());
    case boost::json::kind::string:
        return Any(std::string(value.get_string()));
    case boost::json::kind::array: {
        std::vector<Any> elements;
        for (const auto& element : value.get_array())
            elements.push_back(propertyAt(place.at(std::to_string(elements.size())), element));
        return Any(std::move(elements));
    }
    case boost::json::kind::object:
        return Any(mapAt(place, value.get_object()));
    case boost::json::kind::null:
        break;
    }
    place.fail("is null; give it a value, or leave the key out for the component's own");
}

std::vector<Configuration> configurationsAt(const Place& place, const json::value& value) {
    if (!value.is_object())
        place.fail("must be an object: {\"pid~instance\": {properties}, ...}");
    std::vector<Configuration> configurations;
    for (const auto& [pid, properties] : value.get_object()) {
        const Place inner = place.at(pid);
        if (pid.empty() || pid.starts_with('~') || pid.ends_with('~'))
            inner.fail("is no pid; write pid~instance");
        if (!properties.is_object())
            inner.fail("must be an object with the component's properties; {} for its own");
        configurations.push_back({std::string(pid), mapAt(inner, properties.get_object())});
    }
    return configurations;
}

void take(const Place& place, const std::filesystem::path& folder, std::string_view key,
          const json::value& value, HostOptions& options) {
    const Place inner = place.at(key);
    if (key == "bundle") {
        options.module = folder / textAt(inner, value);
    } else if (key == "socketDirectory") {
        options.connector.socketDirectory = folder / textAt(inner, value);
    } else if (key == "clientId") {
        options.connector.clientId = textAt(inner, value);
    } else if (key == "desktopServices") {
        if (!value.is_bool())
            inner.fail("must be true or false");
        options.desktopServices = value.get_bool();
    } else if (key == "sessionServices") {
        if (!value.is_bool())
            inner.fail("must be true or false");
        options.sessionServices = value.get_bool();
    } else if (key == "configurations") {
        options.configurations = configurationsAt(inner, value);
    } else {
        inner.fail("is no key of this file; the keys are bundle, socketDirectory, clientId, desktopServices, "
                   "sessionServices and configurations");
    }
}

} // namespace

void readConfigurationFile(const std::filesystem::path& file, HostOptions& options) {
    const Place place(file);
    json::value document;
    try {
        document = json::parse(contentOf(file));
    } catch (const std::invalid_argument& error) {
        place.fail(error.what());
    }
    if (!document.is_object())
        place.fail("must hold one JSON object: {...}");
    HostOptions changed = options;
    const auto folder = std::filesystem::absolute(file).parent_path();
    for (const auto& [key, value] : document.get_object())
        take(place, folder, key, value, changed);
    options = std::move(changed);
}

} // namespace zelkor::host
