#include "hshd/state/sqlite/Database.h"
#include "tests/hshd/Fakes.h"

#include <csignal>
#include <random>
#include <sys/stat.h>
#include <sys/wait.h>

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

/// A state that differs in every field, and in length, from that of another number.
PersistentState numbered(int n, const std::string& sourceId) {
    const std::string text = std::to_string(n) + std::string(static_cast<std::size_t>(n % 7 * 1500), 'x');
    PersistentState state;
    state.sourceId = sourceId;
    state.endpoint = "endpoint-" + text;
    state.signInVetoed = n % 2 == 1;
    if (n % 3 != 0) {
        LoginInfo info = person(std::u16string(text.begin(), text.end()));
        info.accountType = n;
        state.signedIn = hshd::SignedIn{info, AccessToken("token-" + text), "session-" + text};
        state.remembered.emplace().info = info;
        state.remembered->refreshToken = "refresh-" + text;
        state.remembered->rememberMe = n % 2 == 0;
    }
    return state;
}

/// Saves numbered states from `first` on and reports each with a byte, until killed.
[[noreturn]] void writeForEver(const fs::path& directory, int first, int report) {
    try {
        Store store(directory);
        const std::string sourceId = store.load().sourceId;
        for (int n = first;; ++n) {
            store.save(numbered(n, sourceId));
            if (::write(report, "+", 1) != 1)
                break;
        }
    } catch (...) {
    }
    ::_exit(3);
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

TEST_F(StateStore, AProcessKilledWhileItWritesLeavesAWholeState) {
    const PersistentState fresh = Store(directory.path()).load();
    std::mt19937 random(20240517);
    int last = 0;
    for (int round = 0; round < 50; ++round) {
        int report[2];
        ASSERT_EQ(::pipe(report), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0)
            writeForEver(directory.path(), last + 1, report[1]);
        ::close(report[1]);
        const int wanted = static_cast<int>(random() % 4);
        char byte;
        int saved = 0;
        while (saved < wanted && ::read(report[0], &byte, 1) == 1)
            ++saved;
        // A random moment within a save or two.
        const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 4000);
        while (std::chrono::steady_clock::now() < until) {
        }
        ::kill(child, SIGKILL);
        while (::read(report[0], &byte, 1) == 1)
            ++saved;
        ::close(report[0]);
        int status = 0;
        ::waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer ended by itself";

        Store store(directory.path()); // checks the file's integrity
        const PersistentState state = store.load();
        const int found = state.endpoint.empty() ? 0 : std::stoi(state.endpoint.substr(9));
        ASSERT_EQ(state, found == 0 ? fresh : numbered(found, fresh.sourceId));
        // What was reported saved is there; the save after it may have been finished too.
        ASSERT_GE(found, last + saved);
        ASSERT_LE(found, last + saved + 1);
        last = found;
    }
    for (const auto& entry : fs::directory_iterator(directory.path()))
        EXPECT_THAT(entry.path().string(), Not(HasSubstr("damaged")));
}

TEST_F(StateStore, ADamagedFileIsKeptAsideAndANewStateBegins) {
    Store(directory.path()).save(numbered(8, "first"));
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
    { hshd::sqlite::Database(file).execute("PRAGMA application_id = 1752393828; PRAGMA user_version = 1"); }
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
    PersistentState state = numbered(4, "id"); // longer than a page, so that overflow pages count too
    store.save(state);
    ASSERT_THAT(contentOf(store.file()), AllOf(HasSubstr("token-4x"), HasSubstr("refresh-4x")));
    state.signedIn.reset();
    state.remembered.reset();
    state.endpoint.clear();
    store.save(state);
    for (const auto& entry : fs::directory_iterator(directory.path()))
        EXPECT_THAT(contentOf(entry.path()), Not(HasSubstr("xxxx"))) << entry.path();
}
