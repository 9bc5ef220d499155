#include "platform/host/commands/LogoutCommand.h"

#include "platform/host/commands/PrintableText.h"
#include "records/Utf.h"

#include <login/ZelkorLogin.h>
#include <login/detail/ZelkorLogin.h>

#include <CLI/CLI.hpp>

namespace zelkor::host {

namespace {

foundation::json::array asJson(const std::vector<std::u16string>& messages) {
    foundation::json::array array;
    for (const auto& message : messages)
        array.emplace_back(login::toUtf8(message));
    return array;
}

std::string asText(const char* who, const std::vector<std::u16string>& messages) {
    std::string text;
    for (const auto& message : messages)
        text += std::string("  ") + who + ": " +
                (message.empty() ? "(gives no reason)" : printable(message)) + "\n";
    return text;
}

Result refusal(const login::detail::NegotiationsResult& result) {
    return {.code = ExitCode::Refused,
            .text = {},
            .note = "The logout is refused; nothing was changed. --force does not ask.\n" +
                    asText("objects", result.objections) + asText("wants you to be asked", result.questions),
            .json = {{"loggedOut", false},
                     {"objections", asJson(result.objections)},
                     {"questions", asJson(result.questions)}}};
}

} // namespace

std::string LogoutCommand::description() const {
    return "Log out when nobody objects";
}

void LogoutCommand::addOptions(CLI::App& app) {
    app.add_flag("--force", force_, "Do not ask who might object");
}

Result LogoutCommand::run(Session& session) {
    auto& host = session.host();
    const auto login = host.get<login::ZelkorLogin>();
    const auto detail = host.get<login::detail::ZelkorLogin>();
    session.requireDaemon();
    const auto before =
        session.ask([&] { return login->getLoginInfo(requester, login::LoginInfo::Level::Identified); });
    if (!force_) {
        // An unanswered negotiation counts as accepted for the module; a person is told instead.
        const auto result = session.ask([&] { return detail->negotiateLogout({}); });
        if (!result.accepted)
            return refusal(result);
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
