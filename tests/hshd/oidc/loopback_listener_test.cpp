// What reaches the port at which a sign-in waits for the browser.

#include "hshd/identity/oidc/LoopbackListener.h"
#include "tests/hshd/Fakes.h"
#include "tests/support/Recorded.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

using namespace hshd::test;
namespace asio = boost::asio;
using asio::ip::tcp;

namespace {

struct Loopback : Test {
    Recorded<hshd::oidc::LoopbackListener::Parameters> came;
    hshd::oidc::LoopbackListener listener{"/callback", hshd::Secret("right"),
                                          [this](auto parameters) { came.add(std::move(parameters)); }};
    const std::string port = listener.redirectUri().substr(17, listener.redirectUri().find('/', 17) - 17);
    const std::string host = "Host: 127.0.0.1:" + port + "\r\n";
    asio::io_context io;

    tcp::socket connected() {
        tcp::socket socket(io);
        socket.connect({asio::ip::address_v4::loopback(), static_cast<unsigned short>(std::stoi(port))});
        return socket;
    }
    static std::string answerOf(tcp::socket& socket) {
        std::string text;
        boost::system::error_code end;
        asio::read(socket, asio::dynamic_buffer(text), end);
        return text.substr(0, text.find("\r\n"));
    }
    std::string ask(const std::string& target, const std::string& headers,
                    const std::string& method = "GET") {
        auto socket = connected();
        boost::system::error_code ignored;
        asio::write(socket, asio::buffer(method + " " + target + " HTTP/1.1\r\n" + headers + "\r\n"),
                    ignored);
        return answerOf(socket);
    }
};

} // namespace

TEST_F(Loopback, OnlyTheRightRequestCountsAndOnlyOnce) {
    const std::string right = "/callback?state=right&code=c";
    struct Case {
        std::string target, headers, method;
        const char* status;
    };
    for (const auto& [target, headers, method, status] : std::vector<Case>{
             {"/elsewhere?state=right", host, "GET", "404"},
             {"/callback/?state=right", host, "GET", "404"},
             {"http://127.0.0.1/callback?state=right", host, "GET", "404"},
             {"/callback?state=wrong", host, "GET", "400"},
             {"/callback?state=right&state=right", host, "GET", "400"},
             {"/callback?state=", host, "GET", "400"},
             {"/callback", host, "GET", "400"},
             {right, host, "POST", "405"},
             {right, "Host: evil.example:" + port + "\r\n", "GET", "421"},
             {right, "Host: 127.0.0.1\r\n", "GET", "421"},
             {right, "", "GET", "421"},
             {right, host + "Origin: https://evil.example\r\n", "GET", "403"},
             {right, host + "Sec-Fetch-Mode: no-cors\r\n", "GET", "403"},
             {right, host + "Sec-Fetch-Mode: navigate\r\nSec-Fetch-Dest: iframe\r\n", "GET", "403"},
         })
        EXPECT_THAT(ask(target, headers, method), HasSubstr(status)) << method << ' ' << target << '\n'
                                                                     << headers;
    EXPECT_EQ(ask(right, host + "X: " + std::string(100'000, 'x') + "\r\n"), "") << "too long to be answered";
    EXPECT_THAT(came.all(), IsEmpty());

    std::vector<tcp::socket> silent;
    for (int i = 0; i < 10; ++i)
        silent.push_back(connected());
    auto browser = connected();
    asio::write(browser, asio::buffer("GET " + right + " HTTP/1.1\r\n" + host + "\r\n"));
    EXPECT_EQ(came.at(0).at("code"), "c");
    auto late = silent.back().remote_endpoint();
    asio::write(silent.back(), asio::buffer("GET " + right + " HTTP/1.1\r\n" + host + "\r\n"));
    EXPECT_THAT(answerOf(silent.back()), HasSubstr("410"));
    std::promise<void> sent;
    listener.answer(true, "Signed in as <b>.", [&] { sent.set_value(); });
    EXPECT_EQ(answerOf(browser), "HTTP/1.1 200 OK");
    sent.get_future().get();
    tcp::socket another(io);
    boost::system::error_code refused;
    another.connect(late, refused);
    EXPECT_EQ(refused, asio::error::connection_refused);
    EXPECT_EQ(came.all().size(), 1U);
}
