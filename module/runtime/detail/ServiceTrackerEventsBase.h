#pragma once

#include <foundation/concurrent/threadpool/Executor.h>

#include <boost/uuid/uuid.hpp>

#include <functional>

namespace agent::spf::cppmsclientutils::detail {

/// The work queue, on an executor, that one tracker's events go through: one after the other, in the order
/// posted.
class ServiceTrackerEventsBase {
public:
    explicit ServiceTrackerEventsBase(foundation::concurrent::threadpool::Executor& executor);

protected:
    void post(std::function<void()> work);

private:
    const boost::uuids::uuid queue_;
    foundation::concurrent::threadpool::Executor& executor_;
};

} // namespace agent::spf::cppmsclientutils::detail
