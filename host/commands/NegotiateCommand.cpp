#include "host/commands/NegotiateCommand.h"

#include "host/commands/Refusal.h"

#include <login/detail/ZelkorLogin.h>

namespace zelkor::host {

Result NegotiateCommand::run(Session& session, const Output&) {
    const auto detail = session.service<login::detail::ZelkorLogin>();
    const auto result = session.ask([&] { return detail->negotiateLogout({}); });
    if (result.accepted)
        return {.code = ExitCode::Ok, .text = "Nobody objects.\n", .note = {}, .json = {{"accepted", true}}};
    auto refused = refusal(result, "A logout would be refused.");
    refused.json["accepted"] = false;
    return refused;
}

} // namespace zelkor::host
