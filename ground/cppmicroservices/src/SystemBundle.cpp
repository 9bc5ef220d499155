#include "SystemBundle.h"

#include "BundleContextPrivate.h"
#include "FrameworkCore.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace cppmicroservices {

namespace {

AnyMap SystemHeaders(const AnyMap& properties) {
    auto headers = properties;
    headers[Constants::BUNDLE_SYMBOLICNAME] = Constants::SYSTEM_BUNDLE_SYMBOLICNAME;
    headers[Constants::BUNDLE_NAME] = Constants::SYSTEM_BUNDLE_LOCATION;
    return headers;
}

} // namespace

SystemBundle::SystemBundle(std::weak_ptr<detail::FrameworkCore> core, const AnyMap& properties)
    : BundlePrivate(std::move(core),
                    {0, Constants::SYSTEM_BUNDLE_LOCATION, Constants::SYSTEM_BUNDLE_SYMBOLICNAME},
                    SystemHeaders(properties)) {}

SystemBundle::~SystemBundle() {
    // Left over only if the last handle went away on the stopping thread itself, which cannot join itself.
    if (stopper_.joinable())
        stopper_.detach();
}

bool SystemBundle::IsStoppedLocked() const {
    return state_ == Bundle::STATE_INSTALLED || state_ == Bundle::STATE_RESOLVED;
}

void SystemBundle::Init() {
    const auto core = Core();
    if (!core)
        throw std::runtime_error("The framework is gone; create a new one.");
    foundation::MutexLock lock(mutex_);
    if (state_ == Bundle::STATE_STOPPING && stopping_ == std::this_thread::get_id())
        throw std::runtime_error("The framework cannot be started by a listener that its stop is calling.");
    while (state_ == Bundle::STATE_STOPPING)
        stopped_.wait(lock);
    if (!IsStoppedLocked())
        return;
    state_ = Bundle::STATE_STARTING;
    context_ = std::make_shared<BundleContextPrivate>(core, weak_from_this());
}

void SystemBundle::Start(std::uint32_t) {
    Init();
    const auto core = Core();
    const auto self = shared_from_this();
    BundleContext context;
    {
        const foundation::MutexLock lock(mutex_);
        if (state_ != Bundle::STATE_STARTING || std::exchange(starting_, true))
            return;
        context = MakeBundleContext(context_);
    }
    // Bundles can be started only afterwards, and a stop waits for it.
    core->Tell(self, [&](detail::FrameworkExtension& extension) { extension.FrameworkStarting(context); });
    {
        const foundation::MutexLock lock(mutex_);
        starting_ = false;
        stopped_.notify_all();
        if (state_ != Bundle::STATE_STARTING)
            return;
        state_ = Bundle::STATE_ACTIVE;
    }
    core->Fire(BundleEvent::BUNDLE_STARTED, self);
    core->Report(FrameworkEvent::FRAMEWORK_STARTED, self, "The framework has started.");
}

bool SystemBundle::BeginStop() {
    const foundation::MutexLock lock(mutex_);
    if (IsStoppedLocked() || state_ == Bundle::STATE_STOPPING)
        return false;
    state_ = Bundle::STATE_STOPPING;
    return true;
}

void SystemBundle::Stop(std::uint32_t) {
    const auto core = Core();
    if (!core || !BeginStop())
        return;
    std::thread previous;
    try {
        const foundation::MutexLock lock(mutex_);
        previous = std::exchange(stopper_, std::thread([this, core] { RunStop(core); }));
    } catch (const std::system_error&) {
        RunStop(core); // No thread to be had; better here than not at all.
    }
    if (previous.joinable())
        previous.join();
}

void SystemBundle::StopNow() {
    const auto core = Core();
    if (BeginStop())
        RunStop(core);
    else
        WaitForStop(std::chrono::milliseconds::zero());
}

void SystemBundle::RunStop(const std::shared_ptr<detail::FrameworkCore>& core) {
    std::shared_ptr<BundleContextPrivate> context;
    {
        foundation::MutexLock lock(mutex_);
        stopping_ = std::this_thread::get_id();
        while (starting_)
            stopped_.wait(lock);
        context = context_;
    }
    const auto self = shared_from_this();
    core->Fire(BundleEvent::BUNDLE_STOPPING, self);
    StopOthers(*core, [](BundlePrivate& bundle) { bundle.Stop(Bundle::STOP_TRANSIENT); });
    core->Tell(self, [](detail::FrameworkExtension& extension) { extension.FrameworkStopping(); });
    core->EndContext(*context);
    // The next run begins without bundles.
    StopOthers(*core, [](BundlePrivate& bundle) { bundle.Uninstall(); });

    const foundation::MutexLock lock(mutex_);
    context_ = nullptr;
    stopping_ = {};
    state_ = Bundle::STATE_RESOLVED;
    stopped_.notify_all();
}

void SystemBundle::StopOthers(detail::FrameworkCore& core, const std::function<void(BundlePrivate&)>& stop) {
    auto bundles = core.Bundles();
    std::reverse(bundles.begin(), bundles.end());
    for (const auto& bundle : bundles) {
        try {
            if (bundle.get() != this)
                stop(*bundle);
        } catch (...) {
            core.Report(FrameworkEvent::FRAMEWORK_ERROR, bundle, "The bundle could not be stopped.",
                        std::current_exception());
        }
    }
}

void SystemBundle::Uninstall() {
    throw std::runtime_error("A framework cannot be uninstalled; stop it instead.");
}

void* SystemBundle::Symbol(const std::string&) {
    throw std::runtime_error("The system bundle has no library.");
}

FrameworkEvent SystemBundle::WaitForStop(std::chrono::milliseconds timeout) {
    std::optional<std::chrono::steady_clock::time_point> deadline;
    if (timeout != std::chrono::milliseconds::zero())
        deadline = std::chrono::steady_clock::now() + timeout;

    std::thread finished;
    const auto outcome = [&]() -> std::pair<FrameworkEvent::Type, const char*> {
        foundation::MutexLock lock(mutex_);
        if (stopping_ == std::this_thread::get_id())
            return {FrameworkEvent::FRAMEWORK_ERROR,
                    "The thread that stops the framework cannot wait for the stop."};
        while (!IsStoppedLocked()) {
            if (!deadline)
                stopped_.wait(lock);
            else if (stopped_.wait_until(lock, *deadline) == std::cv_status::timeout && !IsStoppedLocked())
                return {FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT,
                        "The framework has not stopped within the time."};
        }
        finished = std::exchange(stopper_, std::thread());
        return {FrameworkEvent::FRAMEWORK_STOPPED, "The framework has stopped."};
    }();
    if (finished.joinable())
        finished.join();
    const auto core = Core();
    return {outcome.first, core ? core->Handle(shared_from_this()) : Bundle(), outcome.second};
}

} // namespace cppmicroservices
