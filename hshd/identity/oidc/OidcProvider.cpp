#include "hshd/identity/oidc/OidcProvider.h"

#include "hshd/identity/oidc/SignIn.h"
#include "hshd/net/Url.h"

#include <future>
#include <iostream>
#include <utility>

namespace hshd::oidc {

OidcProvider::OidcProvider(Settings settings, const Parts& parts)
    : settings_(std::move(settings)), parts_(parts), discovery_(network_, settings_),
      renewal_({network_, settings_, discovery_, parts.state, parts.stateThread},
               {network_, parts.program, parts.directory, parts.vault}),
      revoking_({network_, settings_, discovery_, parts.state, parts.stateThread}) {}

OidcProvider::~OidcProvider() {
    network_.stop();
}

std::weak_ptr<SignInAttempt> OidcProvider::signIn(const Client& client, const Wish& wish, Done done) {
    const auto attempt = std::make_shared<SignIn>(
        SignIn::Parts{network_, settings_, discovery_, parts_.front, parts_.signInLimit}, client, wish,
        std::move(done));
    attempt->start();
    return attempt;
}

void OidcProvider::renewToken(std::chrono::steady_clock::time_point deadline, std::function<void()> tried) {
    network_.post([this, deadline, tried = std::move(tried)] { renewal_.renew(deadline, tried); });
}

void OidcProvider::sessionChanged() {
    network_.post([this] {
        renewal_.sessionChanged();
        revoking_.wake();
    });
}

std::string OidcProvider::endOfSession(const Grant& grant) const {
    const auto metadata = discovery_.known();
    if (!settings_.endSession || !metadata || metadata->endSessionEndpoint.empty() ||
        grant.provider != settings_.name())
        return {};
    const bool hasQuery = metadata->endSessionEndpoint.find('?') != std::string::npos;
    return metadata->endSessionEndpoint + (hasQuery ? '&' : '?') +
           net::encodeForm({{"id_token_hint", grant.idToken.view()}, {"client_id", settings_.clientId}});
}

int checkProvider(const std::filesystem::path& file) {
    const auto settings = Settings::fromFile(file);
    std::cout << "The file is right: " << settings.issuer << ", client " << settings.clientId << '\n';
    net::NetworkThread network;
    Discovery discovery(network, settings);
    std::promise<Outcome<std::shared_ptr<const Metadata>>> found;
    network.post([&] { discovery.metadata([&](auto outcome) { found.set_value(std::move(outcome)); }); });
    const auto metadata = found.get_future().get();
    std::promise<Outcome<std::shared_ptr<const Keys>>> published;
    if (const auto* problem = std::get_if<Problem>(&metadata)) {
        std::cout << "NOT GOOD: " << problem->text << '\n';
        network.stop();
        return EXIT_FAILURE;
    }
    network.post(
        [&] { discovery.keys(false, [&](auto outcome) { published.set_value(std::move(outcome)); }); });
    const auto keys = published.get_future().get();
    network.stop();
    const auto& offers = *std::get<0>(metadata);
    const auto say = [](bool offered, const char* what, const char* otherwise) {
        std::cout << (offered ? "It offers " : "It does not offer ") << what << (offered ? "" : otherwise)
                  << '\n';
    };
    std::cout << "The provider describes itself as this daemon needs it\n";
    say(!offers.deviceEndpoint.empty(), "sign-ins by a code on another device",
        ": without a browser nobody can sign in");
    say(!offers.revocationEndpoint.empty(), "revocation",
        ": after a sign-out tokens live on until their end");
    if (settings.endSession)
        say(!offers.endSessionEndpoint.empty(), "to end its session as well",
            ", though \"endSession\" asks for it");
    if (const auto* problem = std::get_if<Problem>(&keys)) {
        std::cout << "NOT GOOD: " << problem->text << '\n';
        return EXIT_FAILURE;
    }
    std::cout << "It publishes " << std::get<0>(keys)->size()
              << " keys. Whether the client is registered only a sign-in shows; its redirect address is "
                 "http://127.0.0.1"
              << settings.redirectPath << ", with any port\n";
    return EXIT_SUCCESS;
}

} // namespace hshd::oidc
