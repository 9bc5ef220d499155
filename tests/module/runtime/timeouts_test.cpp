#include "module/runtime/Timeouts.h"
#include "module/runtime/WaitDeadline.h"
#include "tests/support/Testing.h"

#include <limits>

namespace {

using namespace agent::spf::cppmsclientutils;
using namespace zelkor::test;
using Any = cppmicroservices::Any;
using cppmicroservices::AnyMap;
template <class T>
using Numbers = std::numeric_limits<T>;

AnyMap properties(Any call, Any service) {
    AnyMap map(AnyMap::UNORDERED_MAP);
    map[Timeouts::callKey] = std::move(call);
    map[Timeouts::serviceKey] = std::move(service);
    return map;
}

TEST(Timeouts, TakeAnyIntegerAndKeepTheOldValueForAnythingElse) {
    Timeouts timeouts;
    EXPECT_FALSE(timeouts.call());
    EXPECT_TRUE(timeouts.update(AnyMap(AnyMap::UNORDERED_MAP)).empty());
    EXPECT_FALSE(timeouts.service());

    EXPECT_TRUE(timeouts.update(properties(std::int64_t{7}, static_cast<unsigned short>(8))).empty());
    EXPECT_EQ(timeouts.call(), 7s);
    EXPECT_EQ(timeouts.service(), 8s);
    EXPECT_TRUE(timeouts.update(properties(0, -5)).empty());
    EXPECT_EQ(timeouts.call(), 0s);
    EXPECT_EQ(timeouts.service(), -5s);

    for (const Any& bad : {Any(std::string("9")), Any(9.0), Any(true), Any(), Any(Numbers<long>::max()),
                           Any(Numbers<unsigned long>::max()), Any(Numbers<long>::min())}) {
        EXPECT_THAT(timeouts.update(properties(bad, 3)), ElementsAre(HasSubstr("`timeouts::call`")));
        EXPECT_EQ(timeouts.call(), 0s);
        EXPECT_EQ(timeouts.service(), 3s); // the good one of a pair still counts
    }
}

/// One that only the test moves; each number is a clock of its own.
template <int>
struct FakeClock {
    using duration = std::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<FakeClock>;
    static constexpr bool is_steady = false;
    static inline duration sinceEpoch{};
    static time_point now() { return time_point(sinceEpoch); }
};

TEST(WaitDeadline, ASystemClockThatJumpsNeverMakesTheWaitLonger) {
    using System = FakeClock<0>;
    using Steady = FakeClock<1>;
    System::sinceEpoch = 1000s;
    const BasicWaitDeadline<System, Steady> deadline(10s);
    EXPECT_EQ(deadline.remaining(), 10s);
    EXPECT_LE(deadline.nextLook(), 1s); // or a jump during a sleep would go unnoticed
    System::sinceEpoch -= 3600s;
    Steady::sinceEpoch += 4s;
    EXPECT_EQ(deadline.remaining(), 6s);
    Steady::sinceEpoch += 6s;
    EXPECT_TRUE(deadline.passed());
    const BasicWaitDeadline<System, Steady> another(10s);
    System::sinceEpoch += 10s;
    EXPECT_TRUE(another.passed()); // set forward: as people read the clock, the time is over
}

} // namespace
