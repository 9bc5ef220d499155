#include "Say.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/LDAPProp.h>
#include <cppmicroservices/ServiceProperties.h>

#include <vector>

using namespace cppmicroservices;

namespace {

void Filters(const AnyMap& properties) {
    for (const char* text : {"(n=10)",
                             "(l=10)",
                             "(d=1)",
                             "(d=1.5)",
                             "(n>=9)",
                             "(n<=9)",
                             "(n=10abc)",
                             "(n=abc)",
                             "(n= 10 )",
                             "(n=)",
                             "(n=1*)",
                             "(l=10abc)",
                             "(n~=10)",
                             "(t=TRUE)",
                             "(t=true)",
                             "( t = true )",
                             "(t= true)",
                             "(t=true )",
                             "(t=tr)",
                             "(t=)",
                             "(t=x)",
                             "(t=trueish)",
                             "(f=fa)",
                             "(f=)",
                             "(t~=tr)",
                             "(s=a b)",
                             "(s= a b)",
                             "(s=A B)",
                             "(s~=A B)",
                             "(s~=ab)",
                             "(S=a b)",
                             "(s=a*)",
                             "(s=*b)",
                             "(s=*)",
                             "(none=1)",
                             "(!(none=1))",
                             "(none=*)",
                             "(b=a\\(b\\)c)",
                             "(b=a(b)c)",
                             "(b=a(b*)",
                             "(list=two)",
                             "(list=three)",
                             "(anys=7)",
                             "(&(n=10)(t=true))",
                             "(|(none=1)(n=10))",
                             "( & (n=10) (t=true) )",
                             "(&)",
                             "((n=10))",
                             "((",
                             "(n=10",
                             "n=10",
                             "(=1)",
                             "()",
                             "",
                             " (n=10) ",
                             "(n=10)x",
                             "(n>10)",
                             "(!(n=10)(t=true))",
                             "(s=)",
                             "(n=1\\0)",
                             "(n=10*)",
                             "(n=*10)",
                             "(n=10.7)",
                             "(n>=9.9x)",
                             "(d=1x)",
                             "(d>= 0.5)",
                             "(t=t*)",
                             "(b=a*c)",
                             "(b=(*)",
                             "(n=+10)",
                             "(n=+-10)",
                             "(n>=)",
                             "(t>=true)"}) {
        try {
            Say(text, "  ", LDAPFilter(text).Match(properties) ? "matches" : "does not match");
        } catch (const std::invalid_argument&) {
            Say(text, "  invalid_argument");
        }
    }
}

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
    Filters({{"n", 10},
             {"l", 10L},
             {"d", 1.0},
             {"t", true},
             {"f", false},
             {"s", std::string("a b")},
             {"b", std::string("a(b)c")},
             {"list", std::vector<std::string>{"one", "two"}},
             {"anys", std::vector<Any>{7, std::string("x")}}});
    Expressions();
    Maps();
    Texts();
}
