#include "FrameworkTest.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>

using namespace cppmicroservices;

TEST(Filter, ComparesNumbersAboveTheSignedOnesByValue) {
    EMBEDDED_ONLY();
    AnyMap map(AnyMap::UNORDERED_MAP, {{"huge", 18446744073709551615ULL}});
    EXPECT_TRUE(LDAPFilter("(huge=18446744073709551615)").Match(map));
    EXPECT_FALSE(LDAPFilter("(huge=-1)").Match(map));
}
