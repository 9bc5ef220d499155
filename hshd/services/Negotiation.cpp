#include "hshd/services/Negotiation.h"

#include "hshd/services/FailureText.h"
#include "hshd/Log.h"

#include <algorithm>
#include <utility>

namespace hshd {
namespace {

using agent::spf::core::GenericPayload;
using login::NegotiatorResponse;
using Position = login::Negotiator::Position;

std::string outcomeText(Position decision) {
    switch (decision) {
    case Position::Object:
        return "objects";
    case Position::Ask:
        return "wants the user asked";
    case Position::Accept:
        return "accepts";
    }
    return "answered the unknown decision " + std::to_string(static_cast<int>(decision)) +
           ", taken as wanting the user asked";
}

} // namespace

void Negotiation::start(Registrations& negotiators, login::NegotiationTerms terms,
                        std::chrono::milliseconds limit, Done done) {
    const std::shared_ptr<Negotiation> negotiation(new Negotiation(negotiators, terms, std::move(done)));
    const std::size_t count = negotiation->parties_.size();
    for (std::size_t party = 0; party < count; ++party)
        negotiation->ask(party, limit);
    if (count == 0)
        negotiation->finish();
}

Negotiation::Negotiation(Registrations& negotiators, login::NegotiationTerms terms, Done done)
    : negotiators_(negotiators), parties_(negotiators.all()), terms_(terms), done_(std::move(done)),
      answers_(parties_.size()), missing_(parties_.size()) {}

bool Negotiation::isVetoer(std::size_t party) const {
    return parties_[party].form == Registrations::Form::Old;
}

void Negotiation::ask(std::size_t party, std::chrono::milliseconds limit) {
    auto arguments = isVetoer(party) ? GenericPayload() : GenericPayload::of(terms_);
    parties_[party].client->callBack(parties_[party].callback, std::move(arguments), limit,
                                     {[self = shared_from_this(), party](GenericPayload payload) {
                                          self->answered(party, std::move(payload));
                                      },
                                      [self = shared_from_this(), party](const std::exception_ptr& error) {
                                          self->failed(party, error);
                                      }});
}

void Negotiation::answered(std::size_t party, GenericPayload payload) {
    Answer answer;
    try {
        answer = isVetoer(party)
                     ? NegotiatorResponse{payload.take<bool>(0) ? Position::Object : Position::Accept, u""}
                     : payload.take<NegotiatorResponse>(0);
    } catch (...) {
        failed(party, std::current_exception());
        return;
    }
    const std::string outcome = outcomeText(answer->decision);
    settle(party, std::move(answer), outcome);
}

void Negotiation::failed(std::size_t party, const std::exception_ptr& error) {
    negotiators_.dropIfGone(parties_[party], error);
    settle(party, std::nullopt, "gave no answer that counts, " + failureText(error));
}

void Negotiation::settle(std::size_t party, Answer answer, const std::string& outcome) {
    const auto took =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started_);
    logger().log(answer ? Severity::info : Severity::warning,
                 "Logout negotiator " + parties_[party].describe() + " " + outcome + " (after " +
                     std::to_string(took.count()) + " ms)");
    {
        const foundation::MutexLock lock(mutex_);
        answers_[party] = std::move(answer);
        if (--missing_ != 0)
            return;
    }
    finish();
}

void Negotiation::finish() {
    login::detail::NegotiationsResult result;
    {
        const foundation::MutexLock lock(mutex_);
        for (Answer& answer : answers_) {
            if (!answer || answer->decision == Position::Accept)
                continue;
            auto& list = answer->decision == Position::Object ? result.objections : result.questions;
            list.push_back(std::move(answer->message));
        }
    }
    result.accepted = result.objections.empty() && result.questions.empty();
    logger().log(Severity::info, "Logout negotiation with terms " + std::to_string(terms_.value) +
                                     ": asked " + std::to_string(parties_.size()) + ", " +
                                     (result.accepted ? "accepted" : "not accepted"));
    done_(std::move(result));
}

std::chrono::milliseconds negotiationLimit(std::chrono::milliseconds configured,
                                           std::chrono::steady_clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return std::min(configured, left * 9 / 10);
}

} // namespace hshd
