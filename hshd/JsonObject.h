#pragma once

#include <foundation/json.h>

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>

namespace hshd {

/// An object in a file that a person wrote, and how to complain about it: "<place>.<key> <problem>". Refers
/// to the document.
class JsonObject {
public:
    JsonObject(const foundation::json::object& object, std::string place)
        : object_(object), place_(std::move(place)) {}

    bool has(std::string_view key) const { return object_.contains(key); }
    /// `missing` without the key. @throws std::runtime_error unless it is a string.
    std::string text(std::string_view key, std::string_view missing = {}) const;
    /// `missing` without the key. @throws std::runtime_error unless it is an integer from `least` to `most`.
    std::int64_t integer(std::string_view key, std::int64_t missing, std::int64_t least,
                         std::int64_t most) const;
    /// `missing` without the key. @throws std::runtime_error unless it is a boolean.
    bool flag(std::string_view key, bool missing) const;
    /// @throws std::runtime_error for any other key.
    void onlyKnownKeys(std::initializer_list<std::string_view> known) const;

    [[noreturn]] void fail(std::string_view key, const std::string& problem) const;

private:
    const foundation::json::object& object_;
    const std::string place_;
};

/// The object that a file holds.
/// @param what the file is to people, such as "accounts file". @param option names it on the command line.
/// @throws std::runtime_error when it cannot be read or is no JSON object; `example` shows one.
foundation::json::object readJsonObject(const std::filesystem::path& file, const std::string& what,
                                        const char* option, const char* example);
/// As above, from the text of a file. @param place for error texts.
foundation::json::object parseJsonObject(std::string_view text, const std::string& place,
                                         const char* example);

} // namespace hshd
