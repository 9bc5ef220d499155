#include "host/session/LocalNegotiation.h"

#include "contract/records/Utf.h"

#include <foundation/log/diagnostic_logger.h>
#include <foundation/thread_annotations.h>

#include <condition_variable>
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

    void settle(std::size_t party, NegotiatorResponse answer) {
        const foundation::MutexLock lock(mutex_);
        answers_[party] = std::move(answer);
        --missing_;
        settled_.notify_all();
    }
    /// One for each party; empty: none yet.
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

/// Who gave no answer has not agreed: the message tells the user, the log whoever looks for the reason.
NegotiatorResponse objectionFor(const Negotiator& negotiator, const std::string& problem) {
    foundation::log::basic_diagnostic_logger<char>("host").log(
        foundation::log::logging_event_types::warning,
        "The logout negotiator `" + negotiator.name + "` " + problem + "; that counts as an objection");
    return {Negotiator::Position::Object, login::toUtf16(negotiator.name + " " + problem)};
}

NegotiatorResponse askOne(const Negotiator& negotiator, const login::NegotiationTerms& terms) {
    try {
        return negotiator.negotiate(terms);
    } catch (...) {
        return objectionFor(negotiator, "failed");
    }
}

} // namespace

login::detail::NegotiationsResult negotiate(const std::vector<std::shared_ptr<const Negotiator>>& negotiators,
                                            const login::NegotiationTerms& terms,
                                            std::chrono::milliseconds limit,
                                            foundation::concurrent::threadpool::Executor& executor) {
    const auto answers = std::make_shared<Answers>(negotiators.size());
    for (std::size_t i = 0; i < negotiators.size(); ++i)
        if (!executor.post([answers, i, negotiator = negotiators[i], terms] {
                answers->settle(i, askOne(*negotiator, terms));
            }))
            answers->settle(i, objectionFor(*negotiators[i], "could not be asked"));
    login::detail::NegotiationsResult result;
    auto settled = answers->waitFor(limit);
    for (std::size_t i = 0; i < settled.size(); ++i) {
        auto answer =
            settled[i] ? std::move(*settled[i]) : objectionFor(*negotiators[i], "did not answer in time");
        if (answer.decision == Negotiator::Position::Accept)
            continue;
        auto& list = answer.decision == Negotiator::Position::Object ? result.objections : result.questions;
        list.push_back(std::move(answer.message));
    }
    result.accepted = result.objections.empty() && result.questions.empty();
    return result;
}

} // namespace zelkor::host
