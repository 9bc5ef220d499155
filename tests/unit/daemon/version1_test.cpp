// What version 1 has of its own; and that the daemon's vocabulary is the clients'.

#include "platform/daemon/LoginServiceV1.h"
#include "platform/daemon/interactive/PromptFront.h"
#include "spf/RemoteMethods.h"
#include "spf/interactive/RemoteMethods.h"
#include "tests/unit/daemon/Fakes.h"
#include "v1/RemoteMethods.h"

#include <boost/optional/optional.hpp>

#include <set>

using namespace hshd::test;

namespace {

using Names = std::set<std::string>;

template <class Signature>
std::string nameOf(const agent::spf::cppmsclientutils::RemoteMethod<Signature>& method) {
    return core::SignatureDescriptor::of<Signature>().named(std::string(method.name));
}
template <class Service>
Names daemonNames() {
    Names names;
    for (const auto& method : Service::methods())
        names.insert(method.signature.named(std::string(method.name)));
    return names;
}

struct Version1 : Test {
    Parts parts;
    hshd::Accounts accounts;
    hshd::Registrations prompts;
    hshd::PromptFront front{prompts, generous};
    hshd::InteractiveService interactive{
        {parts.state, parts.stateThread, parts.negotiators, accounts, front, generous}};
    hshd::LoginServiceV1 service{
        {parts.state, parts.stateThread, parts.listeners, parts.negotiators, generous}, interactive};
    Peer peer{service, "old"};

    ~Version1() override {
        interactive.stop();
        parts.stateThread.drain();
    }
};

} // namespace

TEST(DaemonVocabulary, IsTheClients) {
    namespace v1 = login::v1::remote;
    namespace v2 = login::spf::remote;
    namespace asking = login::spf::interactive::remote;
    EXPECT_EQ(daemonNames<hshd::LoginServiceV1>(), (Names{nameOf(v1::getLoginInfo),
                                                          nameOf(v1::requestAccessToken),
                                                          nameOf(v1::requestAccessTokenAdvanced),
                                                          nameOf(v1::getAccessToken),
                                                          nameOf(v1::getAccessTokenAdvanced),
                                                          nameOf(v1::impersonate),
                                                          nameOf(v1::isLoggedIn),
                                                          nameOf(v1::getLoginInfoAndLogTELX),
                                                          nameOf(v1::getLoginInfoId),
                                                          nameOf(v1::getEndpoint),
                                                          nameOf(v1::getRelease),
                                                          nameOf(v1::getSourceId),
                                                          nameOf(v1::getPersistedLoginDataMFA),
                                                          nameOf(v1::persistIdentityMFA),
                                                          nameOf(v1::clearSettings),
                                                          nameOf(v1::getCurrentSessionId),
                                                          nameOf(v1::isLogoutVetoed),
                                                          nameOf(v1::negotiateLogout),
                                                          nameOf(v1::completeLogout),
                                                          nameOf(v1::addStatusListener),
                                                          nameOf(v1::addStatusListenerV2),
                                                          nameOf(v1::removeStatusListener),
                                                          nameOf(v1::addLogoutVetoer),
                                                          nameOf(v1::removeLogoutVetoer),
                                                          nameOf(v1::addLogoutNegotiator),
                                                          nameOf(v1::removeLogoutNegotiator),
                                                          nameOf(v1::requestLoginAsync),
                                                          nameOf(v1::requestLogoutWithOptionsAsync),
                                                          nameOf(v1::supportsWebRedirect)}));
    EXPECT_EQ(daemonNames<hshd::LoginServiceV2>(), (Names{nameOf(v2::getLoginInfo),
                                                          nameOf(v2::requestAccessToken),
                                                          nameOf(v2::getAccessToken),
                                                          nameOf(v2::impersonate),
                                                          nameOf(v2::isLoggedIn),
                                                          nameOf(v2::getLoginInfoAndLogTELX),
                                                          nameOf(v2::getEndpoint),
                                                          nameOf(v2::getRelease),
                                                          nameOf(v2::getSourceId),
                                                          nameOf(v2::getPersistedLoginData),
                                                          nameOf(v2::persistIdentity),
                                                          nameOf(v2::clearSettings),
                                                          nameOf(v2::getCurrentSessionId),
                                                          nameOf(v2::negotiateLogout),
                                                          nameOf(v2::completeLogout),
                                                          nameOf(v2::vetoSignIn),
                                                          nameOf(v2::shouldVetoSignIn),
                                                          nameOf(v2::addStatusListener),
                                                          nameOf(v2::removeStatusListener),
                                                          nameOf(v2::addLogoutNegotiator),
                                                          nameOf(v2::removeLogoutNegotiator)}));
    EXPECT_EQ(daemonNames<hshd::InteractiveService>(),
              (Names{nameOf(asking::requestLoginAsync), nameOf(asking::requestLogoutWithOptionsAsync),
                     nameOf(asking::abort), nameOf(asking::supportsWebRedirect)}));
}

TEST_F(Version1, TellsAndAsksInItsOwnForms) {
    using boost::optional;
    const auto& asked = peer.client->asked;
    peer.call<uuid(ExportedCallback)>("addStatusListener", exported<void(optional<LoginInfo>)>());
    peer.call<uuid(ExportedCallback)>("addStatusListenerV2", exported<void(LoginInfo, LoginInfo)>());
    EXPECT_EQ((peer.call<uuid(ExportedCallback)>("addLogoutVetoer", exported<void()>()).error),
              ErrorKind::Refused);
    const auto vetoer = peer.call<uuid(ExportedCallback)>("addLogoutVetoer", exported<bool()>()).as<uuid>();
    EXPECT_FALSE(
        (peer.call<void(std::string, LoginInfo)>("impersonate", std::string("token"), person(u"ada")).error));
    ASSERT_EQ(asked.size(), 2u);
    EXPECT_TRUE(asked[0].arguments.get<optional<LoginInfo>>(0) == person(u"ada"));
    EXPECT_EQ(asked[1].arguments.get<LoginInfo>(1), LoginInfo());
    EXPECT_EQ((peer.call<std::string(std::string, int)>("requestAccessToken", std::string("me"), 2)
                   .as<std::string>()),
              "token");
    EXPECT_EQ((peer.call<std::string(std::string, int)>("requestAccessToken", std::string("me"), 3)
                   .as<std::string>()),
              "");
    auto vetoed = peer.begin<bool()>("isLogoutVetoed");
    ASSERT_EQ(asked.size(), 3u);
    EXPECT_EQ(asked[2].arguments.size(), 0u);
    asked[2].handler.onValue(GenericPayload::of(true));
    EXPECT_TRUE(waitFor(std::move(vetoed)).as<bool>());
    EXPECT_TRUE((peer.call<bool(uuid)>("removeLogoutVetoer", vetoer).as<bool>()));
    EXPECT_FALSE((peer.call<bool()>("isLogoutVetoed").as<bool>()));
    peer.call<void(std::string, ExportedCallback, int, std::string)>("requestLoginAsync", std::string("me"),
                                                                     exported<void(LoginInfo, std::string)>(),
                                                                     3, std::string("{}"));
    EXPECT_THAT(asked.at(3).arguments.get<std::string>(1), HasSubstr("no accounts"));
    service.onDisconnected(peer.client);
    EXPECT_TRUE(parts.listeners.all().empty());
}
