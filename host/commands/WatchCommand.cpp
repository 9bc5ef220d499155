#include "host/commands/WatchCommand.h"

#include "contract/records/Utf.h"
#include "host/commands/LoginEvents.h"
#include "host/commands/PrintableText.h"

#include <login/ZelkorLogin.h>

#include <CLI/CLI.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>

#include <memory>

namespace zelkor::host {

namespace {

using login::LoginInfo;

/// Time enough for a connection to a daemon that runs.
constexpr std::chrono::milliseconds connecting{500};

/// UTC with milliseconds, as in the log.
std::string asText(std::chrono::system_clock::time_point time) {
    const auto since = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
    const boost::posix_time::ptime epoch(boost::gregorian::date(1970, 1, 1));
    auto text = to_iso_extended_string(epoch + boost::posix_time::milliseconds(since.count()));
    text.resize(19);
    const auto millis = std::to_string(1000 + since.count() % 1000);
    return text + "." + millis.substr(1) + "Z";
}

/// Makes a line of each event, and of a state the difference from the one before.
class Reporter {
public:
    explicit Reporter(const Output& output) : output_(output) {}

    /// False when it cannot be written.
    bool report(const LoginEvent& event) {
        const auto reason = reasonOf(event);
        const auto time = asText(event.time);
        if (output_.json) {
            foundation::json::object line{{"time", time}, {"reason", reason}};
            if (event.kind == LoginEvent::Kind::State) {
                line["level"] = static_cast<int>(event.info.getLevel());
                if (!event.info.userId.empty())
                    line["user"] = {{"id", login::toUtf8(event.info.userId)},
                                    {"name", login::toUtf8(event.info.displayName)}};
            } else if (event.kind == LoginEvent::Kind::DaemonFound) {
                line["generation"] = event.generation;
            } else if (event.kind == LoginEvent::Kind::DaemonGone && !event.why.empty()) {
                line["why"] = event.why;
            } else if (event.kind == LoginEvent::Kind::Dropped) {
                line["count"] = event.dropped;
            }
            return output_.write(jsonLine(line));
        }
        return output_.write(time + "  " + reason + ": " + stateOf(event) + "\n");
    }

private:
    std::string reasonOf(const LoginEvent& event) {
        if (event.kind == LoginEvent::Kind::DaemonFound)
            return "daemon found";
        if (event.kind == LoginEvent::Kind::DaemonGone)
            return known_ ? "daemon gone" : "daemon absent";
        if (event.kind == LoginEvent::Kind::Dropped)
            return "dropped";
        const auto before = std::exchange(known_, event.info);
        if (!before)
            return "state";
        if (before->userId == event.info.userId)
            return before->getLevel() == event.info.getLevel() ? "unchanged" : "level changed";
        return event.info.userId.empty() ? "logged out"
               : before->userId.empty()  ? "logged in"
                                         : "another user";
    }
    static std::string stateOf(const LoginEvent& event) {
        if (event.kind == LoginEvent::Kind::DaemonFound)
            return "generation " + printable(event.generation);
        if (event.kind == LoginEvent::Kind::DaemonGone)
            return event.why.empty() ? "waiting for one" : printable(event.why);
        if (event.kind == LoginEvent::Kind::Dropped)
            return std::to_string(event.dropped) + ", which came faster than they were read";
        const auto level = event.info.getLevel();
        return event.info.userId.empty() ? "nobody"
                                         : nameOf(event.info) + ", level " + levelName(level) + " (" +
                                               std::to_string(static_cast<int>(level)) + ")";
    }

    const Output& output_;
    std::optional<LoginInfo> known_;
};

} // namespace

void WatchCommand::addOptions(CLI::App& app) {
    app.add_option("--count", count_, "End after so many lines")
        ->type_name("N")
        ->check(CLI::PositiveNumber.description(""));
}

Result WatchCommand::run(Session& session, const Output& output) {
    auto& host = session.host();
    const auto login =
        host.get<login::ZelkorLogin>(among::daemonClients); // a session tells of its own changes only
    // Shared, for a listener that has begun may still be running when it has been removed.
    const auto events = std::make_shared<LoginEvents>();
    auto token = host.onDaemon([events](const std::string& generation) {
        events->push(generation.empty() ? LoginEvent::daemonGone() : LoginEvent::daemonFound(generation));
    });
    Reporter reporter(output);
    bool registered = false;
    const auto registerListener = [&] {
        // Never removed: that may take a daemon's time, and the registration ends with the connection.
        login->addStatusListenerV2(
            [events](const LoginInfo& now, const LoginInfo&) { events->push(LoginEvent::state(now)); });
        // The state it begins with, for a daemon that is there already tells changes only. First, because a
        // change may have come in meanwhile.
        events->pushFirst(LoginEvent::state(login->getLoginInfo(requester, LoginInfo::Level::Identified)));
        registered = true;
    };
    if (host.awaitDaemon(connecting))
        registerListener();
    else // one that comes is waited for here, where a signal ends the waiting
        events->pushFirst(LoginEvent::daemonGone(session.noDaemon("so far").what()));

    for (int lines = 0; count_ == 0 || lines < count_; ++lines) {
        const auto event = events->wait();
        if (!event || !reporter.report(*event))
            break;
        if (!registered && event->kind == LoginEvent::Kind::DaemonFound)
            registerListener();
    }
    host.stopTelling(std::move(token));
    return {.code = ExitCode::Ok, .text = {}, .note = {}, .json = {}};
}

} // namespace zelkor::host
