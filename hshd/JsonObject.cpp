#include "hshd/JsonObject.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace hshd {

std::string JsonObject::text(std::string_view key, std::string_view missing) const {
    const auto* value = object_.if_contains(key);
    if (!value)
        return std::string(missing);
    if (!value->is_string())
        fail(key, "must be a string");
    return std::string(std::string_view(value->get_string()));
}

std::int64_t JsonObject::integer(std::string_view key, std::int64_t missing, std::int64_t least,
                                 std::int64_t most) const {
    const auto* value = object_.if_contains(key);
    if (!value)
        return missing;
    if (!value->is_int64() || value->get_int64() < least || value->get_int64() > most)
        fail(key, "must be an integer from " + std::to_string(least) + " to " + std::to_string(most));
    return value->get_int64();
}

bool JsonObject::flag(std::string_view key, bool missing) const {
    const auto* value = object_.if_contains(key);
    if (!value)
        return missing;
    if (!value->is_bool())
        fail(key, "must be true or false");
    return value->get_bool();
}

void JsonObject::onlyKnownKeys(std::initializer_list<std::string_view> known) const {
    for (const auto& member : object_) {
        const std::string_view key = member.key();
        if (std::find(known.begin(), known.end(), key) != known.end())
            continue;
        std::string list;
        for (const auto& name : known)
            list += (list.empty() ? "" : ", ") + std::string(name);
        fail(key, "is not a known key; known are " + list);
    }
}

void JsonObject::fail(std::string_view key, const std::string& problem) const {
    throw std::runtime_error(place_ + "." + std::string(key) + " " + problem);
}

foundation::json::object parseJsonObject(std::string_view text, const std::string& place,
                                         const char* example) {
    foundation::json::value document;
    try {
        document = foundation::json::parse(text);
    } catch (const std::invalid_argument& error) {
        throw std::runtime_error(place + ": " + error.what());
    }
    if (!document.is_object())
        throw std::runtime_error(place + ": must be one object " + example);
    return std::move(document.get_object());
}

foundation::json::object readJsonObject(const std::filesystem::path& file, const std::string& what,
                                        const char* option, const char* example) {
    std::ifstream stream(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    if (!stream.is_open() || stream.bad())
        throw std::runtime_error("cannot read the " + what + " '" + file.string() +
                                 "'; give a readable file with " + option);
    return parseJsonObject(text, what + " '" + file.string() + "'", example);
}

} // namespace hshd
