#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Addresses on the web.
namespace hshd::net {

struct Url {
    std::string scheme;
    std::string host; ///< without the brackets of an IPv6 address
    std::string path;
    std::string query; ///< as it stands, without the question mark

    /// Nothing unless it is an absolute http or https address without user, password and fragment.
    static std::optional<Url> parse(const std::string& text);

    /// This machine by its loopback address, or as "localhost".
    bool isLoopback() const;
    /// Whether secrets may travel there: https, or http on this machine.
    bool isSafe() const { return scheme == "https" || isLoopback(); }
};

using Fields = std::vector<std::pair<std::string_view, std::string_view>>;

/// "a=b&c=d", each part percent-encoded. Fields without a value are left out.
std::string encodeForm(const Fields& fields);
/// The parts of such a text, decoded. Nothing when a field comes twice: whoever sends that wants two readers
/// to see two things.
std::optional<std::map<std::string, std::string>> decodeForm(std::string_view text);

} // namespace hshd::net
