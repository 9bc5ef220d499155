#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace cppmicroservices;

TEST(Any, HoldsCopiesAndTellsItsTypeApart) {
    Any text(std::string("abc"));
    const Any copy(text);
    any_cast<std::string>(&text)->append("d");
    EXPECT_EQ(any_cast<std::string>(text), "abcd");
    EXPECT_EQ(any_cast<std::string>(copy), "abc") << "a copy must not share the value";
    EXPECT_EQ(any_cast<int>(&text), nullptr);
    EXPECT_THROW(any_cast<int>(copy), BadAnyCastException);
    EXPECT_THROW(any_cast<long>(Any(1)), BadAnyCastException) << "no conversion between numbers";

    text = 5;
    EXPECT_EQ(text.Type(), typeid(int));
    text = Any();
    EXPECT_TRUE(text.Empty());
    EXPECT_EQ(text.Type(), typeid(void));
    EXPECT_EQ(any_cast<std::string>(&text), nullptr);
    EXPECT_THROW(any_cast<std::string>(text), BadAnyCastException);
}

TEST(Any, ShowsItsValueAsText) {
    EXPECT_EQ(Any(std::string("a b")).ToString(), "a b");
    EXPECT_EQ(Any(42).ToString(), "42");
    EXPECT_EQ(Any(1.5).ToString(), "1.5");
    EXPECT_THROW(Any().ToString(), std::logic_error);
    EXPECT_EQ(Any().ToStringNoExcept(), "");
    const auto list = Any(std::vector<Any>{1, std::string("x"), std::vector<Any>{}}).ToString();
    EXPECT_NE(list.find('1'), std::string::npos) << list;
    EXPECT_NE(list.find('x'), std::string::npos) << list;
}

TEST(AnyMap, ComparesKeysAsItsKindSays) {
    for (const auto kind :
         {AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP, AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {
        SCOPED_TRACE(kind);
        const bool anyCase = kind == AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS;
        AnyMap map(kind);
        map["Key"] = 1;
        map["KEY"] = 2;
        EXPECT_EQ(map.size(), anyCase ? 1u : 2u);
        EXPECT_EQ(any_cast<int>(map.at("Key")), anyCase ? 2 : 1);
        EXPECT_EQ(map.count("key"), anyCase ? 1u : 0u);
        EXPECT_THROW(map.at("other"), std::out_of_range);

        const AnyMap copy(map);
        EXPECT_EQ(copy.GetType(), kind);
        int sum = 0;
        for (const auto& [key, value] : copy)
            sum += any_cast<int>(value);
        EXPECT_EQ(sum, anyCase ? 2 : 3);
        EXPECT_EQ(map.find("nothing"), map.end());
        EXPECT_EQ(map.erase("Key"), 1u);
        EXPECT_EQ(copy.size(), anyCase ? 1u : 2u) << "a copy must not share its entries";
    }
}

TEST(AnyMap, FollowsCompoundKeys) {
    AnyMap inner(AnyMap::UNORDERED_MAP);
    inner["list"] = std::vector<Any>{10, 20};
    AnyMap map(AnyMap::ORDERED_MAP);
    map["inner"] = inner;
    map["number"] = 7;

    EXPECT_EQ(any_cast<int>(map.AtCompoundKey("number")), 7);
    EXPECT_EQ(any_cast<int>(map.AtCompoundKey("inner.list.1")), 20);
    EXPECT_THROW(map.AtCompoundKey("inner.list.2"), std::out_of_range);
    EXPECT_THROW(map.AtCompoundKey("inner.list.x"), std::invalid_argument);
    EXPECT_THROW(map.AtCompoundKey("number.deeper"), std::invalid_argument);
    EXPECT_EQ(any_cast<int>(map.AtCompoundKey("inner.none", Any(-1))), -1);
}
