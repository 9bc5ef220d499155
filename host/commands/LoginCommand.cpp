#include "host/commands/LoginCommand.h"

#include "contract/records/Utf.h"
#include "host/commands/InteractiveWait.h"
#include "host/commands/PrintableText.h"

#include <login/interactive/ZelkorLogin.h>

#include <CLI/CLI.hpp>

namespace zelkor::host {

void LoginCommand::addOptions(CLI::App& app) {
    level_.addTo(app);
    app.add_option("--account", account_, "The account's name, which is then not asked for")
        ->type_name("NAME");
    app.add_flag("--remember", remember_, "Later sessions start signed in");
    app.add_flag("--device", device_, "By a code that is typed on another device, without a browser here");
    app.add_flag("--again", again_, "Ask even if somebody is signed in at that level");
}

Result LoginCommand::run(Session& session, const Output&) {
    const auto login = session.service<login::interactive::ZelkorLogin>();
    InteractiveWait wait(session, *login.service, !device_);
    login::LoginInfo info;
    const auto outcome = wait.outcomeOf([&](auto done) {
        login->requestLoginAsync(
            requester,
            [done, &info](const login::LoginInfo& signedIn, const std::exception_ptr& error) {
                info = signedIn;
                done(error);
            },
            level_.level(), {.rememberMe = remember_, .forcePrompt = again_, .accountHint = account_});
    });
    if (!outcome.empty())
        return {.code = ExitCode::Refused,
                .text = {},
                .note = "Nobody was signed in: " + printable(outcome) + "\n",
                .json = {{"loggedIn", false}, {"reason", outcome}}};
    return {
        .code = ExitCode::Ok,
        .text = nameOf(info) + " is logged in, level " + levelName(info.getLevel()) + ".\n",
        .note = remember_ ? ""
                          : "Not remembered: commands and sessions that start later do not know of it. "
                            "--remember makes them start signed in.\n",
        .json = {{"loggedIn", true},
                 {"remembered", remember_},
                 {"user", {{"id", login::toUtf8(info.userId)}, {"name", login::toUtf8(info.displayName)}}},
                 {"level", static_cast<int>(info.getLevel())}}};
}

} // namespace zelkor::host
