#include "module/runtime/detail/ServiceTrackerCustomizerBase.h"

#include <utility>

namespace agent::spf::cppmsclientutils::detail {

using foundation::log::logging_event_types;

ServiceTrackerCustomizerBase::ServiceTrackerCustomizerBase(
    cppmicroservices::BundleContext context, std::string trackerName, const TrackingOptions& options,
    const foundation::log::basic_diagnostic_logger<char>& logger)
    : context_(std::move(context)), trackerName_(std::move(trackerName)), options_(options), logger_(logger) {
}

ServiceTrackerCustomizerBase::Ranking
ServiceTrackerCustomizerBase::getRankingFromProperty(const cppmicroservices::Any& property) {
    const int* ranking = cppmicroservices::any_cast<int>(&property);
    return ranking != nullptr ? Ranking(*ranking) : std::nullopt;
}

bool ServiceTrackerCustomizerBase::shouldKeepService(Ranking newcomer) const {
    // As in the registry: no ranking counts as 0, and of equals the older one stays.
    return newcomer.value_or(0) > heldRanking_.value_or(0);
}

void ServiceTrackerCustomizerBase::logFirstSighting(Ranking ranking) const {
    if (logger_.enabled(logging_event_types::debug))
        logger_.log(logging_event_types::debug, "First sighting of a service for `" + trackerName_ +
                                                    "`, ranking " +
                                                    (ranking ? std::to_string(*ranking) : "none"));
}

void ServiceTrackerCustomizerBase::logEvent(std::string_view event) const {
    if (logger_.enabled(logging_event_types::info))
        logger_.log(logging_event_types::info,
                    "Registry event `" + std::string(event) + "` for `" + trackerName_ + '`');
}

void ServiceTrackerCustomizerBase::logNotify(std::string_view event) const {
    if (logger_.enabled(logging_event_types::debug))
        logger_.log(logging_event_types::debug,
                    "Posting `" + std::string(event) + "` for `" + trackerName_ + '`');
}

} // namespace agent::spf::cppmsclientutils::detail
