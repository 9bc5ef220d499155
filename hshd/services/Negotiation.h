#pragma once

#include "contract/records/Negotiation.h"
#include "hshd/Log.h"
#include "hshd/services/Registrations.h"

#include <foundation/thread_annotations.h>

#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hshd {

/// Asks all logout negotiators at once whether a logout may go on, and collects their answers.
///
/// The logout is accepted when every answer accepts. The messages of those who object and of those who want
/// the user asked come back in the order of registration, empty ones too, so that the lists tell how many
/// there were. An answer beyond the known ones asks the user. Who cannot be asked, fails, or is late
/// objects, with a message that says so: silence is not consent. Only who is gone by then, with its client or
/// by itself, has no say. Each answer is one log line: who, what, after how long.
///
/// A negotiation keeps itself alive until the last answer. Answers may come on any thread.
class Negotiation : public std::enable_shared_from_this<Negotiation> {
public:
    using Done = std::function<void(login::detail::NegotiationsResult)>;

    /// Never blocks.
    /// @param limit the time that each negotiator has.
    /// @param done called once, with no lock held: on this thread or on that of the last answer.
    /// @param negotiators all of them are asked; outlives the connections of their clients.
    static void start(Registrations& negotiators, login::NegotiationTerms terms,
                      std::chrono::milliseconds limit, Done done);

private:
    using Answer = std::optional<login::NegotiatorResponse>; // empty: it has no say

    Negotiation(Registrations& negotiators, login::NegotiationTerms terms, Done done);

    bool isVetoer(std::size_t party) const;
    void ask(std::size_t party, std::chrono::milliseconds limit);
    void answered(std::size_t party, agent::spf::core::GenericPayload payload);
    void failed(std::size_t party, const std::exception_ptr& error);
    void settle(std::size_t party, Answer answer, Severity severity, const std::string& outcome);
    void finish();

    Registrations& negotiators_;
    const std::vector<Registrations::Entry> parties_;
    const login::NegotiationTerms terms_;
    const std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
    const Done done_;

    foundation::Mutex mutex_; // a leaf
    std::vector<Answer> answers_ GUARDED_BY(mutex_);
    std::size_t missing_ GUARDED_BY(mutex_);
};

/// The time for negotiators when their answer still has to reach a caller with that deadline.
std::chrono::milliseconds negotiationLimit(std::chrono::milliseconds configured,
                                           std::chrono::steady_clock::time_point deadline);

} // namespace hshd
