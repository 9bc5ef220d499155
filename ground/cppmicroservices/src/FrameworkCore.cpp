#include "FrameworkCore.h"

#include "BundleContextPrivate.h"
#include "ServiceAccess.h"
#include "SystemBundle.h"

#include <cppmicroservices/Constants.h>

#include <iostream>
#include <sstream>

namespace cppmicroservices::detail {

namespace {

std::ostream* ActiveLogger(const AnyMap& properties, std::ostream* logger) {
    const auto found = properties.find(Constants::FRAMEWORK_LOG);
    const auto* enabled = found == properties.end() ? nullptr : any_cast<bool>(&found->second);
    if (!enabled || !*enabled)
        return nullptr;
    return logger ? logger : &std::clog;
}

} // namespace

FrameworkOwner::FrameworkOwner(std::shared_ptr<FrameworkCore> core) : core_(std::move(core)) {}

FrameworkOwner::~FrameworkOwner() {
    core_->System().StopNow();
}

Bundle FrameworkCore::Create(AnyMap properties, std::ostream* logger, Parts parts) {
    const auto core = std::make_shared<FrameworkCore>(std::move(properties), logger, std::move(parts));
    core->system_ = std::make_shared<SystemBundle>(core, core->properties_);
    {
        const foundation::MutexLock lock(core->mutex_);
        core->bundles_.emplace(0, core->system_);
    }
    const auto owner = std::make_shared<FrameworkOwner>(core);
    core->owner_ = owner;
    return core->Handle(core->system_);
}

FrameworkCore::FrameworkCore(AnyMap properties, std::ostream* logger, Parts parts)
    : properties_(std::move(properties)), parts_(std::move(parts)), events_([this](const char* kind) {
          Report(FrameworkEvent::FRAMEWORK_ERROR, system_,
                 std::string("A ") + kind + " listener threw an exception.", std::current_exception());
      }),
      logger_(ActiveLogger(properties_, logger)) {}

FrameworkCore::~FrameworkCore() = default;

Bundle FrameworkCore::Handle(std::shared_ptr<BundlePrivate> bundle) const {
    return BundleAccess::Make(std::move(bundle), owner_.lock());
}

std::vector<std::shared_ptr<BundlePrivate>> FrameworkCore::Bundles() const {
    std::vector<std::shared_ptr<BundlePrivate>> bundles;
    const foundation::MutexLock lock(mutex_);
    for (const auto& [id, bundle] : bundles_)
        bundles.push_back(bundle);
    return bundles;
}

std::shared_ptr<BundlePrivate> FrameworkCore::FindBundle(long id) const {
    const foundation::MutexLock lock(mutex_);
    const auto found = bundles_.find(id);
    return found == bundles_.end() ? nullptr : found->second;
}

std::vector<std::shared_ptr<BundlePrivate>> FrameworkCore::BundlesFrom(const std::string& location) const {
    std::vector<std::shared_ptr<BundlePrivate>> bundles;
    for (const auto& [id, bundle] : bundles_) {
        if (bundle->Id().location == location)
            bundles.push_back(bundle);
    }
    return bundles;
}

std::filesystem::path FrameworkCore::DataDirectory(long bundle) const {
    const auto found = properties_.find(Constants::FRAMEWORK_STORAGE);
    const auto* storage = found == properties_.end() ? nullptr : any_cast<std::string>(&found->second);
    if (bundle == 0 || !storage || storage->empty())
        return {};
    return std::filesystem::absolute(*storage) / "data" / std::to_string(bundle);
}

std::vector<Bundle> FrameworkCore::Install(const std::string& location, const AnyMap& given) {
    auto manifests = parts_.bundles->Read(location, given);
    std::vector<std::shared_ptr<BundlePrivate>> bundles;
    bool installed = false;
    {
        const foundation::MutexLock lock(mutex_);
        bundles = BundlesFrom(location);
        if (bundles.empty()) {
            bundles = AddBundles(location, std::move(manifests));
            installed = true;
        }
    }
    std::vector<Bundle> handles;
    for (const auto& bundle : bundles) {
        if (installed)
            Fire(BundleEvent::BUNDLE_INSTALLED, bundle);
        handles.push_back(Handle(bundle));
    }
    return handles;
}

std::vector<std::shared_ptr<BundlePrivate>> FrameworkCore::AddBundles(const std::string& location,
                                                                      std::vector<AnyMap> manifests) {
    const auto nameOf = [](const AnyMap& headers) {
        return any_cast<std::string>(headers.at(Constants::BUNDLE_SYMBOLICNAME));
    };
    for (const auto& headers : manifests) {
        for (const auto& [id, other] : bundles_) {
            if (other->Id().symbolicName == nameOf(headers))
                throw std::runtime_error("The bundle '" + nameOf(headers) + "' in '" + location +
                                         "' is already installed from '" + other->Id().location +
                                         "'; uninstall that one first.");
        }
    }
    std::vector<std::shared_ptr<BundlePrivate>> added;
    for (auto& headers : manifests) {
        auto name = nameOf(headers);
        added.push_back(parts_.bundles->Make(shared_from_this(), {++lastBundleId_, location, std::move(name)},
                                             std::move(headers)));
        bundles_.emplace(added.back()->Id().id, added.back());
    }
    return added;
}

void FrameworkCore::Forget(long id) {
    const foundation::MutexLock lock(mutex_);
    bundles_.erase(id);
}

void FrameworkCore::Fire(BundleEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle) {
    events_.Fire(BundleEvent(type, Handle(bundle)));
}

void FrameworkCore::Tell(const std::shared_ptr<BundlePrivate>& bundle,
                         const std::function<void(FrameworkExtension&)>& what) {
    for (const auto& extension : parts_.extensions) {
        try {
            what(*extension);
        } catch (...) {
            Report(FrameworkEvent::FRAMEWORK_ERROR, bundle, "A part of the framework failed.",
                   std::current_exception());
        }
    }
}

ServiceRegistrationBase FrameworkCore::Register(const std::shared_ptr<BundlePrivate>& bundle,
                                                const std::shared_ptr<BundleContextPrivate>& context,
                                                const InterfaceMapConstPtr& services,
                                                const ServiceProperties& properties) {
    const ServiceRecord::Registrant registrant{weak_from_this(), bundle, context};
    const auto record = std::make_shared<ServiceRecord>(registrant, services_.NextId(), services, properties);
    services_.Add(record);
    events_.Fire(ServiceEvent::SERVICE_REGISTERED, record);
    return ServiceAccess::Registration(record);
}

bool FrameworkCore::Modify(const std::shared_ptr<ServiceRecord>& record,
                           const ServiceProperties& properties) {
    const auto after = record->MakeProperties(properties);
    const auto before = services_.Update(record, after);
    if (before)
        events_.FireModified(record, *before, *after);
    return before != nullptr;
}

bool FrameworkCore::HasEnded(const ServiceRecord& record) {
    const auto& bundle = record.Owner().bundle;
    return bundle->Id().id == 0 && bundle->Context() == nullptr;
}

bool FrameworkCore::Unregister(const std::shared_ptr<ServiceRecord>& record) {
    if (!record->BeginUnregister())
        return false;
    services_.Remove(record);
    events_.Fire(ServiceEvent::SERVICE_UNREGISTERING, record);
    record->EndUnregister();
    return true;
}

void FrameworkCore::EndContext(BundleContextPrivate& context) {
    for (const auto& record : services_.Retire(context))
        Unregister(record);
    context.Invalidate();
    events_.RemoveOwnedBy(&context);
}

void FrameworkCore::Report(FrameworkEvent::Type type, const std::shared_ptr<BundlePrivate>& source,
                           const std::string& message, std::exception_ptr exception) {
    const FrameworkEvent event(type, Handle(source), message, std::move(exception));
    Log(event);
    events_.Fire(event);
}

void FrameworkCore::Log(const FrameworkEvent& event) {
    const auto type = event.GetType();
    if (!logger_ || (type != FrameworkEvent::FRAMEWORK_ERROR && type != FrameworkEvent::FRAMEWORK_WARNING))
        return;
    std::ostringstream line;
    line << type << " [" << event.GetBundle().GetSymbolicName() << "] " << event.GetMessage();
    if (const auto exception = event.GetThrowable()) {
        try {
            std::rethrow_exception(exception);
        } catch (const std::exception& e) {
            line << ' ' << e.what();
        } catch (...) {
            line << " (not a std::exception)";
        }
    }
    line << '\n';
    const foundation::MutexLock lock(logMutex_);
    *logger_ << line.str() << std::flush;
}

} // namespace cppmicroservices::detail
