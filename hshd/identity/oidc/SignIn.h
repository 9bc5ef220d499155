#pragma once

#include "hshd/identity/IdentityProvider.h"
#include "hshd/identity/oidc/Authorization.h"
#include "hshd/identity/oidc/Discovery.h"
#include "hshd/identity/oidc/LoopbackListener.h"
#include "hshd/identity/oidc/Settings.h"
#include "hshd/identity/oidc/Tokens.h"
#include "hshd/net/NetworkThread.h"
#include "hshd/signin/SignInFront.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace hshd::oidc {

/// One sign-in at the provider: in the person's browser, or where none can be opened by a code that is typed
/// on another device. Everything runs on the network thread.
class SignIn final : public SignInAttempt, public std::enable_shared_from_this<SignIn> {
public:
    /// What sign-ins work with; outlives the network thread's work.
    struct Parts {
        net::NetworkThread& network;
        const Settings& settings;
        Discovery& discovery;
        SignInFront& front;
        std::chrono::milliseconds limit; ///< the person's time
    };

    SignIn(const Parts& parts, Client client, IdentityProvider::Wish wish, IdentityProvider::Done done)
        : parts_(parts), client_(std::move(client)), wish_(std::move(wish)), done_(std::move(done)) {}

    void start();
    void cancel() override;

private:
    void begin(std::shared_ptr<const Metadata> metadata);
    void openBrowser();
    void redirected(const LoopbackListener::Parameters& parameters);

    void askForCode();
    void showCode(const foundation::json::object& answer, BootClock::time_point asked);
    void poll();
    void polled(const net::HttpAnswer& answer, BootClock::time_point asked);

    void received(Tokens tokens);
    void verify(const std::shared_ptr<const Keys>& keys, bool anew);
    void askUserinfo();
    void finish();

    void fail(const std::string& problem);
    /// As a thing to be called on the network thread while the sign-in is of interest.
    template <class Function>
    auto step(Function function);
    /// The same, from other threads.
    template <class Function>
    auto hop(Function function);
    /// From the listener's thread, also when the sign-in is over. That thread must not be who ends this, and
    /// with it the listener.
    template <class Function>
    auto weakHop(Function function);

    const Parts parts_;
    const Client client_;
    const IdentityProvider::Wish wish_;
    const IdentityProvider::Done done_;
    bool ended_ = false;

    Settings::Level level_;
    std::shared_ptr<const Metadata> metadata_;
    Ties ties_;
    std::shared_ptr<LoopbackListener> listener_; ///< of the browser's way
    Secret deviceCode_;                          ///< of the other
    std::chrono::seconds interval_{5};
    BootClock::time_point codeEnds_{};
    Tokens tokens_;
    foundation::json::object claims_;
};

} // namespace hshd::oidc
