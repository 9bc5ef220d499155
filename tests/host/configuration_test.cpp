#include "tests/host/HostFixture.h"

#include <filesystem>

namespace {

using namespace zelkor::test;

class HostConfiguration : public HostFixture {};

TEST_F(HostConfiguration, WhatCannotBeUsedIsNamedWithItsFileAndPlace) {
    const auto complain = [&](const std::string& json, const std::string& complaint) {
        const auto file = (place / "host.json").string();
        EXPECT_THAT(configured(json), FieldsAre(2, "", AllOf(HasSubstr(file), HasSubstr(complaint)))) << json;
    };
    complain("", "line 1");
    complain("{\"clientId\":\n \"canary\" x}", "line 2");
    complain("[]", "must hold one JSON object");
    complain(R"({"socketDir": "x"})", "'socketDir' is no key of this file; the keys are bundle, ");
    complain(R"({"socketDirectory": 1})", "'socketDirectory' must be a text");
    complain(R"({"clientId": ""})", "'clientId' must be a text, and not empty");
    complain(R"({"desktopServices": "yes"})", "'desktopServices' must be true or false");
    complain(R"({"configurations": ["pid"]})", "'configurations' must be an object");
    complain(R"({"configurations": {"a~": {}}})", "'configurations' > 'a~' is no pid");
    complain(R"({"configurations": {"a~b": 1}})", "'configurations' > 'a~b' must be an object");
    complain(R"({"configurations": {"a~b": {"k": [1, null]}}})",
             "'configurations' > 'a~b' > 'k' > '1' is null");
    complain(R"({"configurations": {"a~b": {"k": 2147483648}}})", "'k' is too large");
    complain(R"({"configurations": {"a~b": {"k": 1, "K": 2}}})", "'K' is there twice");
}

TEST_F(HostConfiguration, WhatCannotBeSetUpIsAConfigurationErrorAndSaysWhatToDo) {
    const auto complain = [&](const Ended& ended, const std::string& complaint) {
        EXPECT_THAT(ended, FieldsAre(2, "", HasSubstr(complaint)));
    };
    EXPECT_THAT(zelkorlogin("--version"), FieldsAre(0, MatchesRegex("zelkorlogin [0-9.]+\n"), ""));
    complain(zelkorlogin(""), "A subcommand is required");
    complain(zelkorlogin("status --timeout 0"), "--timeout");
    complain(zelkorlogin("status --level high"), "--level");
    complain(zelkorlogin("status --log-level loud"), "loud");
    complain(zelkorlogin("status --config /nowhere.json"), "/nowhere.json: cannot be read: No such file");
    complain(zelkorlogin("status --bundle nowhere.so"), "nowhere.so");
    complain(configured(R"({"bundle": "host.json"})"), (place / "host.json").string());
    complain(configured(R"({"configurations": {}})"), "no component provides login::ZelkorLogin");
    complain(configured(R"({"desktopServices": false})"), "desktop services: no");
    const auto complainOf = [&](const std::string& pid, const std::string& properties,
                                const std::string& complaint) {
        complain(configured(R"({"configurations": {")" + pid + "\": {" + properties + "}}}", "status"),
                 complaint);
    };
    const std::string pid = "hv.HalvorinServiceHost.ZelkorLogin~mine";
    complainOf("hv.HalvorinServiceHost.ZelcorLogin~mine", "",
               "Was hv.HalvorinServiceHost.ZelkorLogin meant?");
    complainOf("zelkor~mine", "", "Its pids are hv.HalvorinServiceHost.");
    complainOf(pid, R"("timeout::call": 3)", "Was 'timeouts::call' meant?");
    complainOf(pid, R"("timeouts::call": "3")", "a number of whole seconds");
    std::filesystem::create_directory(place / "zelkor");
    std::filesystem::permissions(place / "zelkor", std::filesystem::perms::all);
    complain(zelkorlogin("status"), "chmod 700");
}

TEST_F(HostConfiguration, AFileIsUsedAndTheCommandLineStandsAboveIt) {
    daemon.start();
    const std::string file = R"({
        "bundle": ")" MODULE_FILE R"(", "clientId": "from-file", "desktopServices": true,
        "socketDirectory": "elsewhere",
        "configurations": {"hv.HalvorinServiceHost.ZelkorLogin~mine": {"a": [1, 1.5, "x", true, {"b": 2}]}}})";
    EXPECT_THAT(configured(file), FieldsAre(3, _, HasSubstr((place / "elsewhere/hshd.sock").string())));
    const auto options = "status --direct --timeout 60 --socket-dir '" + (place / "zelkor").string() + "'";
    EXPECT_THAT(configured(file, options),
                FieldsAre(0, HasSubstr("hv.HalvorinServiceHost.ZelkorLogin~mine"), _));
    EXPECT_THAT(contentOf(place / "hshd.log"), HasSubstr("from-file"));
}

} // namespace
