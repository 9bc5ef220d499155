#pragma once

#include "hshd/identity/accounts/PasswordHash.h"

#include <string>
#include <string_view>

namespace hshd {

/// A password in memory. Each copy is overwritten when it ends.
class Secret {
public:
    Secret() = default;
    explicit Secret(std::string_view text) : text_(text) {}
    Secret(const Secret&) = default;
    Secret(Secret&& other) noexcept { text_.swap(other.text_); }
    Secret& operator=(Secret other) noexcept {
        text_.swap(other.text_);
        return *this;
    }
    ~Secret() { password::wipe(text_); }

    const std::string& text() const noexcept { return text_; }

private:
    std::string text_;
};

} // namespace hshd
