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

template <class Function>
std::size_t slotOf(Function function) {
    return (std::bit_cast<std::array<std::uintptr_t, 2>>(function)[0] - 1) / sizeof(void*);
}

template <class Client>
struct Slots : Test {
    static std::vector<std::size_t> ofDetail() {
        return {slotOf(&Client::getLoginInfoAndLogTELX),
                slotOf(&Client::getEndpoint),
                slotOf(&Client::getRelease),
                slotOf(&Client::getSourceId),
                slotOf(&Client::getPersistedLoginData),
                slotOf(&Client::persistIdentity),
                slotOf(&Client::clearSettings),
                slotOf(&Client::getCurrentSessionId),
                slotOf(&Client::completeLogout),
                slotOf(&Client::isLogoutVetoed),
                slotOf(&Client::negotiateLogout)};
    }
    static std::vector<std::size_t> ofVetoer() {
        return {slotOf(&Client::vetoSignIn), slotOf(&Client::shouldVetoSignIn)};
    }
};
using Clients =
    testing::Types<login::spf::ZelkorLogin, login::spf::session::ZelkorLogin, login::ZelkorLoginImpl>;
TYPED_TEST_SUITE(Slots, Clients);

TYPED_TEST(Slots, OwnFunctionsHaveTheirFixedPlaces) {
    EXPECT_THAT(this->ofDetail(), ElementsAre(15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25));
    // Version 1 has twelve functions of the interactive interface before them.
    constexpr std::size_t interactive = std::is_same_v<TypeParam, login::ZelkorLoginImpl> ? 12 : 0;
    EXPECT_THAT(this->ofVetoer(), ElementsAre(26 + interactive, 27 + interactive));
}

} // namespace
