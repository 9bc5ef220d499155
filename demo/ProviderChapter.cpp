#include "demo/ProviderChapter.h"

#include "demo/Story.h"

#include <foundation/json.h>

#include <fstream>
#include <unistd.h>

namespace demo {

namespace {

constexpr std::chrono::seconds patience{30};

std::string lineOf(int stream) {
    std::string text;
    char c = 0;
    while (::read(stream, &c, 1) == 1 && c != '\n')
        text += c;
    return text;
}

/// What follows the line that has the words, without the blank lines and spaces around it.
std::string after(int stream, const std::string& words) {
    for (std::string line = lineOf(stream); line.find(words) == std::string::npos;)
        line = lineOf(stream);
    std::string line;
    while (line.empty())
        line = lineOf(stream);
    return line.substr(line.find_first_not_of(' '));
}

std::string quoted(const std::filesystem::path& path) {
    return "'" + path.string() + "'";
}

} // namespace

ProviderChapter::ProviderChapter(Narrator& narrator, Place place)
    : narrator_(narrator), place_(std::move(place)),
      provider_("/bin/sh",
                {"-c", "exec node " + quoted(place_.provider / "provider.mjs") +
                           R"( '{"accessTokenSeconds": 3, "deviceIntervalSeconds": 1}' 2>/dev/null)"}) {
    const auto output = provider_.takeOutput();
    issuer_ = std::string(
        std::string_view(foundation::json::parse(lineOf(output.get())).as_object().at("issuer").as_string()));
    std::ofstream(place_.work / "provider.json")
        << R"({"issuer": ")" << issuer_ << R"(", "clientId": "desktop"})";
}

ProviderChapter::~ProviderChapter() {
    provider_.kill();
    provider_.wait();
}

void ProviderChapter::tell(const Shell& shell) {
    narrator_.chapter("A real identity provider: sign-in by a code, renewal, a killed daemon, sign-out");
    narrator_.say("an OpenID Connect provider runs at " + issuer_ + "; its access tokens last 3 seconds");
    hshd::DaemonProcess daemon(
        {.program = place_.hshd,
         .socketDirectory = place_.work / "run",
         .stateDirectory = place_.work / "provider-state",
         .arguments = {"--provider", place_.work / "provider.json", "--secrets", "file"},
         .errorFile = place_.work / "hshd.log"});
    daemon.start();
    signIn();
    shell.run({"status"}, 0, Shell::Shown::FirstLine);
    narrator_.expect("the provider's own data, asked with the token", atProvider("me"), "200 Ada Example");
    const auto first = token();
    narrator_.check(becomesAnother(first), "the token has ended, and is another one without anybody's doing");
    narrator_.expect("the new one is taken", atProvider("me"), "200 Ada Example");
    daemon.kill();
    daemon.start();
    narrator_.expect("the daemon is killed and started again; its token", atProvider("me"),
                     "200 Ada Example");
    const auto last = token();
    shell.run({"logout"}, 0, Shell::Shown::FirstLine);
    narrator_.check(becomesInactive(last), "the provider's introspection calls the last token inactive");
    narrator_.expect("SIGTERM to the daemon: exit code", std::to_string(daemon.stop()), "0");
}

void ProviderChapter::signIn() {
    // Without a terminal of its own, so that it says here what it says to the person.
    hshd::Child login("/bin/sh", {"-c", "exec " + quoted(place_.zelkorlogin) +
                                            " login --device --remember --socket-dir " +
                                            quoted(place_.work / "run") + " 2>&1"});
    const auto output = login.takeOutput();
    const auto address = after(output.get(), "open this address");
    const auto code = after(output.get(), "type this code");
    narrator_.say("$ zelkorlogin login --device --remember");
    narrator_.say("  it says: open " + address + " and type " + code);
    const auto person = ShellCommand::run(
        "/usr/bin/env", {"node", place_.provider / "person.mjs", address + "?user_code=" + code, "ada"});
    narrator_.expect("a person does, on another device: exit code", std::to_string(person.exitCode), "0");
    std::string said;
    for (int lines = 0; said.empty() && lines < 10; ++lines)
        said = lineOf(output.get());
    narrator_.expect("zelkorlogin", said, "Ada Example is logged in, level signed-in.");
    narrator_.expect("exit code", std::to_string(login.wait()), "0");
}

std::string ProviderChapter::token() const {
    return ShellCommand::run(place_.zelkorlogin, {"token", "--socket-dir", place_.work / "run"}).output;
}

std::string ProviderChapter::atProvider(const std::string& what, const std::string& given) const {
    hshd::Child asking("/usr/bin/env", {"node", place_.provider / "resource.mjs", issuer_, what});
    const auto output = asking.takeOutput();
    asking.give(given.empty() ? token() : given);
    auto said = lineOf(output.get());
    asking.wait();
    return said;
}

bool ProviderChapter::becomesAnother(const std::string& first) const {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (token() == first && std::chrono::steady_clock::now() < end)
        pause(std::chrono::milliseconds(100));
    return token() != first;
}

bool ProviderChapter::becomesInactive(const std::string& last) const {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (atProvider("introspect", last) != "inactive")
        if (std::chrono::steady_clock::now() > end)
            return false;
    return true;
}

} // namespace demo
