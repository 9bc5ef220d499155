#include "host/session/LocalNegotiation.h"

#include <foundation/log/diagnostic_logger.h>
#include <foundation/thread_annotations.h>

#include <condition_variable>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace zelkor::host {

namespace {

using login::Negotiator;
using login::NegotiatorResponse;

/// Shared by those who are asked and the one who waits, who may go first.
class Answers {
public:
    explicit Answers(std::size_t count) : answers_(count), missing_(count) {}

    void settle(std::size_t party, std::optional<NegotiatorResponse> answer) {
        const foundation::MutexLock lock(mutex_);
        answers_[party] = std::move(answer);
        --missing_;
        settled_.notify_all();
    }
    std::vector<std::optional<NegotiatorResponse>> waitFor(std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        foundation::MutexLock lock(mutex_);
        while (missing_ != 0 && settled_.wait_until(lock, deadline) == std::cv_status::no_timeout) {
        }
        return answers_;
    }

private:
    foundation::Mutex mutex_; // a leaf
    std::condition_variable_any settled_;
    std::vector<std::optional<NegotiatorResponse>> answers_ GUARDED_BY(mutex_);
    std::size_t missing_ GUARDED_BY(mutex_);
};

std::optional<NegotiatorResponse> askOne(const Negotiator& negotiator, const login::NegotiationTerms& terms) {
    try {
        return negotiator.negotiate(terms);
    } catch (...) {
        foundation::log::basic_diagnostic_logger<char>("host").log(
            foundation::log::logging_event_types::warning,
            "The logout negotiator `" + negotiator.name + "` failed; it does not hold back the logout");
        return std::nullopt;
    }
}

} // namespace

login::detail::NegotiationsResult negotiate(const std::vector<Negotiator>& negotiators,
                                            const login::NegotiationTerms& terms,
                                            std::chrono::milliseconds limit,
                                            foundation::concurrent::threadpool::Executor& executor) {
    const auto answers = std::make_shared<Answers>(negotiators.size());
    for (std::size_t i = 0; i < negotiators.size(); ++i)
        executor.post([answers, i, negotiator = negotiators[i], terms] {
            answers->settle(i, askOne(negotiator, terms));
        });
    login::detail::NegotiationsResult result;
    for (auto& answer : answers->waitFor(limit)) {
        if (!answer || answer->decision == Negotiator::Position::Accept)
            continue;
        auto& list = answer->decision == Negotiator::Position::Object ? result.objections : result.questions;
        list.push_back(std::move(answer->message));
    }
    result.accepted = result.objections.empty() && result.questions.empty();
    return result;
}

} // namespace zelkor::host
