#include "runtime/clientutils/ServiceProp.h"
#include "runtime/clientutils/Timeouts.h"
#include "runtime/clientutils/TrackedServiceInfo.h"
#include "runtime/clientutils/WaitDeadline.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using namespace agent::spf::cppmsclientutils;
using namespace std::chrono_literals;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;

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

    const Any bad[] = {Any(std::string("9")),
                       Any(9.0),
                       Any(true),
                       Any(),
                       Any(std::numeric_limits<long>::max()),
                       Any(std::numeric_limits<unsigned long>::max()),
                       Any(std::numeric_limits<long>::min())};
    for (const Any& value : bad) {
        const auto complaints = timeouts.update(properties(value, 3));
        ASSERT_EQ(complaints.size(), 1u);
        EXPECT_NE(complaints[0].find("`timeouts::call`"), std::string::npos);
        EXPECT_EQ(timeouts.call(), 0s);
        EXPECT_EQ(timeouts.service(), 3s); // the good one of a pair still counts
    }
}

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
    struct Steady : FakeClock {
        using time_point = std::chrono::time_point<Steady>;
        static time_point now() { return time_point(steadyNow()); }
        static duration& steadyNow() {
            static duration value{};
            return value;
        }
    };
    FakeClock::sinceEpoch = 1000s;
    const BasicWaitDeadline<FakeClock, Steady> deadline(10s);
    EXPECT_EQ(deadline.remaining(), 10s);
    EXPECT_LE(deadline.nextLook(), 1s); // or a jump during a sleep would go unnoticed
    FakeClock::sinceEpoch -= 3600s;
    Steady::steadyNow() += 4s;
    EXPECT_EQ(deadline.remaining(), 6s);
    Steady::steadyNow() += 6s;
    EXPECT_TRUE(deadline.passed());
    const BasicWaitDeadline<FakeClock, Steady> another(10s);
    FakeClock::sinceEpoch += 10s;
    EXPECT_TRUE(another.passed()); // set forward: as people read the clock, the time is over
}

} // namespace
