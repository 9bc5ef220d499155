#include "hshd/identity/oidc/LoopbackListener.h"

#include "hshd/identity/oidc/ResultPage.h"
#include "hshd/net/Url.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include <algorithm>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace hshd::oidc {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;

constexpr std::chrono::seconds requestLimit{10};
constexpr std::chrono::seconds answerLimit{30};
constexpr std::uint32_t headerBytes = 16U << 10;
constexpr int mostConnections = 16;

} // namespace

class LoopbackListener::Server {
public:
    Server(std::string path, Secret state, std::function<void(Parameters)> came)
        : path_(std::move(path)), state_(std::move(state)), came_(std::move(came)) {}

    /// The port.
    unsigned short open() {
        boost::system::error_code error;
        listen(four_, {asio::ip::address_v4::loopback(), 0}, error);
        if (error)
            throw std::runtime_error("no port of this machine's loopback address can be had: " +
                                     error.message());
        const auto port = four_.local_endpoint().port();
        // The same port of the other one, for a browser that takes "localhost" for it; or none.
        listen(six_, {asio::ip::address_v6::loopback(), port}, error);
        if (error)
            six_.close(error);
        for (const char* host : {"127.0.0.1", "[::1]", "localhost"})
            hosts_.push_back(host + (':' + std::to_string(port)));
        return port;
    }

    void start() {
        accept(four_);
        if (six_.is_open())
            accept(six_);
        thread_ = std::thread([this] { io_.run(); });
    }

    void stop() {
        io_.stop();
        if (thread_.joinable())
            thread_.join();
    }

    void answer(bool signedIn, std::string text, std::function<void()> sent) {
        asio::post(io_, [this, signedIn, text = std::move(text), sent = std::move(sent)] {
            if (waiting_)
                waiting_->send(signedIn ? http::status::ok : http::status::bad_request,
                               resultPage(signedIn, text), sent);
            else
                sent();
        });
    }

private:
    /// One connection, for one request.
    class Connection : public std::enable_shared_from_this<Connection> {
    public:
        Connection(tcp::socket socket, Server& server) : stream_(std::move(socket)), server_(server) {
            ++server_.connections_;
            parser_.header_limit(headerBytes);
            parser_.body_limit(0);
        }
        ~Connection() { --server_.connections_; }
        Connection(const Connection&) = delete;
        Connection& operator=(const Connection&) = delete;

        void read() {
            stream_.expires_after(requestLimit);
            http::async_read_header(stream_, buffer_, parser_,
                                    [self = shared_from_this()](beast::error_code error, std::size_t) {
                                        if (!error)
                                            self->server_.received(*self);
                                    });
        }

        const http::request<http::empty_body>& request() const { return parser_.get(); }

        void refuse(http::status status, const char* text) {
            send(
                status, std::string(text) + "\n", [] {}, "text/plain; charset=utf-8");
        }

        void send(http::status status, std::string body, std::function<void()> sent,
                  const char* type = "text/html; charset=utf-8") {
            answer_.emplace(status, 11);
            answer_->set(http::field::content_type, type);
            answer_->set(http::field::cache_control, "no-store");
            answer_->set("Content-Security-Policy", resultPagePolicy());
            answer_->set("Referrer-Policy", "no-referrer");
            answer_->set("X-Content-Type-Options", "nosniff");
            answer_->keep_alive(false);
            answer_->body() = std::move(body);
            answer_->prepare_payload();
            stream_.expires_after(requestLimit);
            http::async_write(
                stream_, *answer_,
                [self = shared_from_this(), sent = std::move(sent)](beast::error_code, std::size_t) {
                    beast::error_code none;
                    self->stream_.socket().shutdown(tcp::socket::shutdown_send, none);
                    sent();
                });
        }
        /// Until it is answered.
        void wait() { stream_.expires_after(answerLimit); }

    private:
        beast::tcp_stream stream_;
        beast::flat_buffer buffer_{headerBytes};
        http::request_parser<http::empty_body> parser_;
        std::optional<http::response<http::string_body>> answer_;
        Server& server_;
    };

    static void listen(tcp::acceptor& acceptor, const tcp::endpoint& endpoint,
                       boost::system::error_code& error) {
        acceptor.open(endpoint.protocol(), error);
        if (!error && endpoint.address().is_v6())
            acceptor.set_option(asio::ip::v6_only(true), error);
        if (!error)
            acceptor.bind(endpoint, error);
        if (!error)
            acceptor.listen(mostConnections, error);
    }

    void accept(tcp::acceptor& acceptor) {
        acceptor.async_accept([this, &acceptor](boost::system::error_code error, tcp::socket socket) {
            if (error == asio::error::operation_aborted || !acceptor.is_open())
                return;
            if (!error && connections_ < mostConnections)
                std::make_shared<Connection>(std::move(socket), *this)->read();
            accept(acceptor);
        });
    }

    void received(Connection& connection) {
        const auto& request = connection.request();
        const std::string target(request.target());
        const auto question = target.find('?');
        if (waiting_)
            return connection.refuse(http::status::gone, "This sign-in has been answered.");
        // A name of somebody else's that leads here.
        if (std::ranges::find(hosts_, std::string(request[http::field::host])) == hosts_.end())
            return connection.refuse(http::status::misdirected_request, "This is no such host.");
        if (request.method() != http::verb::get)
            return connection.refuse(http::status::method_not_allowed, "Only GET is answered.");
        if (target.substr(0, question) != path_)
            return connection.refuse(http::status::not_found, "There is no such page.");
        if (!byNavigation(request))
            return connection.refuse(http::status::forbidden, "Only a person's own navigation is answered.");
        auto parameters =
            net::decodeForm(question == std::string::npos ? std::string_view()
                                                          : std::string_view(target).substr(question + 1));
        if (!parameters || !parameters->contains("state") || Secret(parameters->at("state")) != state_)
            return connection.refuse(http::status::bad_request, "This answers no sign-in that is under way.");
        waiting_ = connection.shared_from_this();
        waiting_->wait();
        boost::system::error_code none;
        four_.close(none);
        six_.close(none);
        came_(std::move(*parameters));
    }

    /// What browsers say of requests that no person made by following a link or a redirection.
    static bool byNavigation(const http::request<http::empty_body>& request) {
        const auto says = [&](const char* field, const char* expected) {
            const auto found = request.find(field);
            return found == request.end() || found->value() == expected;
        };
        return says("Sec-Fetch-Mode", "navigate") && says("Sec-Fetch-Dest", "document") &&
               says("Origin", "null");
    }

    const std::string path_;
    const Secret state_;
    const std::function<void(Parameters)> came_;
    int connections_ = 0;
    asio::io_context io_{1};
    tcp::acceptor four_{io_};
    tcp::acceptor six_{io_};
    std::vector<std::string> hosts_;
    std::shared_ptr<Connection> waiting_;
    asio::executor_work_guard<asio::io_context::executor_type> busy_{io_.get_executor()};
    std::thread thread_;
};

LoopbackListener::LoopbackListener(std::string path, Secret state, std::function<void(Parameters)> came)
    : server_(std::make_unique<Server>(path, std::move(state), std::move(came))) {
    redirectUri_ = "http://127.0.0.1:" + std::to_string(server_->open()) + path;
    server_->start();
}

LoopbackListener::~LoopbackListener() {
    server_->stop();
}

void LoopbackListener::answer(bool signedIn, std::string text, std::function<void()> sent) {
    server_->answer(signedIn, std::move(text), std::move(sent));
}

} // namespace hshd::oidc
