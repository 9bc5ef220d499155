// What version 1 has of its own.

#include "hshd/identity/accounts/AccountsProvider.h"
#include "hshd/services/LoginServiceV1.h"
#include "hshd/signin/PromptFront.h"
#include "tests/hshd/Fakes.h"

#include <boost/optional/optional.hpp>

using namespace hshd::test;

namespace {

struct Version1 : Test {
    Parts parts;
    hshd::Registrations prompts;
    hshd::PromptFront front{prompts, generous};
    hshd::AccountsProvider provider{hshd::Accounts::parse(R"({"accounts": [{"name": "ada"}]})", "accounts"),
                                    front};
    hshd::InteractiveService interactive{
        {parts.state, parts.stateThread, parts.negotiators, provider, front, generous}};
    hshd::LoginServiceV1 service{
        {parts.state, parts.stateThread, parts.listeners, parts.negotiators, provider, generous},
        interactive};
    Peer peer{service, "old"};

    ~Version1() override {
        provider.stop();
        parts.stateThread.drain();
    }
};

} // namespace

TEST_F(Version1, TellsAndAsksInItsOwnForms) {
    using boost::optional;
    const auto& asked = peer.client->asked;
    peer.ask<uuid>("addStatusListener", exported<void(optional<LoginInfo>)>());
    peer.ask<uuid>("addStatusListenerV2", exported<void(LoginInfo, LoginInfo)>());
    EXPECT_EQ((peer.call<uuid(ExportedCallback)>("addLogoutVetoer", exported<void()>()).error),
              ErrorKind::Refused);
    const auto vetoer = peer.ask<uuid>("addLogoutVetoer", exported<bool()>());
    EXPECT_FALSE(peer.impersonate("token", person(u"ada")).error);
    ASSERT_EQ(asked.size(), 2u);
    EXPECT_TRUE(asked[0].arguments.get<optional<LoginInfo>>(0) == person(u"ada"));
    EXPECT_EQ(asked[1].arguments.get<LoginInfo>(1), LoginInfo());
    EXPECT_EQ(peer.ask<std::string>("requestAccessToken", std::string("me"), 2), "token");
    EXPECT_EQ(peer.ask<std::string>("requestAccessToken", std::string("me"), 3), "");
    auto vetoed = peer.begin<bool()>("isLogoutVetoed");
    ASSERT_EQ(asked.size(), 3u);
    EXPECT_EQ(asked[2].arguments.size(), 0u);
    asked[2].handler.onValue(GenericPayload::of(true));
    EXPECT_TRUE(waitFor(std::move(vetoed)).as<bool>());
    EXPECT_TRUE(peer.remove("removeLogoutVetoer", vetoer));
    EXPECT_FALSE(peer.ask<bool>("isLogoutVetoed"));
    prompts.add(peer.client, login::detail::createUuid());
    peer.requestLogin(3);
    EXPECT_THAT(asked.at(3).arguments.get<std::string>(0), HasSubstr("credentials"));
    service.onDisconnected(peer.client);
    EXPECT_EQ(asked.at(4).arguments.get<std::string>(1), "The program that asked is gone.");
    EXPECT_TRUE(parts.listeners.all().empty());
}
