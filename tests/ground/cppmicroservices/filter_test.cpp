#include "FrameworkTest.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/LDAPProp.h>

#include <cstdint>
#include <list>
#include <string>
#include <vector>

using namespace cppmicroservices;
using test::embedded;

namespace {

AnyMap SampleProperties() {
    AnyMap map(AnyMap::UNORDERED_MAP);
    map["name"] = std::string("Ben Hur");
    map["Stars"] = std::string("a*b(c)\\d");
    map["empty"] = std::string();
    map["nothing"] = Any();
    map["flag"] = true;
    map["letter"] = 'x';
    map["half"] = 0.5;
    map["tenth"] = 0.1f;
    map["negative"] = -3;
    map["huge"] = 18446744073709551615ull;
    map["words"] = std::vector<std::string>{"one", "two"};
    map["list"] = std::list<std::string>{"three"};
    map["mixed"] = std::vector<Any>{std::string("four"), 5, Any()};
    map["opaque"] = std::make_shared<int>(1);
    return map;
}

} // namespace

TEST(Filter, MatchesByTheGrammar) {
    const auto properties = SampleProperties();
    std::vector<std::string> matching = {
        "(name=Ben Hur)",  "(NAME=Ben Hur)", "( name =Ben Hur)", "(name=*)",         "(name=B*)",
        "(name=*Hur)",     "(name=*n*u*)",   "(name=Ben*Hur)",   "(name~=benhur)",   "(name>=Ben)",
        "(name<=C)",       "(empty=)",       "(empty=*)",        "(flag=true)",      "(flag=TRUE)",
        "(!(flag=false))", "(letter=x)",     "(half=0.5)",       "(half>=0.25)",     "(half<=1)",
        "(tenth=0.1)",     "(negative=-3)",  "(negative<=-3)",   "(negative>=-3.5)", "(!(negative>=0))",
        "(huge>=-1)",      "(words=two)",    "(words=t*o)",      "(list=three)",     "(mixed=four)",
        "(mixed=5)",       "(mixed>=5)",     "(opaque=*)",       "(!(none=1))",      "(!(none=*))",
        "(!(nothing=*))"};
    for (const char* filter :
         {"(name~=B E N hUr)", "(Stars=a\\*b\\(c\\)\\\\d)", "(Stars=a\\**\\\\d)", "(&(name=Ben*)(flag=true))",
          "(|(name=x)(half=0.5))", " ( & ( name=B*) (!(letter=y)) ) ",
          "(&(|(none=1)(letter=x))(!(&(flag=true)(half=1))))"})
        matching.emplace_back(filter);
    for (const auto& filter : matching)
        EXPECT_TRUE(LDAPFilter(filter).Match(properties)) << filter;

    const std::vector<std::string> failing = {
        "(name=ben hur)",     "(name=x*Hur)", "(name=Ben Hur )",     "(name=Ben)",    "(name=*x*)",
        "(name=Ben*Ben Hur)", "(name>=C)",    "(Stars=a*x)",         "(flag=1)",      "(flag>=true)",
        "(flag=t*)",          "(negative=3)", "(negative=*3)",       "(words=three)", "(mixed=6)",
        "(opaque=1)",         "(none=1)",     "(none>=1)",           "(none~=x)",     "(none=*)",
        "(nothing=*)",        "(nothing=)",   "(&(name=B*)(none=1))"};
    for (const auto& filter : failing)
        EXPECT_FALSE(LDAPFilter(filter).Match(properties)) << filter;

    if (embedded) { // numbers compare by value whatever the width
        EXPECT_TRUE(LDAPFilter("(huge=18446744073709551615)").Match(properties));
        EXPECT_FALSE(LDAPFilter("(huge=-1)").Match(properties));
    }
    EXPECT_TRUE(LDAPFilter("(Stars=a*)").MatchCase(properties));
    EXPECT_FALSE(LDAPFilter("(stars=a*)").MatchCase(properties));
    EXPECT_FALSE(LDAPFilter().Match(properties)) << "an invalid filter matches nothing";
}

TEST(Filter, ComparesNumbersByValueWhateverTheirWidth) {
    const std::vector<Any> ones = {std::string("1"), 1,   1L,  1LL, 1u, 1ul, 1ull, short{1}, std::uint16_t{1},
                                   std::uint8_t{1},  1.0, 1.0f};
    for (const auto& one : ones) {
        SCOPED_TRACE(one.Type().name());
        AnyMap map(AnyMap::UNORDERED_MAP);
        map["k"] = one;
        EXPECT_TRUE(LDAPFilter("(k=1)").Match(map));
        EXPECT_TRUE(LDAPFilter("(&(k>=1)(k<=1))").Match(map));
        EXPECT_FALSE(LDAPFilter("(k=2)").Match(map));
        EXPECT_FALSE(LDAPFilter("(k>=2)").Match(map));
        EXPECT_FALSE(LDAPFilter("(k<=0)").Match(map));
        EXPECT_TRUE(LDAPFilter("(!(k=one))").Match(map));
    }
    AnyMap map(AnyMap::UNORDERED_MAP);
    map["big"] = 9007199254740993LL; // not a double
    EXPECT_FALSE(LDAPFilter("(big=9007199254740992)").Match(map));
    EXPECT_TRUE(LDAPFilter("(big=9007199254740993)").Match(map));
}

TEST(Filter, RefusesBadSyntax) {
    const std::vector<std::string> bad = {
        "",           " ",           "name=Ben",    "(",           "()",
        "(name)",     "(name=Ben",   "(name=Ben))", "(name=Ben)x", "(=Ben)",
        "(name>5)",   "(name<5)",    "(name~5)",    "(name=a(b)",  "(name=a\\",
        "(name=a\\)", "(&)",         "(|)",         "(!)",         "(!(a=1)(b=2))",
        "(&(a=1)",    "(&(a=1)b=2)", "(&a=1)",      "(name==",     "((a=1))"};
    for (const auto& filter : bad)
        EXPECT_THROW(LDAPFilter{filter}, std::invalid_argument) << filter;

    std::string deep = "(a=1)";
    for (int i = 0; i < 100; ++i)
        deep = "(!" + deep + ")";
    EXPECT_NO_THROW(LDAPFilter{deep});
}

TEST(FilterExpression, CombinesAndDropsNullOperands) {
    const LDAPProp name("name");
    const LDAPPropExpr none = name == std::string();
    EXPECT_TRUE(none.IsNull());
    EXPECT_EQ(std::string(name == "Ben" && !(LDAPProp("count") == 1)), "(&(name=Ben)(!(count=1)))");
    EXPECT_EQ(std::string(LDAPPropExpr(name) || !LDAPProp("age")), "(|(name=*)(!(age=*)))");
    EXPECT_EQ(std::string(none && name == "Ben"), "(name=Ben)");
    EXPECT_EQ(std::string(name == "Ben" || none), "(name=Ben)");
    EXPECT_TRUE((none && none).IsNull());
    EXPECT_TRUE((!LDAPPropExpr()).IsNull());

    AnyMap map(AnyMap::UNORDERED_MAP);
    map["name"] = std::string("Ben");
    map["count"] = 3;
    map["flag"] = true;
    const LDAPProp count("count");
    EXPECT_TRUE(LDAPFilter((name == "Ben") && (count >= 3) && (count <= 3L) && (LDAPProp("flag") == true))
                    .Match(map));
    EXPECT_TRUE(LDAPFilter((name != "Eve") && name.Approx("BEN") && count != 4).Match(map));
    EXPECT_TRUE(LDAPFilter((name == Any(std::string("Ben"))) && (count >= Any(2))).Match(map));
    EXPECT_FALSE(LDAPFilter(count >= 4).Match(map));
    if (embedded) {
        EXPECT_THROW(LDAPFilter{none}, std::invalid_argument) << "nothing is left to filter by";
    }
}
