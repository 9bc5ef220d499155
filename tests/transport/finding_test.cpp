#include "Fixture.h"
#include "RawPeer.h"
#include "contract/calls/ServiceProperties.h"

#include <cppmicroservices/Constants.h>

#include <boost/uuid/uuid_io.hpp>

#include <sys/stat.h>

namespace transport_test {

namespace fs = std::filesystem;

namespace {

struct Finding : Test {
    TempDirectory directory;

    static std::string startError(const fs::path& where) {
        try {
            startServer(where);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return {};
    }
    static bool waitForError(Client& client, const std::string& text) {
        return eventually([&] { return client.connector().status().lastError.find(text) != text.npos; });
    }
};

} // namespace

TEST_F(Finding, RegistersWhatTheDaemonOffers) {
    auto server = startServer(directory / "s");
    Client client(directory / "s");
    client.found();
    const auto reference = client.context().GetServiceReference<core::Invokable>();
    const auto generation = boost::uuids::to_string(server->generation());
    for (const auto& [key, text] : {std::pair(core::properties::serviceName, std::string("Test")),
                                    {core::properties::serviceVersion, "2"},
                                    {core::properties::serviceRevision, "1"},
                                    {core::properties::clientId, "test-client"},
                                    {core::properties::generation, generation},
                                    {cppmicroservices::Constants::SERVICE_RANKING.c_str(), "7"}})
        EXPECT_EQ(reference.GetProperty(key).ToStringNoExcept(), text);
    const auto status = client.connector().status();
    EXPECT_EQ(status.generation, generation);
    EXPECT_EQ(status.socketPath, server->socketPath());
    EXPECT_EQ(status.lastError, "");
    client.connector().stop();
    EXPECT_FALSE(client.current());
    client.connector().start();
    client.found();
}

TEST_F(Finding, WaitsForTheDirectoryTheSocketAndEachSuccessor) {
    const auto deep = directory / "a" / "b" / "c";
    Client client(deep);
    ASSERT_TRUE(waitForError(client, "no daemon"));
    std::string generation;
    for (int round = 1; round <= 3; ++round) {
        auto server = startServer(deep);
        EXPECT_EQ(callAndHelp<int>(*client.found(), "m", round), round);
        const auto status = client.connector().status();
        EXPECT_NE(status.generation, std::exchange(generation, status.generation));
        EXPECT_EQ(status.connections, static_cast<unsigned>(round));
        server.reset();
        ASSERT_TRUE(eventually([&] { return !client.current(); }));
        if (round == 2)
            fs::remove_all(directory / "a");
    }
}

TEST_F(Finding, ASocketLeftBehindIsTakenOverALivingOneIsNot) {
    { const RawDaemon killed(directory.path()); } // leaves its socket file
    Client client(directory.path());
    ASSERT_TRUE(waitForError(client, "refused"));
    auto server = startServer(directory.path());
    client.found();
    EXPECT_THAT(startError(directory.path()),
                HasSubstr("Another daemon is listening in " + directory.path().string()));
    EXPECT_EQ(callAndHelp<int>(*client.found(), "m", 1), 1);
    server.reset();
    EXPECT_FALSE(fs::exists(directory / "hshd.sock"));
    EXPECT_EQ(startError(directory.path()), "");
}

TEST_F(Finding, UnsafePlacesAreRefusedWithAnAdvice) {
    const auto open = directory / "open";
    fs::create_directory(open);
    ::chmod(open.c_str(), 0755);
    EXPECT_THAT(startError(open), HasSubstr("chmod 700"));
    EXPECT_THROW(Client{open}, std::runtime_error);
    fs::create_symlink(directory.path(), directory / "link");
    for (const char* link : {"link", "link/", "link//", "link/."})
        EXPECT_THAT(startError(directory / link), HasSubstr("not a directory")) << link;
    EXPECT_EQ(startError(directory / "new/"), "");
    EXPECT_THAT(startError(directory / std::string(120, 'x')), HasSubstr("too long"));
    if (::geteuid() == 0) {
        ::chmod(open.c_str(), 0700);
        ASSERT_EQ(::chown(open.c_str(), 65534, 65534), 0);
        EXPECT_THAT(startError(open), HasSubstr("belongs to the user with the id 65534"));
    }
    // Made unsafe only later: not used, until it is repaired.
    const auto later = directory / "later";
    Client client(later);
    fs::create_directory(later);
    ::chmod(later.c_str(), 0770);
    ASSERT_TRUE(waitForError(client, "open to other users"));
    ::chmod(later.c_str(), 0700);
    const auto server = startServer(later);
    client.found();
}

TEST_F(Finding, ARefusalIsToldAndTriedAgain) {
    RawDaemon daemon(directory.path());
    Client client(directory.path());
    daemon.accept([](auto message) { message.initGoodbye().setText("Not today"); }).close();
    ASSERT_TRUE(waitForError(client, "Not today"));
    daemon.accept([](auto message) { message.initWelcome().setProtocolVersion(99); }).close();
    ASSERT_TRUE(waitForError(client, "protocol version 99"));
    const auto peer = daemon.welcome();
    client.found();
}

TEST_F(Finding, ADaemonThatWelcomesAndClosesIsDialledLessAndLess) {
    std::optional<RawDaemon> daemon(directory.path());
    Client client(directory.path());
    std::atomic<int> dials{0};
    {
        const auto welcoming = startThreads(1, [&](std::stop_token stop, int) {
            for (; !stop.stop_requested(); ++dials)
                daemon->welcome().close();
        });
        // 50, 100, 200, 400 and 800 ms lie between them; with the first pause each time there would be 20.
        EXPECT_FALSE(eventually([&] { return dials > 10; }, 1s)) << dials;
    }
    daemon.reset();
    // Another one in its place is found at once.
    const auto server = startServer(directory.path());
    client.found();
}

TEST_F(Finding, ALostConnectionKeepsNoDescriptorsWhoeverHoldsItsServices) {
    const auto descriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    Client client(directory / "s");
    std::vector<Invokables> held{nullptr};
    std::ptrdiff_t before = 0;
    for (int round = 0; round < 10; ++round) {
        const auto server = startServer(directory / "s");
        held.push_back(client.found(held.back()));
        if (round == 0)
            before = descriptors();
    }
    ASSERT_TRUE(eventually([&] { return !client.connector().status().connected; }));
    EXPECT_LE(descriptors(), before);
}

} // namespace transport_test
