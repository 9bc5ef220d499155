#include "Fixture.h"
#include "RawPeer.h"
#include "runtime/core/ServiceProperties.h"

#include <cppmicroservices/Constants.h>

#include <boost/uuid/uuid_io.hpp>

#include <sys/stat.h>

namespace transport_test {

namespace {

std::string startError(const std::filesystem::path& directory) {
    try {
        startServer(directory, std::make_shared<Scripted>());
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

} // namespace

TEST(Finding, RegistersWhatTheDaemonOffers) {
    TempDirectory directory;
    auto server = startServer(directory / "s", std::make_shared<Scripted>());
    Client client(directory / "s");
    const auto invokable = client.found();
    const auto reference = client.context().GetServiceReference<core::Invokable>();
    const auto text = [&](const char* key) { return reference.GetProperty(key).ToStringNoExcept(); };
    EXPECT_EQ(text(core::properties::serviceName), "Test");
    EXPECT_EQ(text(core::properties::serviceVersion), "2");
    EXPECT_EQ(text(core::properties::serviceRevision), "1");
    EXPECT_EQ(text(core::properties::clientId), "test-client");
    EXPECT_EQ(text(core::properties::generation), boost::uuids::to_string(server->generation()));
    EXPECT_EQ(
        cppmicroservices::any_cast<int>(reference.GetProperty(cppmicroservices::Constants::SERVICE_RANKING)),
        7);
    const auto status = client.connector().status();
    EXPECT_EQ(status.generation, boost::uuids::to_string(server->generation()));
    EXPECT_EQ(status.socketPath, server->socketPath());
    EXPECT_EQ(status.lastError, "");
    client.connector().stop();
    EXPECT_FALSE(client.current());
    client.connector().start();
    EXPECT_TRUE(client.found());
}

TEST(Finding, WaitsForTheDirectoryTheSocketAndEachSuccessor) {
    TempDirectory directory;
    const auto deep = directory / "a" / "b" / "c";
    Client client(deep);
    ASSERT_TRUE(eventually([&] { return contains(client.connector().status().lastError, "no daemon"); }));
    std::string generation;
    for (int round = 1; round <= 3; ++round) {
        auto server = startServer(deep, std::make_shared<Scripted>());
        EXPECT_EQ(callAndHelp<int>(*client.found(), 30s, "m", round), round);
        EXPECT_NE(client.connector().status().generation, generation);
        generation = client.connector().status().generation;
        EXPECT_EQ(client.connector().status().connections, static_cast<unsigned>(round));
        server.reset();
        ASSERT_TRUE(eventually([&] { return !client.current(); }));
        if (round == 2)
            std::filesystem::remove_all(directory / "a");
    }
}

TEST(Finding, ASocketLeftBehindIsTakenOverALivingOneIsNot) {
    TempDirectory directory;
    { const RawDaemon killed(directory.path()); } // leaves its socket file
    Client client(directory.path());
    ASSERT_TRUE(eventually([&] { return contains(client.connector().status().lastError, "refused"); }));
    auto server = startServer(directory.path(), std::make_shared<Scripted>());
    EXPECT_TRUE(client.found());
    EXPECT_TRUE(contains(startError(directory.path()),
                         "Another daemon is listening in " + directory.path().string()));
    EXPECT_EQ(callAndHelp<int>(*client.found(), 30s, "m", 1), 1);
    server.reset();
    EXPECT_FALSE(std::filesystem::exists(directory / "hshd.sock"));
    EXPECT_EQ(startError(directory.path()), "");
}

TEST(Finding, UnsafePlacesAreRefusedWithAnAdvice) {
    TempDirectory directory;
    const auto open = directory / "open";
    std::filesystem::create_directory(open);
    ::chmod(open.c_str(), 0755);
    EXPECT_TRUE(contains(startError(open), "chmod 700"));
    EXPECT_THROW(Client{open}, std::runtime_error);
    std::filesystem::create_symlink(directory.path(), directory / "link");
    EXPECT_TRUE(contains(startError(directory / "link"), "not a directory"));
    EXPECT_TRUE(contains(startError(directory / std::string(120, 'x').c_str()), "too long"));
    if (::geteuid() == 0) {
        ::chmod(open.c_str(), 0700);
        ASSERT_EQ(::chown(open.c_str(), 65534, 65534), 0);
        EXPECT_TRUE(contains(startError(open), "belongs to the user with the id 65534"));
    }
    // Made unsafe only later: not used, until it is repaired.
    Client client(directory / "later");
    std::filesystem::create_directory(directory / "later");
    ::chmod((directory / "later").c_str(), 0770);
    ASSERT_TRUE(
        eventually([&] { return contains(client.connector().status().lastError, "open to other users"); }));
    ::chmod((directory / "later").c_str(), 0700);
    const auto server = startServer(directory / "later", std::make_shared<Scripted>());
    EXPECT_TRUE(client.found());
}

TEST(Finding, ARefusalIsToldAndTriedAgain) {
    TempDirectory directory;
    RawDaemon daemon(directory.path());
    Client client(directory.path());
    daemon.accept([](auto message) { message.initGoodbye().setText("Not today"); }).close();
    ASSERT_TRUE(eventually([&] { return contains(client.connector().status().lastError, "Not today"); }));
    daemon.accept([](auto message) { message.initWelcome().setProtocolVersion(99); }).close();
    ASSERT_TRUE(
        eventually([&] { return contains(client.connector().status().lastError, "protocol version 99"); }));
    const auto peer = daemon.welcome();
    EXPECT_TRUE(client.found());
}

} // namespace transport_test
