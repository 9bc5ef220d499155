#include "platform/host/commands/LogoutCommand.h"

#include "platform/host/commands/PrintableText.h"
#include "platform/host/commands/Refusal.h"

#include <login/ZelkorLogin.h>
#include <login/detail/ZelkorLogin.h>

#include <CLI/CLI.hpp>

namespace zelkor::host {

std::string LogoutCommand::description() const {
    return "Log out when nobody objects";
}

void LogoutCommand::addOptions(CLI::App& app) {
    app.add_flag("--force", force_, "Do not ask who might object");
}

Result LogoutCommand::run(Session& session, const Output&) {
    const auto login = session.service<login::ZelkorLogin>();
    const auto detail = session.service<login::detail::ZelkorLogin>();
    const auto before =
        session.ask([&] { return login->getLoginInfo(requester, login::LoginInfo::Level::Identified); });
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
