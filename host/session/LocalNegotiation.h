#pragma once

#include "contract/records/Negotiation.h"

#include <foundation/concurrent/threadpool/Executor.h>

#include <chrono>
#include <memory>
#include <vector>

namespace zelkor::host {

/// Asks all negotiators at once, on the executor, whether a logout may go on, and waits for their answers.
/// Messages come back in the order of `negotiators`. Who throws, cannot be asked, or has not answered within
/// `limit`, objects, with a message that says so; its answer is not waited for.
login::detail::NegotiationsResult
negotiate(const std::vector<std::shared_ptr<const login::Negotiator>>& negotiators,
          const login::NegotiationTerms& terms, std::chrono::milliseconds limit,
          foundation::concurrent::threadpool::Executor& executor);

} // namespace zelkor::host
