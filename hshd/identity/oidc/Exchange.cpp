#include "hshd/identity/oidc/Exchange.h"

#include "hshd/Log.h"
#include "hshd/process/Child.h"

#include <foundation/json.h>
#include <foundation/unique_fd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <sodium.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace hshd::oidc {
namespace {

namespace fs = std::filesystem;
namespace json = foundation::json;

constexpr const char* keptName = "hshd.exchange";
constexpr const char* lockName = "hshd.exchange.lock";
constexpr const char* purpose = "exchange";
constexpr std::chrono::milliseconds betweenTries{50};
constexpr std::size_t mostBytes = 4U << 20;

std::string textAt(const json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    return value && value->is_string() ? std::string(std::string_view(value->get_string())) : std::string();
}

std::string hashOf(const Secret& token) {
    std::array<unsigned char, crypto_generichash_BYTES> hash{};
    const auto text = token.view();
    crypto_generichash(hash.data(), hash.size(), reinterpret_cast<const unsigned char*>(text.data()),
                       text.size(), nullptr, 0);
    return toHex({reinterpret_cast<const char*>(hash.data()), hash.size()});
}

std::string readFile(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// Whole and on the disk, or not at all.
bool writeFile(const fs::path& path, std::string_view text) {
    const fs::path unfinished = path.string() + ".new";
    const foundation::UniqueFd file(
        ::open(unfinished.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
    const foundation::UniqueFd folder(::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return file && ::write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
           ::fsync(file.get()) == 0 && ::rename(unfinished.c_str(), path.c_str()) == 0 &&
           ::fsync(folder.get()) == 0;
}

std::int64_t wallMilliseconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

/// Of a time of the wall clock, which alone outlives a restart of the machine.
BootClock::time_point bootTime(std::int64_t wall) {
    return BootClock::now() - std::chrono::milliseconds(std::max<std::int64_t>(0, wallMilliseconds() - wall));
}

json::object toJson(const net::HttpAnswer& answer, const std::string& about, std::int64_t asked) {
    return {{"about", about},
            {"asked", asked},
            {"failure", answer.failure ? static_cast<int>(*answer.failure) : -1},
            {"problem", answer.problem},
            {"status", answer.status},
            {"retryAfter", answer.retryAfter ? answer.retryAfter->count() : -1},
            {"body", answer.body}};
}

net::HttpAnswer fromJson(const json::object& object) {
    net::HttpAnswer answer;
    if (const auto failure = object.at("failure").as_int64(); failure >= 0)
        answer.failure = static_cast<net::HttpAnswer::Failure>(failure);
    answer.problem = textAt(object, "problem");
    answer.status = object.at("status").as_int64();
    if (const auto seconds = object.at("retryAfter").as_int64(); seconds >= 0)
        answer.retryAfter = std::chrono::seconds(seconds);
    answer.body = textAt(object, "body");
    return answer;
}

net::HttpAnswer brokenAnswer(const std::string& problem) {
    net::HttpAnswer answer;
    answer.failure = net::HttpAnswer::Failure::Broken;
    answer.problem = problem;
    return answer;
}

} // namespace

void Exchange::run(const net::HttpRequest& request, const Secret& refreshToken, const Done& done) {
    const foundation::UniqueFd lock(
        ::open((parts_.directory / lockName).c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!lock) {
        done(brokenAnswer("the state directory cannot be used: " + std::string(std::strerror(errno))),
             BootClock::now());
        return;
    }
    if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) { // a former daemon's is still at it
        parts_.network.after(betweenTries,
                             [this, request, refreshToken, done] { run(request, refreshToken, done); });
        return;
    }
    const auto about = hashOf(refreshToken);
    if (!findKept(about, done))
        start(request, about, lock.get(), done);
}

bool Exchange::findKept(const std::string& about, const Done& done) const {
    const auto sealed = readFile(parts_.directory / keptName);
    if (sealed.empty())
        return false;
    try {
        const auto text = parts_.vault.open(sealed, purpose);
        const auto document = json::parse(text.view()).as_object();
        if (textAt(document, "about") == about) {
            logger().log(Severity::info, "Tokens that a former daemon was given are taken over");
            done(fromJson(document), bootTime(document.at("asked").as_int64()));
            return true;
        }
    } catch (const std::exception& error) {
        logger().log(Severity::warning,
                     std::string("The answer of a former exchange cannot be read: ") + error.what());
    }
    forget(); // of a session that is gone
    return false;
}

void Exchange::start(const net::HttpRequest& request, const std::string& about, int lock, const Done& done) {
    try {
        Wiped task(json::serialize(json::object{{"url", request.url},
                                                {"form", request.form.view()},
                                                {"authorization", request.authorization.view()},
                                                {"caFile", request.caFile.string()},
                                                {"about", about},
                                                {"directory", parts_.directory.string()},
                                                {"key", toHex(parts_.vault.key().view())}}));
        auto child = std::make_shared<Child>(parts_.program, std::vector<std::string>{"--exchange"}, lock);
        if (!child->give(*task))
            throw std::runtime_error("the process that asks ended at once");
        parts_.network.readAll(child->takeOutput(), mostBytes, [child, done](const std::string& text) {
            const int exit = child->wait();
            try {
                const auto document = json::parse(text).as_object();
                done(fromJson(document), bootTime(document.at("asked").as_int64()));
            } catch (const std::exception&) {
                done(brokenAnswer("the process that asks the provider ended with " + std::to_string(exit)),
                     BootClock::now());
            }
        });
    } catch (const std::exception& error) {
        done(brokenAnswer(error.what()), BootClock::now());
    }
}

void Exchange::forget() const {
    ::unlink((parts_.directory / keptName).c_str());
}

int runExchange() {
    ::prctl(PR_SET_DUMPABLE, 0);
    std::signal(SIGPIPE, SIG_IGN);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        std::signal(signal, SIG_IGN); // it ends by itself, soon
    std::string input;
    std::array<char, 4096> some{};
    for (ssize_t got = 0; (got = ::read(STDIN_FILENO, some.data(), some.size())) > 0;)
        input.append(some.data(), static_cast<std::size_t>(got));
    wipe(some);
    const auto task = json::parse(input).as_object(); // half a task, of a daemon that was killed, is none
    wipe(input);
    net::HttpRequest request;
    request.url = textAt(task, "url");
    request.form = Secret(textAt(task, "form"));
    request.authorization = Secret(textAt(task, "authorization"));
    request.caFile = textAt(task, "caFile");

    const auto asked = wallMilliseconds();
    std::promise<net::HttpAnswer> promise;
    net::NetworkThread network;
    network.send(request, [&promise](net::HttpAnswer answer) { promise.set_value(std::move(answer)); });
    const auto answer = promise.get_future().get();

    Wiped text(json::serialize(toJson(answer, textAt(task, "about"), asked)));
    // What says nothing about the token is not kept: the next daemon asks again.
    if (!problemOf(answer)) {
        const Vault vault(fromHex(textAt(task, "key")));
        writeFile(fs::path(textAt(task, "directory")) / keptName, vault.seal(*text, purpose));
    }
    std::string_view left(*text);
    while (!left.empty()) {
        const auto written = ::write(STDOUT_FILENO, left.data(), left.size());
        if (written <= 0)
            break; // the daemon is gone: the next one finds it
        left.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

} // namespace hshd::oidc
