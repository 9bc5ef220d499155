#include "Say.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>

#include <cstdint>
#include <fstream>
#include <list>
#include <memory>
#include <vector>

using namespace cppmicroservices;

namespace {

AnyMap Samples() {
    AnyMap map(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS,
               {{"n", 10},
                {"l", 10L},
                {"d", 1.0},
                {"t", true},
                {"f", false},
                {"s", std::string("a b")},
                {"b", std::string("a(b)c")},
                {"anys", std::vector<Any>{7, std::string("x")}},
                {"name", std::string("Ben Hur")},
                {"Stars", std::string("a*b(c)\\d")},
                {"empty", std::string()},
                {"nothing", Any()},
                {"flag", true},
                {"letter", 'x'},
                {"half", 0.5},
                {"tenth", 0.1F},
                {"negative", -3},
                {"huge", 18446744073709551615ULL},
                {"big", 9007199254740993LL}, // not a double
                {"words", std::vector<std::string>{"one", "two"}},
                {"list", std::list<std::string>{"three"}},
                {"mixed", std::vector<Any>{std::string("four"), 5, Any()}},
                {"opaque", std::make_shared<int>(1)}});
    const std::vector<std::pair<const char*, Any>> ones{{"string", std::string("1")},
                                                        {"int", 1},
                                                        {"long", 1L},
                                                        {"llong", 1LL},
                                                        {"uint", 1U},
                                                        {"ulong", 1UL},
                                                        {"ullong", 1ULL},
                                                        {"short", short{1}},
                                                        {"ushort", std::uint16_t{1}},
                                                        {"byte", std::uint8_t{1}},
                                                        {"double", 1.0},
                                                        {"float", 1.0F}};
    for (const auto& [type, one] : ones)
        map.emplace(std::string("one.") + type, one);
    return map;
}

} // namespace

/// argv[1]: a file of filters, one a line.
int main(int, char** argv) {
    const auto properties = Samples();
    std::ifstream filters(argv[1]);
    for (std::string text; std::getline(filters, text);) {
        try {
            Say(text, "  ", LDAPFilter(text).Match(properties) ? "matches" : "does not match");
        } catch (const std::invalid_argument&) {
            Say(text, "  invalid_argument");
        }
    }
    Say(LDAPFilter("(Stars=a*)").MatchCase(properties), LDAPFilter("(stars=a*)").MatchCase(properties),
        LDAPFilter().Match(properties));
}
