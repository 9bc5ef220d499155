#include "module/v2/interactive/desktop/ZelkorLogin.h"

#include <utility>

namespace login::spf::interactive::desktop {

ZelkorLogin::ZelkorLogin(const std::shared_ptr<cppmicroservices::AnyMap>& configuration,
                         std::shared_ptr<zelkorconnector::serviceprocess::HasDesktopServices> desktopServices)
    : interactive::ZelkorLogin(configuration), desktopServices_(std::move(desktopServices)) {}

ZelkorLogin::~ZelkorLogin() {
    closeTracking();
}

} // namespace login::spf::interactive::desktop
