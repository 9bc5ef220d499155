#include "host/commands/SignInAdvice.h"

#include "host/ConfigurationError.h"
#include "host/Session.h"
#include "host/commands/Command.h"
#include "host/commands/PrintableText.h"

#include <login/ZelkorLogin.h>
#include <login/control/LoginVetoer.h>

namespace zelkor::host {

namespace {

bool signInVetoed(Host& host) {
    try {
        return host.get<login::control::LoginVetoer>(among::daemonClients)->shouldVetoSignIn();
    } catch (const ConfigurationError&) {
        return false; // this host is made without
    }
}

} // namespace

SignInAdvice signInAdvice(Session& session, login::LoginInfo::Level asked) {
    constexpr auto any = login::LoginInfo::Level::None;
    const auto here = session.service<login::ZelkorLogin>();
    const auto daemon = session.host().get<login::ZelkorLogin>(among::daemonClients);
    return session.ask([&] {
        SignInAdvice advice;
        const auto identity = here->getLoginInfo(requester, any);
        advice.daemons = daemon->getLoginInfo(requester, any);
        advice.vetoed = signInVetoed(session.host());
        if (!identity.userId.empty() && identity.getLevel() < asked) {
            advice.reason = nameOf(identity) + " is, at the level " + levelName(identity.getLevel());
            advice.remedy = "zelkorlogin login --level " + levelName(asked);
        } else if (advice.vetoed) {
            advice.reason = "Signing in is vetoed: an application has called vetoSignIn(true), and nobody "
                            "can sign in until it calls vetoSignIn(false)";
        } else if (!advice.daemons.userId.empty()) {
            advice.reason = nameOf(advice.daemons) +
                            " is signed in at the daemon, which --direct asks; but that was not to be "
                            "remembered, and so is unknown to sessions that start later. To be remembered";
            advice.remedy = "zelkorlogin login --again --remember";
        } else {
            advice.reason = "To sign in";
            advice.remedy = "zelkorlogin login --remember";
        }
        return advice;
    });
}

} // namespace zelkor::host
