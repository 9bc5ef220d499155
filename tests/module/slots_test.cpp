// Callers that were built apart from a client's class find its functions by their places in its own table.

#include "module/v1/ZelkorLoginImpl.h"
#include "module/v2/ZelkorLogin.h"
#include "module/v2/session/ZelkorLogin.h"
#include "tests/support/Testing.h"

#include <array>
#include <bit>
#include <cstdint>

namespace {

using namespace zelkor::test;

template <class... Functions>
std::vector<std::size_t> slotsOf(Functions... functions) {
    return {(std::bit_cast<std::array<std::uintptr_t, 2>>(functions)[0] - 1) / sizeof(void*)...};
}

template <class Client>
struct Slots : Test {};
using Clients =
    testing::Types<login::spf::ZelkorLogin, login::spf::session::ZelkorLogin, login::ZelkorLoginImpl>;
TYPED_TEST_SUITE(Slots, Clients);

TYPED_TEST(Slots, OwnFunctionsHaveTheirFixedPlaces) {
    using C = TypeParam;
    EXPECT_THAT(slotsOf(&C::getLoginInfoAndLogTELX, &C::getEndpoint, &C::getRelease, &C::getSourceId,
                        &C::getPersistedLoginData, &C::persistIdentity, &C::clearSettings,
                        &C::getCurrentSessionId, &C::completeLogout, &C::isLogoutVetoed, &C::negotiateLogout),
                ElementsAre(15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25));
    // Version 1 has twelve functions of the interactive interface before them.
    constexpr std::size_t interactive = std::is_same_v<C, login::ZelkorLoginImpl> ? 12 : 0;
    EXPECT_THAT(slotsOf(&C::vetoSignIn, &C::shouldVetoSignIn),
                ElementsAre(26 + interactive, 27 + interactive));
}

} // namespace
