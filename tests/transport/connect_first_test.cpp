#include "Fixture.h"
#include "RawPeer.h"

namespace transport_test {

namespace {

std::size_t watches() {
    std::size_t count = 0;
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        count +=
            std::filesystem::read_symlink(entry.path(), gone).string().find("inotify") != std::string::npos;
    return count;
}

} // namespace

TEST(ConnectFirst, WatchesTheDirectoryOnlyWhenNobodyAnswers) {
    const TempDirectory directory;
    {
        RawDaemon daemon(directory.path());
        const Client client(directory.path());
        const auto peer = daemon.welcome();
        EXPECT_EQ(watches(), 0U) << "a daemon that is there is found without";
    }
    const TempDirectory empty;
    Client client(empty / "s");
    EXPECT_TRUE(eventually([] { return watches() == 1; }));
    const auto server = startServer(empty / "s");
    EXPECT_EQ(callAndHelp<int>(*client.found(), "m", 1), 1);
    client.connector().stop();
    EXPECT_EQ(watches(), 0U) << "who stops looks for no successor";
}

} // namespace transport_test
