#include "FileBundle.h"

#include "../BundleContextPrivate.h"
#include "../FrameworkCore.h"
#include "../SystemBundle.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/GlobalConfig.h>

#include <exception>
#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

/// The right to change the bundle's state, for the length of a scope.
class FileBundle::Turn {
public:
    Turn(FileBundle& bundle, const char* purpose) : bundle_(bundle) {
        foundation::MutexLock lock(bundle.mutex_);
        if (bundle.turn_ == std::this_thread::get_id())
            throw std::runtime_error(
                "The bundle '" + bundle.Id().symbolicName + "' cannot be " + purpose +
                " by the thread that is just starting or stopping it; do it from another thread.");
        while (bundle.turn_ != std::thread::id())
            bundle.turnOver_.wait(lock);
        bundle.turn_ = std::this_thread::get_id();
    }
    ~Turn() {
        const foundation::MutexLock lock(bundle_.mutex_);
        bundle_.turn_ = std::thread::id();
        bundle_.turnOver_.notify_all();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    FileBundle& bundle_;
};

FileBundle::FileBundle(const std::shared_ptr<FrameworkCore>& core, Identity identity, AnyMap headers)
    : BundlePrivate(core, std::move(identity), std::move(headers)) {}

std::shared_ptr<FrameworkCore> FileBundle::RunningCore() const {
    auto core = Core();
    if (!core || core->System().State() != Bundle::STATE_ACTIVE)
        throw std::runtime_error("The framework is not running; start it before the bundle '" +
                                 Id().symbolicName + "'.");
    return core;
}

void FileBundle::SetState(Bundle::State state) {
    const foundation::MutexLock lock(mutex_);
    state_ = state;
}

void FileBundle::Start(std::uint32_t) {
    const Turn turn(*this, "started");
    const auto core = RunningCore(); // a stop that begins now waits for the turn
    const auto before = State();
    if (before == Bundle::STATE_ACTIVE)
        return;
    if (before == Bundle::STATE_UNINSTALLED)
        throw std::logic_error("The bundle '" + Id().symbolicName +
                               "' has been uninstalled; install it again.");
    const auto self = shared_from_this();
    if (before == Bundle::STATE_INSTALLED) {
        SetState(Bundle::STATE_RESOLVED);
        core->Fire(BundleEvent::BUNDLE_RESOLVED, self);
    }
    {
        const foundation::MutexLock lock(mutex_);
        state_ = Bundle::STATE_STARTING;
        context_ = std::make_shared<BundleContextPrivate>(core, self);
    }
    core->Fire(BundleEvent::BUNDLE_STARTING, self);
    try {
        activator_ = nullptr; // of a start that failed
        activator_ = MakeActivator();
        if (activator_)
            activator_->Start(MakeBundleContext(Context()));
    } catch (...) {
        const auto error = Failure("started");
        StartFailed(core);
        std::rethrow_exception(error);
    }
    SetState(Bundle::STATE_ACTIVE);
    core->Tell(self, [&](FrameworkExtension& extension) { extension.BundleStarted(self); });
    core->Fire(BundleEvent::BUNDLE_STARTED, self);
}

/// Of the exception that is being handled.
std::exception_ptr FileBundle::Failure(const char* purpose) const {
    const auto text =
        "The bundle '" + Id().symbolicName + "' (" + Id().location + ") was not " + purpose + ": ";
    try {
        throw;
    } catch (const std::exception& error) {
        return std::make_exception_ptr(std::runtime_error(text + error.what()));
    } catch (...) {
        return std::make_exception_ptr(std::runtime_error(text + "its activator threw no std::exception"));
    }
}

FileBundle::Activator FileBundle::MakeActivator() {
    Activator none(nullptr, nullptr);
    const auto found = Headers().find(Constants::BUNDLE_ACTIVATOR);
    if (found == Headers().end())
        return none;
    const auto* wanted = any_cast<bool>(&found->second);
    if (!wanted) {
        Core()->Report(FrameworkEvent::FRAMEWORK_WARNING, shared_from_this(),
                       "'bundle.activator' of the bundle '" + Id().symbolicName +
                           "' is neither true nor false; its activator is not used.");
        return none;
    }
    if (!*wanted)
        return none;
    const auto symbol = [&](const std::string& name) {
        auto* const address = Symbol(name);
        if (!address)
            throw std::runtime_error("its manifest asks for an activator, and its library exports no '" +
                                     name + "'; use CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR");
        return address;
    };
    const auto create = reinterpret_cast<BundleActivator* (*)()>(
        symbol(US_STR(US_CREATE_ACTIVATOR_PREFIX) + Id().symbolicName));
    const auto destroy = reinterpret_cast<void (*)(BundleActivator*)>(
        symbol(US_STR(US_DESTROY_ACTIVATOR_PREFIX) + Id().symbolicName));
    return {create(), destroy};
}

void FileBundle::StartFailed(const std::shared_ptr<FrameworkCore>& core) {
    SetState(Bundle::STATE_STOPPING);
    core->Fire(BundleEvent::BUNDLE_STOPPING, shared_from_this());
    EndStop(core);
}

void FileBundle::Stop(std::uint32_t) {
    const auto core = Core();
    if (!core || IsStoppingHere())
        return;
    const Turn turn(*this, "stopped");
    if (const auto error = StopNow(core))
        std::rethrow_exception(error);
}

bool FileBundle::IsStoppingHere() const {
    const foundation::MutexLock lock(mutex_);
    return state_ == Bundle::STATE_STOPPING && turn_ == std::this_thread::get_id();
}

std::exception_ptr FileBundle::StopNow(const std::shared_ptr<FrameworkCore>& core) {
    if (State() != Bundle::STATE_ACTIVE)
        return nullptr;
    const auto self = shared_from_this();
    SetState(Bundle::STATE_STOPPING);
    core->Fire(BundleEvent::BUNDLE_STOPPING, self);
    core->Tell(self, [&](FrameworkExtension& extension) { extension.BundleStopping(self); });
    std::exception_ptr error;
    try {
        if (activator_)
            activator_->Stop(MakeBundleContext(Context()));
    } catch (...) {
        error = Failure("stopped cleanly");
    }
    activator_ = nullptr;
    EndStop(core);
    return error;
}

void FileBundle::EndStop(const std::shared_ptr<FrameworkCore>& core) {
    core->EndContext(*Context());
    {
        const foundation::MutexLock lock(mutex_);
        state_ = Bundle::STATE_RESOLVED;
        context_ = nullptr;
    }
    core->Fire(BundleEvent::BUNDLE_STOPPED, shared_from_this());
}

void FileBundle::Uninstall() {
    const auto core = Core();
    if (!core)
        return;
    const Turn turn(*this, "uninstalled");
    if (State() == Bundle::STATE_UNINSTALLED)
        throw std::logic_error("The bundle '" + Id().symbolicName + "' has been uninstalled already.");
    if (const auto error = StopNow(core))
        core->Report(FrameworkEvent::FRAMEWORK_ERROR, shared_from_this(),
                     "A bundle that is uninstalled failed.", error);
    SetState(Bundle::STATE_INSTALLED);
    core->Fire(BundleEvent::BUNDLE_UNRESOLVED, shared_from_this());
    activator_ = nullptr;
    SetState(Bundle::STATE_UNINSTALLED);
    core->Forget(Id().id);
    core->Fire(BundleEvent::BUNDLE_UNINSTALLED, shared_from_this());
}

SharedLibrary FileBundle::Load() {
    {
        const foundation::MutexLock lock(mutex_);
        if (library_)
            return library_;
    }
    try {
        // Without the lock, for the library's initialisers run here. Two threads get the same library.
        return SharedLibrary(Id().location);
    } catch (const std::exception& error) {
        throw std::runtime_error("The library of the bundle '" + Id().symbolicName +
                                 "' cannot be loaded: " + error.what());
    }
}

void* FileBundle::Symbol(const std::string& name) {
    const auto context = Context();
    if (!context)
        throw std::runtime_error("The bundle '" + Id().symbolicName + "' is not active.");
    const auto library = Load();
    if (!HasContext(library, context)) {
        // More than once if threads meet here; what matters is that nobody goes on before it is done.
        using SetContext = void(BundleContextPrivate*);
        if (auto* set =
                reinterpret_cast<SetContext*>(library.Symbol(US_STR(US_SET_CTX_PREFIX) + Id().symbolicName)))
            set(context.get());
        const foundation::MutexLock lock(mutex_);
        library_ = library;
        given_ = context;
    }
    return library.Symbol(name);
}

bool FileBundle::HasContext(const SharedLibrary& library,
                            const std::shared_ptr<BundleContextPrivate>& context) const {
    const foundation::MutexLock lock(mutex_);
    return library_ == library && given_ == context;
}

} // namespace cppmicroservices::detail
