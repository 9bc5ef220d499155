#include "contract/calls/Errors.h"
#include "host/Host.h"
#include "host/commands/LoginEvents.h"
#include "host/commands/PrintableText.h"
#include "tests/host/HostFixture.h"
#include "tests/host/RunningProgram.h"
#include "tests/support/People.h"

#include <foundation/json.h>
#include <login/ZelkorLogin.h>
#include <login/control/LoginVetoer.h>
#include <login/detail/ZelkorLogin.h>

#include <csignal>
#include <vector>

namespace {

using namespace zelkor::test;
using foundation::json::parse;

class Zelkorlogin : public HostFixture {};

// One framework in a process: this is the only test with a host of its own.
TEST_F(Zelkorlogin, ShowsAndEndsALoginThatAnotherProcessMadeAndDefends) {
    daemon.start();
    zelkor::host::HostOptions options;
    options.module = MODULE_FILE;
    options.connector.socketDirectory = place / "zelkor";
    zelkor::host::Host host(options);
    namespace among = zelkor::host::among;
    const auto login = host.get<login::ZelkorLogin>(among::daemonClients);
    const std::string canary = "CaNaRy-4711";
    auto info = person(u"grace");
    info.displayName = u"Grace \"Amazing\" Höpper";
    const auto vetoer = host.get<login::control::LoginVetoer>(among::daemonClients);
    vetoer->vetoSignIn(true); // what the module throws has a type of this program
    EXPECT_THROW(login->impersonate(login::AccessToken(canary), info), agent::spf::core::InvocationError);
    vetoer->vetoSignIn(false);
    login->impersonate(login::AccessToken(canary), info);
    EXPECT_THAT(zelkorlogin("status --direct").out, HasSubstr("Höpper is logged in"));
    EXPECT_THAT(zelkorlogin("status").out, // the session starts with whom the daemon remembers
                AllOf(HasSubstr("ada is logged in"),
                      HasSubstr("its login   Grace \"Amazing\" Höpper, level signed-in (2)")));
    EXPECT_EQ(zelkorlogin("token").code, 1) << "the daemon's token is not the session's";
    host.get<login::detail::ZelkorLogin>(among::daemonClients)->persistIdentity(dataOf(info));
    const auto negotiator = login->addLogoutNegotiator(
        {"editor", [](const auto&) {
             return login::NegotiatorResponse{login::Negotiator::Position::Object, u"unsaved\x1bwork"};
         }});

    EXPECT_THAT(zelkorlogin("status"),
                FieldsAre(0, HasSubstr("Grace \"Amazing\" Höpper is logged in, level signed-in (2)"), _));
    const auto status = parse(zelkorlogin("--json status").out);
    EXPECT_EQ(status.at("user").at("id").as_string(), "grace");
    EXPECT_EQ(status.at("user").at("name").as_string(), "Grace \"Amazing\" Höpper");
    EXPECT_EQ(status.at("daemon").at("generation").as_string(), host.connection().generation.c_str());
    EXPECT_EQ(status.at("component").as_string(), "login::spf::session::ZelkorLogin");
    const auto direct = parse(zelkorlogin("--json --direct status").out);
    EXPECT_EQ(direct.at("component").as_string(), login.component.c_str());
    EXPECT_FALSE(status.at("sessionId").as_string().empty());
    EXPECT_EQ(zelkorlogin("status --level confirmed").code, 1);

    const auto hidesIt = Not(HasSubstr(canary));
    EXPECT_THAT(zelkorlogin("token --log-level debug"),
                FieldsAre(0, canary + "\n", AllOf(HasSubstr("requestAccessToken"), hidesIt)));
    EXPECT_THAT(contentOf(place / "hshd.log"), hidesIt);
    EXPECT_EQ(parse(zelkorlogin("token --json").out).at("token").as_string(), canary.c_str());
    EXPECT_THAT(zelkorlogin("token --level confirmed"), FieldsAre(1, "", _));

    EXPECT_EQ(zelkorlogin("negotiate").code, 4);
    EXPECT_THAT(zelkorlogin("logout"), FieldsAre(4, _, HasSubstr("objects: unsaved\ufffdwork")));
    EXPECT_EQ(parse(zelkorlogin("logout --json").out).at("objections").at(0).as_string(), "unsaved\x1bwork");
    EXPECT_EQ(zelkorlogin("status").code, 0);
    EXPECT_THAT(zelkorlogin("logout --force"), FieldsAre(0, HasSubstr("Höpper is logged out"), _));
    EXPECT_EQ(zelkorlogin("status").code, 1);
    EXPECT_EQ(zelkorlogin("token").code, 1);
    EXPECT_TRUE(login->removeLogoutNegotiator(negotiator));
    EXPECT_THAT(zelkorlogin("logout"), FieldsAre(0, HasSubstr("Nobody was logged in"), _));

    // What is not remembered is not the next session's; whoever asks is told so.
    EXPECT_THAT(zelkorlogin("status").out, HasSubstr("To sign in:  zelkorlogin login --remember"));
    login->impersonate(login::AccessToken(canary), info);
    const auto advised = HasSubstr("Höpper is signed in at the daemon");
    EXPECT_THAT(zelkorlogin("status"), FieldsAre(1, advised, _));
    EXPECT_THAT(zelkorlogin("token"), FieldsAre(1, "", advised));
    EXPECT_THAT(zelkorlogin("token --direct --level confirmed").err,
                HasSubstr("zelkorlogin login --level confirmed"));
    vetoer->vetoSignIn(true);
    EXPECT_THAT(zelkorlogin("status").out, HasSubstr("sign-in     vetoed"));
    EXPECT_THAT(zelkorlogin("logout"), FieldsAre(0, HasSubstr("Höpper is logged out"), _));
    EXPECT_THAT(zelkorlogin("token").err, HasSubstr("Signing in is vetoed"));
}

TEST_F(Zelkorlogin, ListsWhoCouldAnswerAndNamesAWrongOrder) {
    daemon.start();
    const std::string listed = "login::detail::ZelkorLogin\n"
                               "   20  login::spf::session::ZelkorLogin, version 2\n"
                               "   10  login::spf::ZelkorLogin_";
    EXPECT_THAT(zelkorlogin("status --all"), FieldsAre(0, HasSubstr(listed), ""));
    const std::string wrong = R"({"configurations": {"hv.HalvorinServiceHost.ZelkorLoginDetail~a": {},
                                                     "hv.HalvorinServiceHost.ZelkorLogin~a": {}}})";
    const std::string advice = "Put hv.HalvorinServiceHost.ZelkorLogin before it";
    EXPECT_THAT(configured(wrong, "status").out, HasSubstr(advice));
    EXPECT_THAT(configured(wrong, "status --all").err, HasSubstr(advice));
    EXPECT_EQ(configured(R"({"sessionServices": false})", "--json status").out.find("session::"),
              std::string::npos);
}

TEST_F(Zelkorlogin, TellsWhichVersionADaemonHasAndWhichIsWanted) {
    auto old = daemonWith({"--versions", "1"});
    old.start();
    EXPECT_THAT(zelkorlogin("status --timeout 1"),
                FieldsAre(3, _, HasSubstr("offers ZelkorLogin 1.7, and ZelkorLogin 2.1 is wanted")));
    EXPECT_THAT(zelkorlogin("watch --count 1").out, HasSubstr("offers ZelkorLogin 1.7"));
}

TEST_F(Zelkorlogin, WatchesThroughTheEndOfTheDaemonUntilItIsInterrupted) {
    run("sh -c 'cd " + place.path().string() +
        "; (" ZELKORLOGIN_PROGRAM " watch --json >watch & echo $! >pid; wait $!; echo ended $? >>watch) &'");
    const auto awaitLine = [&](const std::string& part) {
        EXPECT_TRUE(eventually([&] { return contentOf(place / "watch").find(part) != std::string::npos; }))
            << part << " in\n"
            << contentOf(place / "watch");
    };
    awaitLine(R"("reason":"daemon absent")");
    daemon.start();
    awaitLine(R"("reason":"daemon found")");
    awaitLine(R"("reason":"state","level":2,"user":{"id":"ada")");
    EXPECT_EQ(zelkorlogin("negotiate").code, 0);
    EXPECT_EQ(zelkorlogin("logout").code, 0);
    awaitLine(R"("reason":"logged out","level":0)");
    daemon.kill();
    awaitLine(R"("reason":"daemon gone")");
    daemon.start(); // with somebody signed in
    awaitLine(R"("reason":"logged in","level":2)");
    EXPECT_EQ(run("kill -TERM $(cat " + (place / "pid").string() + ")").code, 0);
    awaitLine("ended 0");
}

TEST_F(Zelkorlogin, AWatchThatCannotWriteEndsAtTheFirstSignal) {
    daemon.start();
    std::vector cases{true, false};
#ifdef __SANITIZE_THREAD__
    cases.pop_back(); // it keeps signals from a thread that is inside fwrite()
#endif
    for (const bool outputIsBlocked : cases) {
        const Pipe output, errors;
        RunningProgram program(here() + ZELKORLOGIN_PROGRAM " watch" +
                                   (outputIsBlocked ? "" : " --log-level all"),
                               output.writer(), errors.writer());
        EXPECT_THAT(output.read(), HasSubstr("ada, level")); // it takes signals now
        (outputIsBlocked ? output : errors).fill();
        daemon.kill();
        daemon.start();
        EXPECT_EQ(zelkorlogin("status").code, 0); // time to be told of that
        program.signal(SIGTERM);
        EXPECT_EQ(program.end(), 0) << outputIsBlocked;
    }
}

TEST(LoginEvents, WhatIsNotTakenIsDroppedFromTheOldestAndCounted) {
    using zelkor::host::LoginEvent;
    zelkor::host::LoginEvents events;
    login::LoginInfo info;
    info.userId.assign(100'000, u'x');
    for (int level = 0; level < 600; ++level) {
        info.level = static_cast<login::LoginInfo::Level>(level);
        events.push(LoginEvent::state(info));
    }
    const auto first = events.wait();
    EXPECT_EQ(first->kind, LoginEvent::Kind::Dropped);
    EXPECT_GT(first->dropped, 0);
    for (int level = first->dropped; level < 600; ++level) {
        const auto event = events.wait();
        EXPECT_EQ(static_cast<int>(event->info.level), level);
        EXPECT_LE(event->info.userId.size(), 16u * 1024);
    }
}

TEST_F(Zelkorlogin, ALoginWithATimeoutEndsWithItWhateverIsMissing) {
    startWithRules("");
    RunningProgram unanswered(here() + ZELKORLOGIN_PROGRAM " login --again --timeout 1");
    EXPECT_THAT(unanswered.screen(),
                AllOf(HasSubstr("Account: "),
                      HasSubstr("no outcome within the 1 s of --timeout; the request was aborted")));
    EXPECT_EQ(unanswered.end(), 3);
    misbehaving.stop();
    startWithRules(R"({"method": "requestLoginAsync", "do": "never"})");
    EXPECT_THAT(zelkorlogin("login --timeout 1"), FieldsAre(3, _, HasSubstr("requestLoginAsync")))
        << "no answer is no refusal";
}

TEST_F(Zelkorlogin, AVetoHoldsWhileItsProgramRuns) {
    EXPECT_EQ(zelkorlogin("veto --timeout 1 -- true").code, 3) << "without a daemon nothing runs";
    daemon.start();
    const std::string logout = ZELKORLOGIN_PROGRAM " logout";
    EXPECT_THAT(zelkorlogin("veto --reason 'a backup' -- sh -c '" + logout + "'"),
                FieldsAre(4, _, HasSubstr("objects: a backup")));
    EXPECT_EQ(zelkorlogin("veto -- sh -c 'kill -KILL $$'").code, 128 + SIGKILL);
    EXPECT_THAT(zelkorlogin("veto -- /nowhere"), FieldsAre(127, "", HasSubstr("No such file")));
    RunningProgram passesOn(here() + ZELKORLOGIN_PROGRAM " veto -- sleep 600");
    EXPECT_TRUE(eventually([&] { return zelkorlogin("negotiate").code == 4; }));
    passesOn.signal(SIGTERM);
    EXPECT_EQ(passesOn.end(), 128 + SIGTERM);
    EXPECT_EQ(run(logout).code, 0);
}

TEST_F(Zelkorlogin, TheTimeoutIsForAllAnswersTogether) {
    const auto expectNoAnswer = [&](const std::string& rule, const std::string& reason) {
        startWithRules(rule);
        EXPECT_THAT(zelkorlogin("status --timeout 1"), FieldsAre(3, "", HasSubstr(reason))) << rule;
        EXPECT_EQ(parse(zelkorlogin("status --timeout 1 --json").out).at("exitCode").as_int64(), 3);
        misbehaving.stop();
    };
    expectNoAnswer(R"({"method": "*", "do": "late", "ms": 800})", "within the 1 s of --timeout");
    expectNoAnswer(R"({"method": "getLoginInfo", "do": "never"})", "getLoginInfo");
    expectNoAnswer(R"({"method": "getLoginInfo", "do": "wrong-type"})", "not of the kind that was asked for");
}

TEST_F(Zelkorlogin, WhatADaemonSaysIsHarmlessAndShortInATerminal) {
    const std::string text = R"(\u001b[2J\nzelkorlogin: forged\u007f\u009b31m)";
    startWithRules(R"({"method": "getLoginInfo", "do": "error", "text": ")" + text +
                   std::string(20'000, 'x') + R"("})");
    const auto harmless = [](const std::string& shown) {
        return std::string_view(shown).find_first_of("\x1b\x7f") == std::string::npos &&
               shown.find("\u009b") == std::string::npos && shown.find("\nzelkorlogin") == std::string::npos;
    };
    for (const auto* command : {"status --direct", "--json status --direct"}) {
        const auto ended = zelkorlogin(command);
        EXPECT_EQ(ended.code, 3);
        EXPECT_TRUE(harmless(ended.out)) << ended.out;
        EXPECT_TRUE(harmless(ended.err)) << ended.err;
        EXPECT_LE(ended.err.size(), 16u * 1024 + 200) << command;
        EXPECT_THAT(ended.out + ended.err, HasSubstr("forged"));
    }
    EXPECT_EQ(zelkor::host::printable(std::string(20'000, 'x')).size(), 16u * 1024);
    EXPECT_THAT(zelkorlogin("--json status --direct").out, HasSubstr(R"(\u001b[2J)"));
}

TEST_F(Zelkorlogin, AnAbsentOrSilentDaemonIsToldFromALoggedOutUser) {
    const auto socket = (place / "zelkor/hshd.sock").string();
    const auto expectAbsent = [&](const Ended& ended) {
        const auto advice = "hshd --socket-dir '" + (place / "zelkor").string() + "'";
        EXPECT_THAT(ended, FieldsAre(3, "", AllOf(HasSubstr(socket), HasSubstr(advice))));
    };
    for (const auto* command : {"status --timeout 1", "logout --force --timeout 1"})
        expectAbsent(zelkorlogin(command));
    const auto json = parse(zelkorlogin("token --timeout 1 --json").out);
    EXPECT_EQ(json.at("exitCode").as_int64(), 3);
    EXPECT_THAT(std::string(json.at("error").as_string()), HasSubstr(socket));

    daemon.start();
    for (const auto* command : {"status", "token", "logout", "logout --force"}) {
        // No time for an answer, as with a daemon that hangs.
        const auto ended = configured(
            R"({"configurations": {"hv.HalvorinServiceHost.ZelkorLogin~x": {"timeouts::call": 0}}})",
            command);
        EXPECT_THAT(ended, FieldsAre(3, "", HasSubstr("did not answer"))) << command;
    }
    EXPECT_EQ(zelkorlogin("status").code, 0); // nobody was logged out by that
    ASSERT_EQ(::kill(daemon.pid(), SIGSTOP), 0);
    const auto hung = zelkorlogin("status --timeout 1");
    EXPECT_THAT(hung, FieldsAre(3, "", HasSubstr("kill -CONT " + std::to_string(daemon.pid()))));
    EXPECT_THAT(hung.err, Not(HasSubstr("Start it with"))) << "it is there";
    ASSERT_EQ(::kill(daemon.pid(), SIGCONT), 0);
    daemon.kill();
    expectAbsent(zelkorlogin("status --timeout 1"));
}

} // namespace
