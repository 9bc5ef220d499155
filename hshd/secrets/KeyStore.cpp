#include "hshd/secrets/KeyStore.h"

#include "hshd/process/Child.h"
#include "hshd/secrets/Vault.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace hshd {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds keyringLimit{10};
enum KeyringExit { found = 0, notFound = 1 };

std::optional<Secret> readKey(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    Wiped text(std::string(std::istreambuf_iterator<char>(stream), {}));
    while (text->ends_with('\n'))
        text->pop_back();
    if (text->empty())
        return std::nullopt;
    const Secret key = fromHex(*text);
    if (key.view().size() != Vault::keyBytes)
        throw std::runtime_error("'" + file.string() +
                                 "' holds no key; move it away, and hshd makes a new "
                                 "one and starts signed out");
    return key;
}

/// Whole on the disk, or not at all.
void writeKey(const StateDirectory& directory, const Secret& key) {
    const std::string unfinished = std::string(KeyStore::fileName) + ".new";
    const auto path = directory.privateFile(unfinished.c_str());
    const foundation::UniqueFd file(::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
    const foundation::UniqueFd folder(::open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Wiped text(toHex(key.view()) + "\n");
    if (!file || ::write(file.get(), text->data(), text->size()) != static_cast<ssize_t>(text->size()) ||
        ::fsync(file.get()) != 0 ||
        ::rename(path.c_str(), (directory.path() / KeyStore::fileName).c_str()) != 0 ||
        ::fsync(folder.get()) != 0)
        throw std::runtime_error("cannot write '" + (directory.path() / KeyStore::fileName).string() +
                                 "'; is the disk full?");
}

std::optional<fs::path> credential() {
    const char* directory = std::getenv("CREDENTIALS_DIRECTORY");
    if (!directory || *directory != '/' || !fs::exists(fs::path(directory) / KeyStore::fileName))
        return std::nullopt;
    return fs::path(directory) / KeyStore::fileName;
}

} // namespace

const char* toText(KeyPlace place) {
    switch (place) {
    case KeyPlace::Keyring:
        return "keyring";
    case KeyPlace::File:
        return "file";
    case KeyPlace::Credential:
        return "credential";
    case KeyPlace::Automatic:
        break;
    }
    return "auto";
}

KeyPlace keyPlace(std::string_view text) {
    for (const auto place : {KeyPlace::Keyring, KeyPlace::File, KeyPlace::Credential})
        if (text == toText(place))
            return place;
    return KeyPlace::Automatic;
}

KeyPlace KeyStore::best() const {
    if (credential())
        return KeyPlace::Credential;
    try {
        if (!keyring_.empty()) {
            runKeyring("lookup");
            return KeyPlace::Keyring;
        }
    } catch (const std::runtime_error&) {
        // None, or locked: a file it is.
    }
    return KeyPlace::File;
}

std::optional<Secret> KeyStore::find(KeyPlace place) const {
    if (place == KeyPlace::Keyring) {
        auto text = runKeyring("lookup");
        if (!text)
            return std::nullopt;
        Wiped hex(std::move(*text));
        const Secret key = fromHex(*hex);
        if (key.view().size() != Vault::keyBytes)
            throw std::runtime_error("what the keyring keeps for hshd is no key; delete it there, and hshd "
                                     "makes a new one and starts signed out");
        return key;
    }
    if (place == KeyPlace::Credential) {
        const auto file = credential();
        return file ? readKey(*file) : std::nullopt;
    }
    return readKey(directory_.privateFile(fileName));
}

Secret KeyStore::findOrMake(KeyPlace place) const {
    if (auto key = find(place))
        return *key;
    if (place == KeyPlace::Credential)
        throw std::runtime_error("systemd gives this service no credential hshd.key any more, which the "
                                 "secrets of the state were sealed with; give it back, or start with "
                                 "--secrets file, signed out");
    Secret key = Vault::newKey();
    if (place == KeyPlace::Keyring) {
        Wiped hex(toHex(key.view()));
        runKeyring("store", *hex);
    } else {
        writeKey(directory_, key);
    }
    return key;
}

std::optional<std::string> KeyStore::runKeyring(const char* command, std::string_view input) const {
    Child program(keyring_, {command, directory_.path().string()});
    program.give(input);
    const auto output = program.takeOutput();
    std::string text;
    const auto end = std::chrono::steady_clock::now() + keyringLimit;
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd ready{output.get(), POLLIN, 0};
        if (left.count() <= 0 || ::poll(&ready, 1, static_cast<int>(left.count())) == 0) {
            program.kill();
            break;
        }
        std::array<char, 256> some{};
        const auto got = ::read(output.get(), some.data(), some.size());
        if (got == 0)
            break;
        if (got > 0)
            text.append(some.data(), static_cast<std::size_t>(got));
        wipe(some);
    }
    const int exit = program.wait();
    if (exit == found)
        return text;
    wipe(text);
    if (exit == notFound)
        return std::nullopt;
    throw std::runtime_error("the keyring cannot be reached, or is locked; unlock it by signing in to the "
                             "desktop, or start hshd with --secrets file, which signs out");
}

} // namespace hshd
