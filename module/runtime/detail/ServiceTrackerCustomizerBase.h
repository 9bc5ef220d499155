#pragma once

#include <cppmicroservices/Any.h>
#include <cppmicroservices/BundleContext.h>
#include <foundation/log/diagnostic_logger.h>

#include <optional>
#include <string>
#include <string_view>

namespace agent::spf::cppmsclientutils::detail {

struct TrackingOptions {
    bool rankingAware = true; ///< the best-ranked of several services is held; otherwise the latest
};

/// Ranking and logging for a customizer; its user serialises the calls.
class ServiceTrackerCustomizerBase {
public:
    using Ranking = std::optional<int>;

    ServiceTrackerCustomizerBase(cppmicroservices::BundleContext context, std::string trackerName,
                                 const TrackingOptions& options,
                                 const foundation::log::basic_diagnostic_logger<char>& logger);

protected:
    /// The ranking that a reference carries; nothing when it carries none or one that is no int.
    static Ranking getRankingFromProperty(const cppmicroservices::Any& property);

    /// Whether a newcomer of this ranking is to be kept in place of the held service.
    bool shouldKeepService(Ranking newcomer) const;
    void recordRanking(Ranking ranking) { heldRanking_ = ranking; }

    void logFirstSighting(Ranking ranking) const;
    void logEvent(std::string_view event) const;
    void logNotify(std::string_view event) const;

    cppmicroservices::BundleContext& context() noexcept { return context_; }
    bool rankingAware() const noexcept { return options_.rankingAware; }

private:
    cppmicroservices::BundleContext context_;
    const std::string trackerName_;
    const TrackingOptions options_;
    const foundation::log::basic_diagnostic_logger<char>& logger_;
    Ranking heldRanking_;
};

} // namespace agent::spf::cppmsclientutils::detail
