#include "Say.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/LDAPProp.h>
#include <cppmicroservices/ServiceProperties.h>

#include <vector>

using namespace cppmicroservices;

namespace {

void Expressions() {
    LDAPPropExpr expression = LDAPProp("k") == "v";
    Say(std::string(expression));
    expression &= LDAPProp("n") >= 3;
    Say(std::string(expression));
    expression |= !LDAPProp("x");
    Say(std::string(expression));
    LDAPPropExpr none;
    none &= LDAPProp("k") == std::string();
    none &= LDAPProp("k") >= "";
    Say("null: ", none.IsNull());
    none &= LDAPProp("k") == true;
    Say(std::string(none), ' ', std::string(none && LDAPPropExpr()), ' ',
        std::string(LDAPProp("k").Approx("z")));
    const LDAPProp name("name");
    Say(std::string(name == "Ben" && !(LDAPProp("count") == 1)), ' ',
        std::string(LDAPPropExpr(name) || !LDAPProp("age")), ' ',
        std::string(LDAPPropExpr() && name == "Ben"), ' ', std::string(name == "Ben" || LDAPPropExpr()), ' ',
        (LDAPPropExpr() && LDAPPropExpr()).IsNull(), (!LDAPPropExpr()).IsNull());
    const LDAPProp count("count");
    AnyMap map(AnyMap::UNORDERED_MAP, {{"name", std::string("Ben")}, {"count", 3}, {"flag", true}});
    Say(LDAPFilter((name == "Ben") && (count >= 3) && (count <= 3L) && (LDAPProp("flag") == true)).Match(map),
        LDAPFilter((name != "Eve") && name.Approx("BEN") && count != 4).Match(map),
        LDAPFilter((name == Any(std::string("Ben"))) && (count >= Any(2))).Match(map),
        LDAPFilter(count >= 4).Match(map));
    Try("an empty value", [] { LDAPPropExpr(LDAPProp("k") == Any()); });
    Try("a null expression as a filter", [] { LDAPFilter f{LDAPPropExpr()}; });
    Say(std::string(LDAPProp("k") == ""), ' ', std::string(LDAPProp("k") != ""));
}

void Maps() {
    AnyMap empty;
    Say("empty: ", empty.size(), " kind ", static_cast<int>(empty.GetType()));
    AnyMap listed{{"k", 1}, {"other", std::string("text")}};
    Say("listed: ", listed.size(), " kind ", static_cast<int>(listed.GetType()), ' ', listed.count("K"));
    AnyMap anyCase(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, {{"k", 1}});
    Say("any case: ", anyCase.count("K"), ' ', any_cast<int>(anyCase.at("K")));
    const ServiceProperties properties{{"service.ranking", 5}, {"name", std::string("x")}};
    Say("service properties: ", properties.size());
    AnyMap nested(AnyMap::ORDERED_MAP, {{"list", std::vector<Any>{1, std::string("two")}}});
    Say(nested.AtCompoundKey("list.1").ToString(), ' ', nested.AtCompoundKey("list.9", 7).ToString());
    Try("no such key", [&] { nested.AtCompoundKey("none.x"); });
    Try("into a leaf", [&] { nested.AtCompoundKey("list.0.x"); });
}

void Texts() {
    AnyMap map(AnyMap::ORDERED_MAP, {{"a", 1}, {"b", std::string("q\"\\\n\x01")}});
    for (const Any& any : {Any(), Any(1), Any(1.5), Any(true), Any(std::string("a\tb")), Any('c'),
                           Any(std::vector<Any>{1, std::string("x"), false}), Any(std::vector<std::string>{}),
                           Any(std::map<std::string, int>{{"k", 2}}), Any(map)}) {
        Say(any.ToStringNoExcept(), " | ", any.ToJSON());
        Say(any.ToJSON(true));
    }
}

} // namespace

int main() {
    Expressions();
    Maps();
    Texts();
}
