#include "contract/calls/ServiceProperties.h"
#include "contract/records/NotifierUuid.h"
#include "transport/client/DirectoryWatch.h"
#include "transport/client/RemoteService.h"
#include "transport/wire/Protocol.h"
#include "transport/wire/SocketDirectory.h"

#include <agent/spf/transport/Connector.h>
#include <cppmicroservices/Constants.h>

#include <boost/uuid/uuid_io.hpp>

#include <algorithm>
#include <atomic>
#include <optional>
#include <poll.h>
#include <random>
#include <sys/stat.h>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace agent::spf::transport {

using foundation::log::logging_event_types;

/// One thread of its own looks for the daemon, registers and unregisters; registry listeners run on it.
class Connector::Impl {
public:
    Impl(cppmicroservices::BundleContext context, ConnectorOptions options,
         foundation::concurrent::threadpool::Executor& executor)
        : context_(std::move(context)), options_(completed(std::move(options))), executor_(executor),
          watch_(options_.socketDirectory) {
        status_.clientId = options_.clientId;
        status_.socketPath = options_.socketDirectory / wire::socketName;
        status_.lastError = "Not started";
    }

    void start() {
        if (thread_.joinable())
            return;
        wire::checkSocketDirectory(options_.socketDirectory);
        wire::socketAddress(options_.socketDirectory / wire::socketName);
        stopping_ = false;
        watchFirst_ = false;
        wakeUp_->reset();
        thread_ = std::thread([this] { run(); });
    }

    void stop() {
        if (!thread_.joinable())
            return;
        stopping_ = true;
        wakeUp_->wake();
        thread_.join();
        setError("Stopped");
    }

    Status status() const {
        const foundation::MutexLock lock(mutex_);
        return status_;
    }

private:
    /// Tells a daemon's socket file from its successor's: device, inode, time of change.
    using SocketId = std::tuple<dev_t, ino_t, time_t, long>;
    using Registrations = std::vector<cppmicroservices::ServiceRegistration<core::Invokable>>;

    static ConnectorOptions completed(ConnectorOptions options) {
        if (options.clientId.empty())
            options.clientId = login::detail::uuidText(login::detail::createUuid());
        return options;
    }

    void run();
    void findDaemon();
    void leave(const std::optional<SocketId>& socket, std::chrono::steady_clock::duration lived);
    std::optional<SocketId> socketThere() const;
    void watchDirectory();
    /// Returns when the daemon is lost or the connector stops.
    void serve(Dialled dialled);
    Registrations registerServices(const std::vector<Dialled::Service>& services,
                                   const std::string& generation,
                                   const std::shared_ptr<Connection>& connection);
    void unregister(Registrations& registrations) noexcept;
    /// False once the connector stops. Ends early on a wake-up and, with `watching`, on a change in the
    /// directory.
    bool sleep(std::chrono::milliseconds limit, bool watching);
    std::chrono::milliseconds jitter();
    void setError(const std::string& text);
    void setDaemonProcess(pid_t process);

    static constexpr std::chrono::milliseconds forEver{-1};
    static constexpr std::chrono::milliseconds firstRetry{50};
    static constexpr std::chrono::milliseconds lastRetry{5'000};
    // A connection that lived as long is none to a daemon that keeps failing.
    static constexpr std::chrono::milliseconds settled = lastRetry;
    static constexpr std::chrono::milliseconds unwatchedRetry{1'000};

    cppmicroservices::BundleContext context_;
    const ConnectorOptions options_;
    foundation::concurrent::threadpool::Executor& executor_;
    const foundation::log::basic_diagnostic_logger<char> log_{"transport"};
    DirectoryWatch watch_;
    const std::shared_ptr<WakeUp> wakeUp_ = std::make_shared<WakeUp>();
    std::atomic<bool> stopping_ = false;
    std::minstd_rand random_{std::random_device{}()}; // the thread's
    std::chrono::milliseconds retry_ = firstRetry;    // the thread's
    bool watching_ = true;                            // the thread's
    bool watchFirst_ = false;                         // the thread's; set once nobody answered

    mutable foundation::Mutex mutex_; // a leaf
    Status status_ GUARDED_BY(mutex_);
    std::thread thread_;
};

void Connector::Impl::run() {
    while (!stopping_) {
        try {
            findDaemon();
        } catch (const std::exception& error) {
            log_.log(logging_event_types::error,
                     std::string("Looking for the daemon failed: ") + error.what());
            setError(error.what());
            sleep(lastRetry, false);
        }
    }
}

void Connector::Impl::findDaemon() {
    // Usually the daemon is there. Giving a watch back takes the kernel many milliseconds, which a
    // short-lived program would spend at its end.
    const bool watched = std::exchange(watchFirst_, true);
    if (watched)
        watchDirectory();
    wakeUp_->reset(); // an earlier connection's loss must not end this attempt
    if (stopping_)
        return;
    setDaemonProcess(0);
    const auto onReached = [this](pid_t process) { setDaemonProcess(process); };
    try {
        const auto socket = socketThere();
        auto dialled =
            dial(options_.socketDirectory, options_.clientId, options_.limits, wakeUp_->fd(), onReached);
        const auto since = std::chrono::steady_clock::now();
        serve(std::move(dialled));
        leave(socket, std::chrono::steady_clock::now() - since);
    } catch (const DialError& error) {
        if (stopping_)
            return;
        if (!watched) {
            if (error.nobodyThere())
                return; // to watch, and to look again: it may have come meanwhile
            watchDirectory();
        }
        if (status().lastError != error.what())
            log_.log(logging_event_types::info, std::string("No daemon yet: ") + error.what());
        setError(error.what());
        if (error.nobodyThere()) {
            if (sleep(watching_ ? forEver : unwatchedRetry, true) && status().connections > 0)
                sleep(jitter(), false);
        } else {
            sleep(retry_ + jitter(), true);
            retry_ = std::min(2 * retry_, lastRetry);
        }
    }
}

/// After a connection to this socket that lived so long.
void Connector::Impl::leave(const std::optional<SocketId>& socket,
                            std::chrono::steady_clock::duration lived) {
    if (stopping_)
        return;
    watchDirectory(); // before looking
    wakeUp_->reset();
    if (lived >= settled || !socket || socketThere() != socket) {
        retry_ = firstRetry;
        // Its successor is found by every client at once: spread them.
        sleep(jitter(), false);
        return;
    }
    // The same daemon would probably do the same again.
    sleep(retry_ + jitter(), true);
    retry_ = std::min(2 * retry_, lastRetry);
}

std::optional<Connector::Impl::SocketId> Connector::Impl::socketThere() const {
    struct stat now {};
    if (::lstat(status().socketPath.c_str(), &now) != 0)
        return std::nullopt;
    return SocketId{now.st_dev, now.st_ino, now.st_ctim.tv_sec, now.st_ctim.tv_nsec};
}

void Connector::Impl::watchDirectory() {
    try {
        watch_.arm();
        watching_ = true;
    } catch (const std::exception& error) {
        if (std::exchange(watching_, false))
            log_.log(logging_event_types::warning, std::string("The daemon's coming goes unnoticed: ") +
                                                       error.what() + ". Looking for it once a second");
    }
}

void Connector::Impl::serve(Dialled dialled) {
    const auto generation = boost::uuids::to_string(dialled.generation);
    const auto services = std::move(dialled.services);
    const auto lost = std::make_shared<std::atomic<bool>>(false);
    // Shared, as the thread that notices the loss may be slow to say so, and this connector gone by then.
    auto onLost = [lost, wakeUp = wakeUp_] {
        *lost = true;
        wakeUp->wake();
    };
    const auto connection =
        std::make_shared<Connection>(std::move(dialled), options_.limits, executor_, std::move(onLost));
    {
        const foundation::MutexLock lock(mutex_);
        status_.connected = true;
        status_.generation = generation;
        status_.lastError.clear();
        ++status_.connections;
    }
    connection->start();
    auto registrations = registerServices(services, generation, connection);
    log_.log(logging_event_types::info, "Connected to the daemon, generation " + generation);
    watch_.disarm(); // not earlier: the kernel takes many milliseconds for it
    while (!*lost && sleep(forEver, false)) {
    }
    connection->disconnect("the connector was stopped");
    unregister(registrations);
    connection->join();
    setError("The connection ended: " + connection->lossReason());
    log_.log(logging_event_types::info, "The connection to the daemon ended: " + connection->lossReason());
}

Connector::Impl::Registrations
Connector::Impl::registerServices(const std::vector<Dialled::Service>& services,
                                  const std::string& generation,
                                  const std::shared_ptr<Connection>& connection) {
    Registrations registrations;
    for (std::uint32_t index = 0; index < services.size(); ++index) {
        const auto& service = services[index];
        try {
            cppmicroservices::ServiceProperties properties;
            properties[core::properties::serviceName] = service.name;
            properties[core::properties::serviceVersion] = service.version;
            properties[core::properties::serviceRevision] = service.revision;
            properties[core::properties::clientId] = options_.clientId;
            properties[core::properties::generation] = generation;
            properties[cppmicroservices::Constants::SERVICE_RANKING] = service.ranking;
            registrations.push_back(context_.RegisterService<core::Invokable>(
                std::make_shared<RemoteService>(connection, index), properties));
        } catch (const std::exception& error) {
            log_.log(logging_event_types::error,
                     "The daemon's service " + service.name + " cannot be registered: " + error.what());
        }
    }
    return registrations;
}

void Connector::Impl::unregister(Registrations& registrations) noexcept {
    for (auto& registration : registrations) {
        try {
            registration.Unregister();
        } catch (const std::exception&) {
            // The framework stopped first and has unregistered it.
        }
    }
}

bool Connector::Impl::sleep(std::chrono::milliseconds limit, bool watching) {
    if (stopping_)
        return false;
    pollfd fds[] = {{wakeUp_->fd(), POLLIN, 0}, {watching ? watch_.fd() : -1, POLLIN, 0}};
    ::poll(fds, 2, static_cast<int>(limit.count()));
    if (fds[0].revents != 0)
        wakeUp_->reset();
    return !stopping_;
}

std::chrono::milliseconds Connector::Impl::jitter() {
    const auto most = std::max<std::int64_t>(options_.reconnectJitter.count(), 0);
    return std::chrono::milliseconds(std::uniform_int_distribution<std::int64_t>(0, most)(random_));
}

void Connector::Impl::setDaemonProcess(pid_t process) {
    const foundation::MutexLock lock(mutex_);
    status_.daemonProcess = process;
    if (process != 0)
        status_.lastError = "The daemon has not said welcome yet";
}

void Connector::Impl::setError(const std::string& text) {
    const foundation::MutexLock lock(mutex_);
    status_.connected = false;
    status_.generation.clear();
    status_.lastError = text;
}

Connector::Connector(cppmicroservices::BundleContext context, ConnectorOptions options,
                     foundation::concurrent::threadpool::Executor& executor)
    : impl_(std::make_shared<Impl>(std::move(context), std::move(options), executor)) {}

Connector::~Connector() {
    stop();
}
void Connector::start() {
    impl_->start();
}
void Connector::stop() {
    impl_->stop();
}
Connector::Status Connector::status() const {
    return impl_->status();
}

} // namespace agent::spf::transport
