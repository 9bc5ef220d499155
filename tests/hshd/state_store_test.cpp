#include "hshd/state/sqlite/Database.h"
#include "tests/hshd/Fakes.h"

#include <sys/stat.h>

using namespace hshd::test;
using hshd::PersistentState;
using Store = hshd::StateStore;

namespace {

struct StateStore : Test {
    TempDirectory directory;
    const fs::path file = directory / Store::fileName;
};

void writeBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

/// Longer than a page, so that overflow pages count too.
PersistentState longState() {
    PersistentState state;
    const std::string filler(6000, 'x');
    state.sourceId = "id";
    state.signInVetoed = true;
    state.signedIn = hshd::SignedIn{person(u"ada"), AccessToken("token-" + filler), "session", std::nullopt};
    state.signedIn->info.accountType = 7;
    state.remembered = dataOf(person(u"ada"));
    state.remembered->refreshToken = "refresh-" + filler;
    state.endpoint = "endpoint-" + filler;
    return state;
}

std::string refusal(const fs::path& directory) {
    try {
        Store store(directory);
        return "opened";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

} // namespace

TEST_F(StateStore, ADamagedFileIsKeptAsideAndANewStateBegins) {
    Store(directory.path()).save(longState());
    ASSERT_EQ(Store(directory.path()).load(), longState());
    const auto whole = contentOf(file);
    std::string pageLost = whole;
    std::fill(pageLost.begin() + 4096, pageLost.begin() + 3 * 4096, '\x5a');
    std::ptrdiff_t kept = 0;
    for (const auto& damaged : {std::string(5000, 'z'), pageLost, whole.substr(0, whole.size() / 2)}) {
        writeBytes(file, damaged);
        RecordingLog log;
        EXPECT_FALSE(Store(directory.path()).load().signedIn);
        const auto lines = log.linesAt(512);
        ASSERT_EQ(lines.size(), 1U);
        std::ptrdiff_t found = 0, said = 0;
        for (const auto& entry : fs::directory_iterator(directory.path())) {
            found += entry.path().string().find(".damaged-") != std::string::npos;
            if (lines[0].text.find("'" + entry.path().string() + "'") != std::string::npos)
                said += contentOf(entry.path()) == damaged;
        }
        EXPECT_EQ(found, ++kept);
        EXPECT_EQ(said, 1);
    }
}

TEST_F(StateStore, RefusesWhatItMustNotTouch) {
    {
        const Store first(directory.path());
        EXPECT_THAT(refusal(directory.path()),
                    AllOf(HasSubstr("another hshd (process " + std::to_string(::getpid()) + ")"),
                          HasSubstr("--state-dir")));
        struct stat status {};
        ASSERT_EQ(::stat(file.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0600U);
    }
    { hshd::sqlite::Database(file).execute("PRAGMA user_version = 7"); }
    EXPECT_THAT(refusal(directory.path()), HasSubstr("has schema version 7"));
    { hshd::sqlite::Database(file).execute("PRAGMA application_id = 5"); }
    EXPECT_THAT(refusal(directory.path()), HasSubstr("another program"));
    { hshd::sqlite::Database(file).execute("PRAGMA application_id = 1752393828; PRAGMA user_version = 2"); }
    EXPECT_EQ(refusal(directory.path()), "opened");

    fs::permissions(file, fs::perms::group_read, fs::perm_options::add);
    EXPECT_THAT(refusal(directory.path()), HasSubstr("chmod 600"));
    fs::permissions(file, fs::perms::group_read, fs::perm_options::remove);
    fs::permissions(directory.path(), fs::perms::others_exec, fs::perm_options::add);
    EXPECT_THAT(refusal(directory.path()), HasSubstr("chmod 700"));
    fs::permissions(directory.path(), fs::perms::owner_all);

    TempDirectory other;
    fs::create_directory_symlink(directory.path(), other / "link");
    for (const char* end : {"link", "link/"})
        EXPECT_THAT(refusal(other / end), HasSubstr("is not a directory"));
    writeBytes(other / "file", "");
    EXPECT_THAT(refusal(other / "file"), HasSubstr("is not a directory"));
    EXPECT_EQ(refusal(other / "new" / "state"), "opened");
    EXPECT_EQ(fs::status(other / "new" / "state").permissions(), fs::perms::owner_all);
}

TEST_F(StateStore, WhatWasForgottenCannotBeReadFromTheDirectory) {
    Store store(directory.path());
    auto state = longState();
    store.save(state);
    const auto written = contentOf(store.file());
    ASSERT_NE(written.find("endpoint-x"), std::string::npos);
    EXPECT_EQ(written.find("token-x"), std::string::npos) << "secrets are sealed";
    EXPECT_EQ(written.find("refresh-x"), std::string::npos);
    state.signedIn.reset();
    state.remembered.reset();
    state.endpoint.clear();
    store.save(state);
    for (const auto& entry : fs::directory_iterator(directory.path()))
        EXPECT_EQ(contentOf(entry.path()).find("xxxx"), std::string::npos) << entry.path();
}

TEST_F(StateStore, SecretsOpenWithTheirKeyAlone) {
    auto state = longState();
    const auto now = hshd::BootClock::now();
    state.signedIn->grant = hshd::Grant{"provider", hshd::Secret("refresh"), hshd::Secret("id"), now,
                                        now + std::chrono::hours(1)};
    state.revocations.push_back({"provider", hshd::Secret("old"), true});
    Store(directory.path()).save(state);
    {
        auto loaded = Store(directory.path()).load();
        const auto ends = loaded.signedIn->grant->ends; // by the wall clock: to a millisecond or two
        EXPECT_LT(std::chrono::abs(ends - state.signedIn->grant->ends), milliseconds(1000));
        loaded.signedIn->grant = state.signedIn->grant;
        EXPECT_TRUE(loaded == state);
    }
    const auto sealed = contentOf(file);
    const auto key = contentOf(directory / "hshd.key");
    const auto loses = [&] {
        RecordingLog log;
        const auto loaded = Store(directory.path()).load();
        EXPECT_EQ(log.linesAt(512).size(), 1U);
        EXPECT_EQ(loaded.endpoint, state.endpoint) << "what is no secret stays";
        return !loaded.signedIn && !loaded.remembered && loaded.revocations.empty();
    };
    fs::remove(directory / "hshd.key");
    EXPECT_TRUE(loses());
    writeBytes(file, sealed);
    writeBytes(directory / "hshd.key", key);
    hshd::sqlite::Database(file).execute("UPDATE sign_in SET token = refresh_token");
    EXPECT_TRUE(loses()) << "each is of use in its own place only";
    writeBytes(directory / "hshd.key", "no key");
    EXPECT_THAT(refusal(directory.path()), HasSubstr("holds no key"));
}

TEST_F(StateStore, AFileOfTheFirstVersionIsTakenOverAndSealed) {
    Store(directory.path()).save(longState());
    {
        hshd::sqlite::Database database(file);
        database.execute(
            "UPDATE sign_in SET token = CAST('clear' AS BLOB);"
            "UPDATE login_data SET refresh_token = CAST('plain' AS BLOB);"
            "DELETE FROM setting WHERE name LIKE 'key%'; DROP TABLE revocation;"
            "ALTER TABLE sign_in DROP COLUMN provider; ALTER TABLE sign_in DROP COLUMN refresh_token;"
            "ALTER TABLE sign_in DROP COLUMN id_token; ALTER TABLE sign_in DROP COLUMN begins;"
            "ALTER TABLE sign_in DROP COLUMN ends; PRAGMA user_version = 1");
    }
    for (int start = 0; start < 2; ++start) {
        const auto state = Store(directory.path()).load();
        ASSERT_TRUE(state.signedIn && state.remembered);
        EXPECT_EQ(state.signedIn->token, AccessToken("clear"));
        EXPECT_EQ(state.remembered->refreshToken, "plain");
        EXPECT_EQ(contentOf(file).find("clear"), std::string::npos);
    }
}
