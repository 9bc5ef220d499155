#pragma once

#include "ServiceRecord.h"

#include <cppmicroservices/ServiceInterface.h>

#include <memory>
#include <string>

namespace cppmicroservices::detail {

/// One bundle's use of one service. Every pointer that GetService gives out shares ownership of a holder, so
/// the use ends with the last of them, on whichever thread that happens.
class ServiceHolder : public std::enable_shared_from_this<ServiceHolder> {
public:
    /// Null if the service is not there any more or its factory fails.
    static std::shared_ptr<ServiceHolder> Get(std::shared_ptr<ServiceRecord> record,
                                              std::shared_ptr<BundlePrivate> user);

    /// As Get(), but of a service of prototype scope an object of its own.
    static std::shared_ptr<ServiceHolder> GetAnother(std::shared_ptr<ServiceRecord> record,
                                                     std::shared_ptr<BundlePrivate> user);

    /// \param services has been acquired for \p user
    ServiceHolder(std::shared_ptr<ServiceRecord> record, std::shared_ptr<BundlePrivate> user,
                  InterfaceMapConstPtr services, bool another);
    ~ServiceHolder();
    ServiceHolder(const ServiceHolder&) = delete;
    ServiceHolder& operator=(const ServiceHolder&) = delete;

    std::shared_ptr<void> Object(const std::string& interfaceId) const;
    InterfaceMapConstPtr Objects() const;

private:
    const std::shared_ptr<ServiceRecord> record_;
    const std::shared_ptr<BundlePrivate> user_;
    const InterfaceMapConstPtr services_;
    const bool another_;
};

} // namespace cppmicroservices::detail
