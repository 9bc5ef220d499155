#include "module/runtime/detail/ServiceTrackerEventsBase.h"

#include "contract/records/NotifierUuid.h"

#include <utility>

namespace agent::spf::cppmsclientutils::detail {

ServiceTrackerEventsBase::ServiceTrackerEventsBase(foundation::concurrent::threadpool::Executor& executor)
    : queue_(login::detail::createUuid()), executor_(executor) {}

void ServiceTrackerEventsBase::post(std::function<void()> work) {
    executor_.post(queue_, std::move(work), false);
}

} // namespace agent::spf::cppmsclientutils::detail
