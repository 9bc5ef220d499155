#pragma once

#include "contract/records/Negotiation.h"

#include <foundation/concurrent/threadpool/Executor.h>

#include <chrono>
#include <vector>

namespace zelkor::host {

/// Asks all negotiators at once, on the executor, whether a logout may go on, and waits for their answers.
/// Messages come back in the order of `negotiators`. Who throws, or has not answered within `limit`, does not
/// hold back the logout; its answer is not waited for.
login::detail::NegotiationsResult negotiate(const std::vector<login::Negotiator>& negotiators,
                                            const login::NegotiationTerms& terms,
                                            std::chrono::milliseconds limit,
                                            foundation::concurrent::threadpool::Executor& executor);

} // namespace zelkor::host
