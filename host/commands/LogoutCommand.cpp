#include "host/commands/LogoutCommand.h"

#include "host/commands/InteractiveWait.h"
#include "host/commands/PrintableText.h"
#include "host/commands/Refusal.h"

#include <login/ZelkorLogin.h>
#include <login/detail/ZelkorLogin.h>

#include <CLI/CLI.hpp>

namespace zelkor::host {

std::string LogoutCommand::description() const {
    return "Log out when nobody objects";
}

void LogoutCommand::addOptions(CLI::App& app) {
    auto* force = app.add_flag("--force", force_, "Do not ask who might object");
    auto* ask = app.add_flag("--ask", ask_, "When somebody objects, ask here whether to go on");
    ask->excludes(force);
    app.add_flag("--forget", forget_, "With --ask: also forget what is kept for the next sign-in")
        ->needs(ask);
}

Result LogoutCommand::ask(Session& session) const {
    const auto login = session.service<login::interactive::ZelkorLogin>();
    InteractiveWait wait(session, *login.service);
    const auto outcome = wait.outcomeOf(
        [&](auto done) { login->requestLogoutAsync(done, {.askConsent = true, .forgetAccount = forget_}); });
    if (!outcome.empty())
        return {.code = ExitCode::Refused,
                .text = {},
                .note = "Nobody was logged out: " + printable(outcome) + "\n",
                .json = {{"loggedOut", false}, {"reason", outcome}}};
    return {.code = ExitCode::Ok, .text = "Logged out.\n", .note = {}, .json = {{"loggedOut", true}}};
}

Result LogoutCommand::run(Session& session, const Output&) {
    if (ask_)
        return ask(session);
    const auto login = session.service<login::ZelkorLogin>();
    const auto detail = session.service<login::detail::ZelkorLogin>();
    auto before =
        session.ask([&] { return login->getLoginInfo(requester, login::LoginInfo::Level::Identified); });
    if (before.userId.empty()) // this session's end is the daemon's, too
        before = session.ask([&] {
            return session.host()
                .get<login::ZelkorLogin>(among::daemonClients)
                ->getLoginInfo(requester, login::LoginInfo::Level::Identified);
        });
    if (!force_) {
        // An unanswered negotiation counts as accepted for the module; a person is told instead.
        const auto result = session.ask([&] { return detail->negotiateLogout({}); });
        if (!result.accepted) {
            auto refused =
                refusal(result, "The logout is refused; nothing was changed. --force does not ask.");
            refused.json["loggedOut"] = false;
            return refused;
        }
    }
    try {
        detail->completeLogout();
    } catch (const std::exception& error) {
        Session::failUnanswered(error.what());
    }
    return {.code = ExitCode::Ok,
            .text = before.userId.empty() ? "Nobody was logged in.\n" : nameOf(before) + " is logged out.\n",
            .note = {},
            .json = {{"loggedOut", true}, {"wasLoggedIn", !before.userId.empty()}}};
}

} // namespace zelkor::host
