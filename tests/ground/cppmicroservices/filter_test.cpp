#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>

#include <gtest/gtest.h>

using namespace cppmicroservices;

TEST(Filter, ComparesNumbersAboveTheSignedOnesByValue) {
    AnyMap map(AnyMap::UNORDERED_MAP, {{"huge", 18446744073709551615ULL}});
    EXPECT_TRUE(LDAPFilter("(huge=18446744073709551615)").Match(map));
    EXPECT_FALSE(LDAPFilter("(huge=-1)").Match(map));
}
