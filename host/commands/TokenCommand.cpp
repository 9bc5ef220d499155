#include "host/commands/TokenCommand.h"

#include "host/commands/PrintableText.h"
#include "host/commands/SignInAdvice.h"

#include <login/ZelkorLogin.h>

#include <unistd.h>

namespace zelkor::host {

std::string TokenCommand::description() const {
    return "Print the access token, and nothing else, on the standard output";
}

void TokenCommand::addOptions(CLI::App& app) {
    level_.addTo(app);
}

Result TokenCommand::run(Session& session, const Output&) {
    const auto login = session.service<login::ZelkorLogin>();
    const auto answer =
        session.ask([&] { return login->requestAccessTokenAdvanced(requester, level_.level()); });
    if (!answer.token) {
        const auto advice = signInAdvice(session, level_.level());
        return {.code = ExitCode::NotLoggedIn,
                .text = {},
                .note = "Nobody is logged in at the level " + levelName(level_.level()) +
                        ": there is no token (the daemon's status is " + std::to_string(answer.status) +
                        ").\n" + advice.text(),
                .json = {{"loggedIn", false}, {"status", answer.status}, {"reason", advice.reason}}};
    }
    const auto token = answer.token.getTokenString();
    return {.code = ExitCode::Ok,
            .text = (::isatty(STDOUT_FILENO) != 0 ? printable(token) : token) + "\n",
            .note = {},
            .json = {{"loggedIn", true}, {"status", answer.status}, {"token", token}}};
}

} // namespace zelkor::host
