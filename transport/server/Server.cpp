#include "contract/records/NotifierUuid.h"
#include "transport/server/Listener.h"
#include "transport/server/Session.h"
#include "transport/wire/Protocol.h"

#include <agent/spf/transport/Server.h>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <utility>

namespace agent::spf::transport {

using foundation::log::logging_event_types;

/// Accepts, and owns the I/O thread. Everything but start() and stop() runs on that thread.
class Server::Impl {
public:
    Impl(ServerOptions options, std::vector<OfferedService> services)
        : core_(std::make_shared<ServerCore>()), acceptor_(core_->io), retry_(core_->io) {
        core_->options = std::move(options);
        core_->services = std::move(services);
        core_->generation = login::detail::createUuid();
    }

    void start() {
        if (listener_ || thread_.joinable())
            throw std::logic_error("A server is started once");
        listener_.emplace(core_->options.socketDirectory);
        acceptor_.assign(boost::asio::local::stream_protocol(), listener_->takeSocket().release());
        acceptor_.native_non_blocking(true);
        core_->room = provideDescriptors(core_->options.limits);
        core_->complaints.emplace(core_->io, core_->options.limits.complaintInterval, core_->log);
        takeSpare();
        waitForClients();
        thread_ = std::thread([this] { run(); });
    }

    void stop() {
        if (!thread_.joinable())
            return;
        boost::asio::post(core_->io, [this] { shutDown(); });
        thread_.join(); // when the last operation has ended
        listener_.reset();
    }

    const ServerCore& core() const noexcept { return *core_; }

private:
    void run() {
        for (;;) {
            try {
                core_->io.run();
                return;
            } catch (const std::exception& error) {
                // Memory is short, most likely. The other clients are to go on.
                core_->log.log(logging_event_types::severe,
                               std::string("On the I/O thread: ") + error.what());
            } catch (...) {
                core_->log.log(logging_event_types::severe,
                               "On the I/O thread: thrown was no std::exception");
            }
        }
    }

    void waitForClients() {
        acceptor_.async_wait(boost::asio::socket_base::wait_read,
                             [this](const boost::system::error_code& error) {
                                 if (stopping_)
                                     return;
                                 if (const int why = error ? error.value() : accept(); why != 0)
                                     retryLater(why);
                                 else
                                     waitForClients();
                             });
    }

    /// Some of those that wait, so that the clients there are get their turn. @return why no more can be.
    int accept() {
        for (int i = 0; i < 16; ++i) {
            if (foundation::UniqueFd accepted = acceptOne()) {
                admit(std::move(accepted));
                continue;
            }
            const int error = errno;
            if (error == EAGAIN || error == EWOULDBLOCK)
                return 0;
            if ((error == EMFILE || error == ENFILE) && turnAway())
                continue;
            if (error != EINTR && error != ECONNABORTED)
                return error;
        }
        return 0;
    }

    foundation::UniqueFd acceptOne() {
        return foundation::UniqueFd(::accept4(acceptor_.native_handle(), nullptr, nullptr, SOCK_CLOEXEC));
    }

    /// Without descriptors: the spare one serves to say so.
    bool turnAway() {
        spare_ = {};
        auto accepted = acceptOne();
        const bool told = static_cast<bool>(accepted);
        if (told)
            wire::sendGoodbye(accepted.get(),
                              "Too many clients are connected: the daemon has no descriptor left");
        accepted = {}; // it has taken the spare one's place
        takeSpare();
        return told && spare_;
    }

    void takeSpare() { spare_ = foundation::UniqueFd(::open("/dev/null", O_RDONLY | O_CLOEXEC)); }

    // Without descriptors or memory: pausing gives others time to release some.
    void retryLater(int error) {
        core_->log.log(logging_event_types::error,
                       "A client cannot be accepted: " + std::generic_category().message(error));
        retry_.expires_after(std::chrono::milliseconds(100));
        retry_.async_wait([this](const boost::system::error_code& cancelled) {
            if (cancelled || stopping_)
                return;
            if (!spare_)
                takeSpare();
            waitForClients();
        });
    }

    void admit(foundation::UniqueFd socket) {
        try {
            const auto peer = wire::peerOf(socket.get());
            if (const auto why = wire::distrust(peer); !why.empty()) {
                core_->complaints->log(logging_event_types::warning, peer.pid,
                                       "A connection was refused: " + why);
                return;
            }
            const auto session = std::make_shared<Session>(core_, std::move(socket), peer);
            core_->sessions.insert(session);
            session->start();
            // Those that never introduce themselves keep nobody out.
            while (core_->withoutHello.size() > core_->room.withoutHello)
                core_->withoutHello.front()->dismiss(
                    "No hello so far, and many others are connecting: connect again");
        } catch (const std::exception& error) {
            core_->log.log(logging_event_types::error,
                           std::string("A client cannot be served: ") + error.what());
        }
    }

    void shutDown() {
        stopping_ = true;
        boost::system::error_code ignored;
        acceptor_.close(ignored);
        retry_.cancel();
        while (!core_->sessions.empty())
            (*core_->sessions.begin())->close(logging_event_types::info, "the daemon stops");
        core_->complaints->close();
        // A service that keeps sessions would otherwise keep itself alive through them.
        core_->services.clear();
    }

    const std::shared_ptr<ServerCore> core_;
    std::optional<Listener> listener_;
    boost::asio::local::stream_protocol::acceptor acceptor_;
    boost::asio::steady_timer retry_;
    foundation::UniqueFd spare_; // given up for a moment when there is no other descriptor
    std::thread thread_;
    bool stopping_ = false;
};

Server::Server(ServerOptions options, std::vector<OfferedService> services)
    : impl_(std::make_shared<Impl>(std::move(options), std::move(services))) {}

Server::~Server() {
    stop();
}

void Server::start() {
    impl_->start();
}

void Server::stop() {
    impl_->stop();
}

const boost::uuids::uuid& Server::generation() const noexcept {
    return impl_->core().generation;
}

std::filesystem::path Server::socketPath() const {
    return impl_->core().options.socketDirectory / wire::socketName;
}

} // namespace agent::spf::transport
