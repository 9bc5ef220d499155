#pragma once

#include "hshd/process/DaemonProcess.h"
#include "tests/support/Eventually.h"
#include "tests/support/TempDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/wait.h>

namespace zelkor::test {

using namespace testing;

/// What a program did.
struct Ended {
    int code = -1;
    std::string out, err;
    friend void PrintTo(const Ended& ended, std::ostream* to) {
        *to << ended.code << "\nout: " << ended.out << "\nerr: " << ended.err;
    }
};

/// A daemon, not started yet, and programs run beside it.
class HostFixture : public testing::Test {
protected:
    TempDirectory place;
    hshd::DaemonProcess daemon = daemonWith({"--signed-in", "ada:2"});
    hshd::DaemonProcess misbehaving = daemonWith(
        {"--signed-in", "ada:2", "--accounts", place / "accounts.json", "--script", place / "script.json"});

    hshd::DaemonProcess daemonWith(std::vector<std::string> arguments) const {
        return hshd::DaemonProcess({.program = HSHD_PROGRAM,
                                    .socketDirectory = place / "zelkor",
                                    .stateDirectory = place / "state",
                                    .arguments = std::move(arguments),
                                    .errorFile = place / "hshd.log"});
    }
    /// Before a shell command.
    std::string here() const { return "XDG_RUNTIME_DIR='" + place.path().string() + "' "; }
    /// A shell command in which programs find the daemon by themselves.
    Ended run(const std::string& command) const {
        const auto status = std::system((here() + command + " >'" + (place / "out").string() + "' 2>'" +
                                         (place / "err").string() + "' </dev/null")
                                            .c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(place / "out"),
                contentOf(place / "err")};
    }
    Ended zelkorlogin(const std::string& arguments) const {
        return run(std::string(ZELKORLOGIN_PROGRAM) + ' ' + arguments);
    }
    /// Signed in as usual, and misbehaving by these rules.
    void startWithRules(const std::string& rules) {
        std::ofstream(place / "accounts.json") << R"({"accounts": [{"name": "ada"}]})";
        std::filesystem::permissions(place / "accounts.json", std::filesystem::perms::owner_read);
        std::ofstream(place / "script.json") << "{\"rules\": [" + rules + "]}";
        misbehaving.start();
    }
    /// Run with this configuration file.
    Ended configured(const std::string& json, const std::string& arguments = "status --timeout 1") const {
        std::ofstream(place / "host.json") << json;
        return zelkorlogin(arguments + " --config '" + (place / "host.json").string() + "'");
    }
};

} // namespace zelkor::test
