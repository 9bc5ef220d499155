#pragma once

#include "module/runtime/detail/ServiceTrackerBase.h"
#include "module/runtime/detail/ServiceTrackerCustomizer.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceTracker.h>

#include <string>
#include <utility>

namespace agent::spf::cppmsclientutils::detail {

/// A framework tracker together with its customizer, which outlives its tracking.
template <class Service>
class ServiceTracker : private ServiceTrackerBase {
public:
    ServiceTracker(const cppmicroservices::BundleContext& context, const std::string& name,
                   const cppmicroservices::LDAPFilter& filter, const TrackingOptions& options,
                   foundation::concurrent::threadpool::Executor& executor,
                   const foundation::log::basic_diagnostic_logger<char>& logger)
        : ServiceTrackerBase(name, filter.ToString(), logger),
          customizer_(context, name, options, executor, logger), tracker_(context, filter, &customizer_) {}
    ~ServiceTracker() { close(); }
    ServiceTracker(const ServiceTracker&) = delete;
    ServiceTracker& operator=(const ServiceTracker&) = delete;

    ServiceTrackerEvents<Service>& events() noexcept { return customizer_.events(); }

    void open() {
        logStarting();
        tracker_.Open();
    }
    /// Waits for registry events being handled; posts "removed" for what is held.
    void close() { tracker_.Close(); }

private:
    ServiceTrackerCustomizer<Service> customizer_;
    cppmicroservices::ServiceTracker<Service, Service> tracker_;
};

} // namespace agent::spf::cppmsclientutils::detail
