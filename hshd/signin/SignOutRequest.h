#pragma once

#include "contract/records/InteractiveOptions.h"
#include "contract/records/Negotiation.h"
#include "hshd/signin/InteractiveRequest.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>

namespace hshd {

/// One sign-out: asks the negotiators, the person when somebody objects, and signs out.
class SignOutRequest final : public InteractiveRequest, public std::enable_shared_from_this<SignOutRequest> {
public:
    /// With an empty text, or why not.
    using Done = std::function<void(std::string error)>;

    /// @param done called once, with no lock held, on any thread.
    SignOutRequest(const InteractiveParts& parts, Client client, login::interactive::LogoutOptions options,
                   Done done)
        : parts_(parts), client_(std::move(client)), options_(options), done_(std::move(done)) {}

    void start() override;
    void cancel(const std::string& text) override { finish(text); }

private:
    void negotiated(const login::detail::NegotiationsResult& result);
    void consented(const PersonsAnswer& answer);
    void signOut();
    void endAtProvider(const Grant& grant);
    void finish(const std::string& error);

    const InteractiveParts parts_;
    const Client client_;
    const login::interactive::LogoutOptions options_;
    const Done done_;
    std::atomic<bool> ended_{false};
};

} // namespace hshd
