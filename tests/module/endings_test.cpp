// Clients, daemons, callbacks and pools that end across each other.

#include "tests/module/Subjects.h"

namespace {

using namespace login;
using namespace zelkor::test;

// --- every operation, every end, every moment

enum class End { OwnCallback, OtherThread, DaemonKilled, DaemonReplaced, PoolsStopped, FrameworkStopped };
enum class Moment { BeforeTheSend, BeforeTheReply, InTheCall };

/// The operation's answer was the daemon's; otherwise what is documented for a daemon that cannot answer.
enum class Outcome { Real, Fallback };

struct Operation {
    std::string name;
    std::string method; ///< the remote one
    std::function<Outcome(AnyClient&)> run;
    bool always = false; ///< it succeeds here whatever happens to the daemon
};

class Endings : public TestWithParam<std::tuple<Subject, End>> {
protected:
    struct Cell {
        explicit Cell(const Subject& subject)
            : log(subject.component), daemon(framework.context(), subject) {}

        RecordingLog log;
        TestFramework framework;
        Executor callbacks{{.minThreads = 1, .maxThreads = 8, .name = "callbacks"}};
        Executor events{{.minThreads = 1, .maxThreads = 8, .name = "events"}};
        CallingDaemon daemon;
        std::optional<CallingDaemon> better;
        std::optional<AnyClient> client;
        FakeDaemon::Call exportOfEnd;
        std::shared_ptr<std::atomic<int>> outcomes = std::make_shared<std::atomic<int>>(0);
        std::shared_ptr<std::atomic<int>> failures = std::make_shared<std::atomic<int>>(0);
    };

    static std::vector<Operation> operationsOf(const AnyClient& client, Cell& cell) {
        std::vector<Operation> all;
        if (client.login != nullptr) {
            all.push_back({"call", "completeLogout", [](auto& own) {
                               try {
                                   own.detail->completeLogout();
                                   return Outcome::Real;
                               } catch (const std::runtime_error&) {
                                   return Outcome::Fallback;
                               }
                           }});
            all.push_back({"attempt", "getRelease", [](auto& own) {
                               const auto release = own.detail->getRelease();
                               EXPECT_THAT(release, AnyOf("", "r"));
                               return release == "r" ? Outcome::Real : Outcome::Fallback;
                           }});
            all.push_back({"negotiate", "negotiateLogout", [](auto& own) {
                               const auto result = own.detail->negotiateLogout({1});
                               EXPECT_EQ(result.accepted, result.objections.empty());
                               return result.accepted ? Outcome::Fallback : Outcome::Real;
                           }});
            all.push_back({"add", "addStatusListenerV2",
                           [](auto& own) {
                               const auto id = own.login->addStatusListenerV2([](auto&, auto&) {});
                               EXPECT_FALSE(id.isEmpty());
                               return Outcome::Real;
                           },
                           true});
            all.push_back({"remove", "removeStatusListener", nullptr, true});
        }
        if (client.interactive != nullptr) {
            all.push_back({"request", "requestLoginAsync",
                           [&cell](auto& own) {
                               own.interactive->requestLoginAsync(
                                   "me",
                                   [outcomes = cell.outcomes, failures = cell.failures](auto, auto error) {
                                       *failures += error != nullptr;
                                       ++*outcomes;
                                   },
                                   LoginInfo::Level::SignedIn, {});
                               return Outcome::Real; // its outcome is looked at when all has ended
                           },
                           true});
            if (client.login == nullptr)
                all.push_back({"abort", "abort",
                               [](auto& own) {
                                   own.interactive->abort();
                                   return Outcome::Real;
                               },
                               true});
        }
        return all;
    }

    void run(std::size_t number, Moment moment);
    void bringAbout(Cell& cell);
    static std::string methodFor(const Subject& subject, const Operation& operation) {
        const bool oneForm = subject.name == "V2" && operation.method == "addStatusListenerV2";
        return oneForm ? "addStatusListener" : operation.method;
    }
    /// Exports a function through the client by which the daemon can have it destroyed.
    static void exportEnd(Cell& cell) {
        const auto end = [&cell] { cell.client->end(); };
        if (cell.client->login != nullptr)
            cell.client->login->addLogoutVetoer([end] {
                end();
                return false;
            });
        else
            cell.client->interactive->requestLogoutAsync(
                [end](auto error) {
                    if (!error)
                        end();
                },
                {});
        cell.exportOfEnd = cell.daemon.calls().back();
    }
};

void Endings::bringAbout(Cell& cell) {
    const auto beside = [](auto work) { ASSERT_TRUE(comes(std::async(std::launch::async, work))); };
    switch (std::get<1>(GetParam())) {
    case End::OwnCallback:
        beside([&] { CallingDaemon::callBack(*cell.daemon.callbacks(), cell.exportOfEnd); });
        EXPECT_EQ(cell.client->owner, nullptr);
        break;
    case End::OtherThread:
        beside([&] { cell.client->end(); });
        break;
    case End::DaemonKilled:
        cell.daemon.disappear();
        break;
    case End::DaemonReplaced:
        cell.better.emplace(cell.framework.context(), std::get<0>(GetParam()), 10);
        cell.better->appear();
        break;
    case End::PoolsStopped:
        cell.events.stop();
        cell.callbacks.stop();
        break;
    case End::FrameworkStopped:
        cell.framework.stop();
        break;
    }
}

void Endings::run(std::size_t number, Moment moment) {
    const auto& [subject, end] = GetParam();
    const bool clientEnds = end == End::OwnCallback || end == End::OtherThread;
    Cell cell(subject);
    const bool waitsForLong = moment != Moment::BeforeTheSend || clientEnds || end == End::DaemonReplaced;
    cell.client.emplace(subject.make(10, waitsForLong ? 3600 : 0,
                                     agent::spf::cppmsclientutils::Executors(cell.callbacks, cell.events)));
    const auto found = "Found an invokable for " + subject.identity.text();
    cell.daemon.appear();
    ASSERT_TRUE(cell.log.waitFor(16, found));
    ASSERT_TRUE(eventually([&] { return cell.events.statistics().queues == 0; })); // its state is asked for
    exportEnd(cell);
    auto operation = operationsOf(*cell.client, cell).at(number);
    if (operation.name == "remove")
        operation.run = [id = cell.client->login->addStatusListenerV2([](auto&, auto&) {})](auto& own) {
            EXPECT_TRUE(own.login->removeStatusListener(id));
            return Outcome::Real;
        };
    SCOPED_TRACE(operation.name + ", moment " + std::to_string(static_cast<int>(moment)));
    const auto method = methodFor(subject, operation);
    const auto fail = [end = end](const FakeDaemon::Call& call) {
        if (end == End::DaemonKilled)
            call.handler.onError(
                std::make_exception_ptr(agent::spf::core::DisconnectedError("the daemon died")));
        return end == End::DaemonKilled;
    };

    std::latch isIn(1), fire(1);
    std::future<void> fired;
    if (moment == Moment::BeforeTheSend) {
        // Called while there is a daemon, and ends the client when there is none.
        if (end == End::OwnCallback) {
            fired = std::async(std::launch::async, [&] {
                const agent::spf::core::CallbackScope scope;
                isIn.count_down();
                fire.wait();
                cell.client->end();
            });
            isIn.wait();
        }
        cell.daemon.disappear();
        ASSERT_TRUE(cell.log.waitFor(16, "Invokable for " + subject.identity.text() + " was removed"));
    } else if (moment == Moment::BeforeTheReply) {
        cell.daemon.hold(method);
    } else {
        cell.daemon.on(method, [&, this](const FakeDaemon::Call& call) {
            bringAbout(cell);
            if (!fail(call))
                call.answer(cell.daemon.resultOf(method));
        });
    }

    auto result = std::async(std::launch::async, [&operation, client = cell.client->unowned()]() mutable {
        return operation.run(client);
    });
    if (moment == Moment::BeforeTheSend) {
        ASSERT_TRUE(eventually([&] { return cell.log.mentions("Waiting for up to ") != 0; }));
        if (end == End::OwnCallback) {
            fire.count_down();
            ASSERT_TRUE(comes(fired));
        } else if (end != End::DaemonKilled) {
            bringAbout(cell);
        }
        if (end == End::PoolsStopped)
            cell.daemon.appear(); // nobody notices
    } else if (moment == Moment::BeforeTheReply) {
        ASSERT_TRUE(cell.daemon.waitForHeld(1));
        bringAbout(cell);
        if (end == End::DaemonKilled)
            cell.daemon.failHeld();
        else
            cell.daemon.release(cell.daemon.resultOf(method));
    }
    ASSERT_TRUE(comes(result));
    const bool real = moment == Moment::BeforeTheSend ? end == End::DaemonReplaced : end != End::DaemonKilled;
    EXPECT_EQ(result.get(), real || operation.always ? Outcome::Real : Outcome::Fallback);

    if (operation.name == "request") {
        const auto sent = cell.daemon.last(method);
        const bool completed = end == End::PoolsStopped && sent;
        if (completed)
            CallingDaemon::callBack(*cell.daemon.callbacks(), *sent);
        if (cell.client->owner && !completed)
            cell.client->end();
        EXPECT_TRUE(eventually([&] { return *cell.outcomes == 1; }));
        EXPECT_EQ(*cell.failures, completed ? 0 : 1);
    }
    cell.client->end();
    cell.callbacks.stop();
    cell.events.stop();
    EXPECT_LE(*cell.outcomes, 1);
}

TEST_P(Endings, EveryOperationEndsAsDocumented) {
    std::size_t count = 0;
    {
        Cell cell(std::get<0>(GetParam()));
        count = operationsOf(std::get<0>(GetParam()).make(10, 0, std::nullopt), cell).size();
    }
    for (std::size_t operation = 0; operation < count; ++operation) {
        for (const auto moment : {Moment::BeforeTheSend, Moment::BeforeTheReply, Moment::InTheCall})
            ASSERT_NO_FATAL_FAILURE(run(operation, moment));
    }
}

std::string nameOf(const TestParamInfo<std::tuple<Subject, End>>& cell) {
    static const char* const ends[] = {"OwnCallback",    "OtherThread",  "DaemonKilled",
                                       "DaemonReplaced", "PoolsStopped", "FrameworkStopped"};
    return std::get<0>(cell.param).name + ends[static_cast<int>(std::get<1>(cell.param))];
}

INSTANTIATE_TEST_SUITE_P(All, Endings,
                         Combine(Values(Subject::version2(), Subject::version1(),
                                        Subject::interactiveVersion2()),
                                 Values(End::OwnCallback, End::OtherThread, End::DaemonKilled,
                                        End::DaemonReplaced, End::PoolsStopped, End::FrameworkStopped)),
                         nameOf);

} // namespace
