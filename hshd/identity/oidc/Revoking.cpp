#include "hshd/identity/oidc/Revoking.h"

#include "hshd/Log.h"
#include "hshd/identity/oidc/Tokens.h"

#include <algorithm>

namespace hshd::oidc {

void Revoking::wake() {
    const auto all = parts_.state.revocations();
    const auto next = std::ranges::find(all, parts_.settings.name(), &Revocation::provider);
    if (underWay_ || next == all.end())
        return;
    underWay_ = true;
    parts_.discovery.metadata([this, revocation = *next](const auto& outcome) {
        if (const auto* problem = std::get_if<Problem>(&outcome))
            later(*problem);
        else
            tell(*std::get<0>(outcome), revocation);
    });
}

void Revoking::tell(const Metadata& metadata, const Revocation& revocation) {
    if (metadata.revocationEndpoint.empty()) {
        logger().log(Severity::info,
                     "The provider takes no revocations: the session's tokens end by themselves");
        done(revocation);
        return;
    }
    parts_.network.send(
        clientRequest(parts_.settings, metadata.revocationEndpoint,
                      {{"token", revocation.token.view()},
                       {"token_type_hint", revocation.refreshToken ? "refresh_token" : "access_token"}}),
        [this, revocation](const net::HttpAnswer& answer) {
            if (const auto problem = problemOf(answer)) {
                later(*problem);
                return;
            }
            if (answer.status != 200)
                logger().log(Severity::warning, "The provider refused a revocation with status " +
                                                    std::to_string(answer.status));
            done(revocation);
        });
}

void Revoking::done(const Revocation& revocation) {
    failures_ = 0;
    parts_.stateThread.post([this, revocation] {
        bool forgotten = true;
        try {
            parts_.state.revoked(revocation);
        } catch (const std::exception&) {
            forgotten = false; // the state has logged why
        }
        parts_.network.post([this, forgotten] {
            underWay_ = false;
            if (forgotten)
                wake();
            else
                later({Problem::Kind::Later, "the state cannot be saved", {}, {}});
        });
    });
}

void Revoking::later(const Problem& problem) {
    using std::chrono::seconds;
    underWay_ = true; // until then
    const auto pause = std::max(problem.retryAfter.value_or(seconds(0)),
                                std::min(seconds(3600), seconds(5) * (1 << std::min(failures_++, 10))));
    logger().log(Severity::info, "The provider could not be told that a session has ended: " + problem.text +
                                     ". Tried again in " + std::to_string(pause.count()) + " s");
    parts_.network.after(pause, [this] {
        underWay_ = false;
        wake();
    });
}

} // namespace hshd::oidc
