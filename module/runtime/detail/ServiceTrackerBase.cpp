#include "module/runtime/detail/ServiceTrackerBase.h"

#include <utility>

namespace agent::spf::cppmsclientutils::detail {

ServiceTrackerBase::ServiceTrackerBase(std::string name, std::string filter,
                                       const foundation::log::basic_diagnostic_logger<char>& logger)
    : name_(std::move(name)), filter_(std::move(filter)), logger_(logger) {}

void ServiceTrackerBase::logStarting() const {
    using foundation::log::logging_event_types;
    if (logger_.enabled(logging_event_types::debug))
        logger_.log(logging_event_types::debug, "Tracking `" + name_ + "` with the filter " + filter_);
}

} // namespace agent::spf::cppmsclientutils::detail
