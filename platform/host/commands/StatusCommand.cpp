#include "platform/host/commands/StatusCommand.h"

#include "platform/host/commands/PrintableText.h"
#include "records/Utf.h"

#include <login/ZelkorLogin.h>
#include <login/detail/ZelkorLogin.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace zelkor::host {

namespace {

using login::toUtf8;

struct Status {
    bool loggedIn = false; ///< at the level asked for
    login::LoginInfo info;
    std::string session, endpoint, source, release;
    std::chrono::duration<double, std::milli> roundTrip{};
    std::string component; ///< that answered
    agent::spf::transport::Connector::Status connection;
};

std::string threeDigits(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", value);
    return text;
}

std::string orNone(const std::string& text) {
    return text.empty() ? "(none)" : printable(text);
}

std::string asText(const Status& status, login::LoginInfo::Level asked) {
    const auto email = printable(status.info.email);
    return (status.info.userId.empty()
                ? "Nobody is logged in at the level " + levelName(asked) + ".\n"
                : nameOf(status.info) + (email.empty() ? "" : " <" + email + ">") + " is logged in, level " +
                      levelName(status.info.getLevel()) + " (" +
                      std::to_string(static_cast<int>(status.info.getLevel())) + ").\n") +
           "  session     " + orNone(status.session) + "\n  endpoint    " + orNone(status.endpoint) +
           "\n  source      " + orNone(status.source) + "\n  daemon      release " +
           printable(status.release) + ", generation " + status.connection.generation + "\n  socket      " +
           status.connection.socketPath.string() + "\n  round trip  " +
           threeDigits(status.roundTrip.count()) + " ms\n  component   " + status.component + "\n";
}

foundation::json::object asJson(const Status& status) {
    foundation::json::object json{{"loggedIn", status.loggedIn}};
    if (status.loggedIn)
        json["user"] = {{"id", toUtf8(status.info.userId)},
                        {"name", toUtf8(status.info.displayName)},
                        {"email", toUtf8(status.info.email)}};
    json["level"] = static_cast<int>(status.info.getLevel());
    json["sessionId"] = status.session;
    json["endpoint"] = status.endpoint;
    json["sourceId"] = status.source;
    json["daemon"] = {{"release", status.release},
                      {"generation", status.connection.generation},
                      {"socket", status.connection.socketPath.string()},
                      {"roundTripMs", std::strtod(threeDigits(status.roundTrip.count()).c_str(), nullptr)}};
    json["component"] = status.component;
    return json;
}

} // namespace

std::string StatusCommand::description() const {
    return "Tell who is logged in, and how the daemon is reached";
}

void StatusCommand::addOptions(CLI::App& app) {
    level_.addTo(app);
}

Result StatusCommand::run(Session& session, const Output&) {
    auto& host = session.host();
    const auto login = host.get<login::ZelkorLogin>();
    const auto detail = host.get<login::detail::ZelkorLogin>();
    session.requireDaemon();
    const auto status = session.ask([&] {
        Status answer;
        answer.info = login->getLoginInfo(requester, level_.level());
        answer.loggedIn = answer.info.getLevel() >= level_.level();
        answer.session = detail->getCurrentSessionId();
        answer.endpoint = detail->getEndpoint();
        answer.source = detail->getSourceId();
        // The last of several, for the first one finds the daemon as well.
        const auto begin = std::chrono::steady_clock::now();
        answer.release = detail->getRelease();
        answer.roundTrip = std::chrono::steady_clock::now() - begin;
        answer.component = login.component;
        answer.connection = host.connection();
        return answer;
    });
    return {.code = status.loggedIn ? ExitCode::Ok : ExitCode::NotLoggedIn,
            .text = asText(status, level_.level()),
            .note = {},
            .json = asJson(status)};
}

} // namespace zelkor::host
