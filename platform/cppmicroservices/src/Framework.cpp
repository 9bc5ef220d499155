#include "BundlePrivate.h"
#include "FrameworkCore.h"
#include "SystemBundle.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkFactory.h>

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

void Framework::Uninstall() {
    throw std::runtime_error("A framework cannot be uninstalled; stop it instead.");
}

Framework FrameworkFactory::NewFramework(const FrameworkConfiguration& configuration, std::ostream* logger) {
    AnyMap properties(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (const auto& [key, value] : configuration)
        properties[key] = value;
    properties.emplace(Constants::FRAMEWORK_THREADING_SUPPORT, Constants::FRAMEWORK_THREADING_MULTI);
    properties.emplace(Constants::FRAMEWORK_LOG, false);
    return Framework(detail::FrameworkCore::Create(std::move(properties), logger));
}

Framework FrameworkFactory::NewFramework() {
    return NewFramework({});
}

} // namespace cppmicroservices
