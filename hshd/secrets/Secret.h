#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace hshd {

/// A secret text in memory that no swap and no core gets (as far as the machine's limit on locked memory
/// goes), overwritten when its last copy ends. Copies share it; it never changes. Thread-safe as a
/// shared_ptr.
class Secret {
public:
    Secret() = default;
    /// @throws std::bad_alloc
    explicit Secret(std::string_view text);

    /// Valid while a copy of the secret lives.
    std::string_view view() const noexcept;
    bool empty() const noexcept { return view().empty(); }
    explicit operator bool() const noexcept { return !empty(); }

    /// Takes as long whatever the difference, among texts of one length.
    bool operator==(const Secret& other) const noexcept;

private:
    struct Bytes;
    std::shared_ptr<const Bytes> bytes_;
};

/// Overwrites the text.
void wipe(std::span<char> secret) noexcept;
void wipe(std::string& secret) noexcept;

/// A text that takes part in making or sending a secret, overwritten at its end.
class Wiped {
public:
    explicit Wiped(std::string text) noexcept : text_(std::move(text)) {}
    ~Wiped() { wipe(text_); }
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;

    std::string& operator*() noexcept { return text_; }
    std::string* operator->() noexcept { return &text_; }

private:
    std::string text_;
};

} // namespace hshd
