#include "BundlePrivate.h"
#include "SystemBundle.h"

#include <cppmicroservices/Framework.h>

#include <stdexcept>
#include <utility>

namespace cppmicroservices {

namespace {

SystemBundle& AsSystem(const std::shared_ptr<BundlePrivate>& bundle) {
    auto* system = dynamic_cast<SystemBundle*>(bundle.get());
    if (!system)
        throw std::logic_error("Only a framework's system bundle is a framework.");
    return *system;
}

} // namespace

Framework::Framework(Bundle bundle) : Bundle(std::move(bundle)) {
    AsSystem(d);
}

void Framework::Init() {
    if (!owner_)
        throw std::runtime_error("The framework is ending; create a new one.");
    AsSystem(d).Init();
}

FrameworkEvent Framework::WaitForStop(const std::chrono::milliseconds& timeout) {
    return AsSystem(d).WaitForStop(timeout);
}

} // namespace cppmicroservices
