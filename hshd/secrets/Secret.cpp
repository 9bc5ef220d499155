#include "hshd/secrets/Secret.h"

#include <cstring>
#include <new>
#include <sodium.h>
#include <stdexcept>

namespace hshd {

struct Secret::Bytes {
    explicit Bytes(std::string_view text) : size(text.size()) {
        static const int ready = sodium_init();
        if (ready < 0)
            throw std::runtime_error("the cryptographic library cannot be used");
        data = static_cast<char*>(sodium_malloc(size));
        if (!data)
            throw std::bad_alloc();
        std::memcpy(data, text.data(), size);
        sodium_mprotect_readonly(data);
    }
    ~Bytes() { sodium_free(data); }
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;

    char* data = nullptr;
    const std::size_t size;
};

Secret::Secret(std::string_view text)
    : bytes_(text.empty() ? nullptr : std::make_shared<const Bytes>(text)) {}

std::string_view Secret::view() const noexcept {
    return bytes_ ? std::string_view(bytes_->data, bytes_->size) : std::string_view();
}

bool Secret::operator==(const Secret& other) const noexcept {
    const auto mine = view();
    const auto theirs = other.view();
    return mine.size() == theirs.size() &&
           (mine.empty() || sodium_memcmp(mine.data(), theirs.data(), mine.size()) == 0);
}

void wipe(std::span<char> secret) noexcept {
    sodium_memzero(secret.data(), secret.size());
}

void wipe(std::string& secret) noexcept {
    secret.resize(secret.capacity()); // with what a longer text may have left behind
    wipe(std::span<char>(secret));
    secret.clear();
}

} // namespace hshd
