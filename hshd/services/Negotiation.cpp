#include "hshd/services/Negotiation.h"

#include "contract/calls/Errors.h"
#include "contract/records/Utf.h"

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

/// Why a negotiator gave no answer, for the user. What it threw is left out: the text may hold a secret.
std::string problemOf(const std::exception_ptr& error) {
    using namespace agent::spf::core;
    try {
        std::rethrow_exception(error);
    } catch (const RemoteError&) {
        return "failed";
    } catch (const TimeoutError&) {
        return "did not answer in time";
    } catch (const RefusedError&) {
        return "could not be asked";
    } catch (const DisconnectedError&) {
        return "could not be asked";
    } catch (...) {
        return "gave an answer that cannot be read";
    }
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
    settle(party, std::move(answer), Severity::info, outcome);
}

void Negotiation::failed(std::size_t party, const std::exception_ptr& error) {
    const auto& entry = parties_[party];
    negotiators_.dropIfGone(entry, error);
    if (!entry.client->connected() || !negotiators_.find(entry.id)) {
        settle(party, std::nullopt, Severity::info, "is gone and has no say");
        return;
    }
    const auto problem = problemOf(error);
    const auto& name = entry.name.empty() ? entry.client->clientId() : entry.name;
    settle(party, NegotiatorResponse{Position::Object, login::toUtf16(name + " " + problem)},
           Severity::warning, problem + ", which counts as an objection");
}

void Negotiation::settle(std::size_t party, Answer answer, Severity severity, const std::string& outcome) {
    const auto took =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started_);
    logger().log(severity, "Logout negotiator " + parties_[party].describe() + " " + outcome + " (after " +
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
