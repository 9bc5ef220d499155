#include "hshd/signin/SignOutRequest.h"

#include "contract/calls/Errors.h"
#include "contract/records/Utf.h"
#include "hshd/services/Negotiation.h"

#include <utility>

namespace hshd {
namespace {

/// What those who object, or want the person asked, have to say.
std::string reasons(const login::detail::NegotiationsResult& result) {
    std::string text;
    for (const auto* list : {&result.objections, &result.questions}) {
        for (const auto& message : *list)
            text +=
                (text.empty() ? "" : "; ") + (message.empty() ? "no reason given" : login::toUtf8(message));
    }
    return text;
}

} // namespace

void SignOutRequest::start() {
    Negotiation::start(parts_.negotiators, {}, parts_.negotiationTimeout,
                       [self = shared_from_this()](const auto& result) { self->negotiated(result); });
}

void SignOutRequest::negotiated(const login::detail::NegotiationsResult& result) {
    if (result.accepted)
        signOut();
    else if (!options_.askConsent)
        finish("The sign-out is refused: " + reasons(result));
    else
        parts_.front.askConsent(client_, reasons(result),
                                [self = shared_from_this()](const auto& answer) { self->consented(answer); });
}

void SignOutRequest::consented(const PersonsAnswer& answer) {
    if (!answer.problem.empty())
        finish(answer.problem);
    else if (!answer.consent)
        finish("The person chose to stay signed in.");
    else
        signOut();
}

void SignOutRequest::signOut() {
    const bool posted = parts_.stateThread.post([self = shared_from_this()] {
        if (self->ended_.exchange(true))
            return; // aborted: nothing is changed
        const auto former = self->parts_.state.signedIn();
        try {
            self->parts_.state.signOut(self->options_.forgetAccount);
        } catch (const agent::spf::core::InvocationError& error) {
            self->done_(error.what());
            return;
        }
        if (former && former->grant)
            self->endAtProvider(*former->grant);
        self->done_({});
    });
    if (!posted)
        finish("The daemon is shutting down.");
}

void SignOutRequest::endAtProvider(const Grant& grant) {
    const auto address = parts_.provider.endOfSession(grant);
    if (!address.empty())
        parts_.front.openAddress(client_, address, [](bool, const std::string&) {
            // The person is signed out here whatever became of the page.
        });
}

void SignOutRequest::finish(const std::string& error) {
    if (!ended_.exchange(true))
        done_(error);
}

} // namespace hshd
