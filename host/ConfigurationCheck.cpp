#include "host/ConfigurationCheck.h"

#include "contract/calls/ServiceProperties.h"
#include "host/ConfigurationError.h"

#include <cppmicroservices/Any.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <set>
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>

namespace zelkor::host {
namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

/// What the components of a bundle take.
struct Known {
    std::set<std::string> pids;
    std::set<std::string> keys{agent::spf::core::properties::clientId};
};

Known knownOf(const AnyMap& manifest) {
    Known known;
    const auto scr = manifest.find("scr");
    if (scr == manifest.end())
        return known;
    const auto& components = cppmicroservices::ref_any_cast<AnyMap>(scr->second).at("components");
    for (const auto& any : cppmicroservices::ref_any_cast<std::vector<Any>>(components)) {
        const auto& component = cppmicroservices::ref_any_cast<AnyMap>(any);
        if (const auto pids = component.find("configuration-pid"); pids != component.end())
            for (const auto& pid : cppmicroservices::ref_any_cast<std::vector<Any>>(pids->second))
                known.pids.insert(pid.ToStringNoExcept());
        if (const auto own = component.find("properties"); own != component.end())
            for (const auto& [key, value] : cppmicroservices::ref_any_cast<AnyMap>(own->second))
                known.keys.insert(key);
    }
    return known;
}

/// How many letters are to be put in, taken out or changed.
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t before = std::exchange(row[0], i + 1);
        for (std::size_t k = 0; k < to.size(); ++k) {
            const auto changed = before + (from[i] == to[k] ? 0 : 1);
            before = row[k + 1];
            row[k + 1] = std::min({changed, before + 1, row[k] + 1});
        }
    }
    return row.back();
}

/// The nearest of the candidates, if somebody may have meant it.
std::string meant(const std::string& text, const std::set<std::string>& candidates) {
    std::string nearest;
    auto least = std::max<std::size_t>(2, text.size() / 8) + 1;
    for (const auto& candidate : candidates)
        if (const auto letters = distance(text, candidate); letters < least) {
            least = letters;
            nearest = candidate;
        }
    return nearest;
}

void checkPid(const std::string& pid, const std::set<std::string>& pids) {
    const auto base = pid.substr(0, pid.find('~'));
    if (pids.contains(base))
        return;
    std::string text = "the configuration '" + pid + "' is for no component of the login module";
    if (const auto near = meant(base, pids); !near.empty())
        throw ConfigurationError(text + ". Was " + near + " meant?");
    text += ". Its pids are ";
    for (const auto& one : pids)
        text += (one == *pids.begin() ? "" : ", ") + one;
    throw ConfigurationError(text);
}

void checkProperty(const std::string& pid, const std::string& key, const Any& value,
                   const std::set<std::string>& keys) {
    if (key.starts_with("timeouts::") && value.Type() != typeid(int))
        throw ConfigurationError("the configuration '" + pid + "': '" + key +
                                 "' is a number of whole seconds, without quotes");
    if (keys.contains(key))
        return; // and others may be the application's own
    if (const auto near = meant(key, keys); !near.empty())
        throw ConfigurationError("the configuration '" + pid + "': '" + key + "' is not known. Was '" + near +
                                 "' meant?");
}

} // namespace

void checkConfigurations(const std::vector<Configuration>& configurations, const AnyMap& manifest) {
    const auto known = knownOf(manifest);
    for (const auto& [pid, properties] : configurations) {
        checkPid(pid, known.pids);
        for (const auto& [key, value] : properties)
            checkProperty(pid, key, value, known.keys);
    }
}

} // namespace zelkor::host
