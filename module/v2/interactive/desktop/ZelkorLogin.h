#pragma once

#include "module/v2/interactive/ZelkorLogin.h"

#include <zelkorconnector/serviceprocess/HasDesktopServices.h>

#include <memory>

namespace login::spf::interactive::desktop {

/// The interactive client of a process that has desktop services, which it holds while it lives.
class ZelkorLogin final : public interactive::ZelkorLogin {
public:
    ZelkorLogin(const std::shared_ptr<cppmicroservices::AnyMap>& configuration,
                std::shared_ptr<zelkorconnector::serviceprocess::HasDesktopServices> desktopServices);
    /// Ends the tracking first, then lets go of the desktop services.
    ~ZelkorLogin() override;

private:
    std::shared_ptr<zelkorconnector::serviceprocess::HasDesktopServices> desktopServices_;
};

} // namespace login::spf::interactive::desktop
