#include "host/commands/StatusCommand.h"

#include "contract/records/Utf.h"
#include "host/commands/PrintableText.h"
#include "host/commands/SignInAdvice.h"

#include <login/ZelkorLogin.h>
#include <login/detail/ZelkorLogin.h>

#include <CLI/CLI.hpp>

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
    SignInAdvice advice;
    std::string problem; ///< with the session, if there is one
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

std::string inWords(login::LoginInfo::Level level) {
    return levelName(level) + " (" + std::to_string(static_cast<int>(level)) + ")";
}

std::string inWords(const login::LoginInfo& info) {
    return info.userId.empty() ? "nobody" : nameOf(info) + ", level " + inWords(info.getLevel());
}

std::string asText(const Status& status, login::LoginInfo::Level asked) {
    const auto email = printable(status.info.email);
    return (status.info.userId.empty()
                ? "Nobody is logged in at the level " + levelName(asked) + ".\n" + status.advice.text()
                : nameOf(status.info) + (email.empty() ? "" : " <" + email + ">") + " is logged in, level " +
                      inWords(status.info.getLevel()) + ".\n") +
           "  session     " + orNone(status.session) + "\n  endpoint    " + orNone(status.endpoint) +
           "\n  source      " + orNone(status.source) + "\n  daemon      release " +
           printable(status.release) + ", generation " + printable(status.connection.generation) +
           "\n  its login   " + inWords(status.advice.daemons) +
           (status.advice.vetoed ? "\n  sign-in     vetoed" : "") + "\n  socket      " +
           status.connection.socketPath.string() + "\n  round trip  " +
           threeDigits(status.roundTrip.count()) + " ms\n  component   " + status.component + "\n" +
           (status.problem.empty() ? "" : "  problem     " + status.problem + "\n");
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
                      {"login", toUtf8(status.advice.daemons.userId)},
                      {"signInVetoed", status.advice.vetoed},
                      {"roundTripMs", std::strtod(threeDigits(status.roundTrip.count()).c_str(), nullptr)}};
    json["component"] = status.component;
    if (!status.loggedIn)
        json["reason"] = status.advice.reason;
    if (!status.problem.empty())
        json["problem"] = status.problem;
    return json;
}

} // namespace

std::string StatusCommand::description() const {
    return "Tell who is logged in, and how the daemon is reached";
}

void StatusCommand::addOptions(CLI::App& app) {
    level_.addTo(app);
    app.add_flag("--all", all_,
                 "List every provider of each login interface instead, the one that answers first");
}

Result StatusCommand::listAll(Host& host) const {
    Result result;
    foundation::json::object json;
    for (const char* name : {"login::ZelkorLogin", "login::detail::ZelkorLogin",
                             "login::interactive::ZelkorLogin", "login::control::LoginVetoer"}) {
        result.text += std::string(name) + "\n";
        foundation::json::array list;
        for (const auto& provider : host.providersOf(name)) {
            const auto component = provider.component.empty() ? "(this process)" : provider.component;
            const auto ranking = std::to_string(provider.ranking);
            result.text += std::string(ranking.size() < 5 ? 5 - ranking.size() : 0, ' ') + ranking + "  " +
                           component + (provider.version.empty() ? "" : ", version " + provider.version) +
                           "\n";
            list.push_back({{"ranking", provider.ranking},
                            {"component", provider.component},
                            {"version", provider.version}});
        }
        if (list.empty())
            result.text += "       (none)\n";
        json[name] = std::move(list);
    }
    if (const auto problem = host.sessionProblem(); !problem.empty()) {
        result.note = "zelkorlogin: " + problem + "\n";
        json["problem"] = problem;
    }
    result.json["providers"] = std::move(json);
    return result;
}

Result StatusCommand::run(Session& session, const Output&) {
    auto& host = session.host();
    if (all_)
        return listAll(host);
    const auto login = session.service<login::ZelkorLogin>();
    const auto detail = session.service<login::detail::ZelkorLogin>();
    const auto info = session.ask([&] { return login->getLoginInfo(requester, level_.level()); });
    const auto status = session.ask([&] {
        Status answer;
        answer.info = info;
        answer.loggedIn = answer.info.getLevel() >= level_.level();
        answer.session = detail->getCurrentSessionId();
        answer.endpoint = detail->getEndpoint();
        answer.source = detail->getSourceId();
        // The last of several, for the first one finds the daemon as well.
        const auto begin = std::chrono::steady_clock::now();
        answer.release = detail->getRelease();
        answer.roundTrip = std::chrono::steady_clock::now() - begin;
        answer.component = login.component;
        answer.advice = signInAdvice(session, level_.level());
        answer.problem = host.sessionProblem();
        answer.connection = host.connection();
        return answer;
    });
    return {.code = status.loggedIn ? ExitCode::Ok : ExitCode::NotLoggedIn,
            .text = asText(status, level_.level()),
            .note = {},
            .json = asJson(status)};
}

} // namespace zelkor::host
