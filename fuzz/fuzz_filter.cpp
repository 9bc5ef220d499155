// The text of a filter: what can be parsed can be matched, and its own text matches the same.

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

using namespace cppmicroservices;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const AnyMap properties = [] {
        AnyMap map(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
        map["name"] = std::string("Ben Hur*");
        map["count"] = 3;
        map["flag"] = true;
        map["half"] = 0.5;
        map["words"] = std::vector<std::string>{"one", ""};
        return map;
    }();
    try {
        const LDAPFilter filter(std::string(reinterpret_cast<const char*>(data), size));
        if (filter.Match(properties) != LDAPFilter(filter.ToString()).Match(properties))
            std::abort();
    } catch (const std::invalid_argument&) {
    }
    return 0;
}
