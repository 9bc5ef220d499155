#include "hshd/script/Script.h"

#include "hshd/JsonObject.h"

#include <foundation/json.h>

#include <limits>
#include <map>
#include <stdexcept>

namespace hshd {
namespace {

namespace json = foundation::json;
using agent::spf::core::ErrorKind;

constexpr std::int64_t forEver = std::numeric_limits<std::int64_t>::max();

/// The value that a key's word stands for; without the key, that of `missing`.
template <class Value>
Value oneOf(const JsonObject& object, std::string_view key, std::string_view missing,
            const std::map<std::string, Value, std::less<>>& words) {
    const auto found = words.find(object.text(key, missing));
    if (found != words.end())
        return found->second;
    std::string list;
    for (const auto& [word, value] : words)
        list += (list.empty() ? "" : ", ") + word;
    object.fail(key, "must be one of " + list);
}

void readWhich(const JsonObject& object, Script::Rule& rule) {
    rule.service = object.text("service");
    rule.version = static_cast<int>(object.integer("version", 0, 1, 1000));
    rule.method = object.text("method");
    if (rule.method.empty())
        object.fail("method", "is missing; name a method, or \"*\" for any");
    if (object.has("on")) {
        if (object.has("from") || object.has("to"))
            object.fail("on", "is the number of one call; leave it out beside from and to");
        rule.from = rule.to = object.integer("on", 0, 1, forEver);
        return;
    }
    rule.from = object.integer("from", 1, 1, forEver);
    rule.to = object.integer("to", forEver, rule.from, forEver);
}

Script::Rule readRule(const json::object& source, const std::string& place) {
    using Deed = Script::Deed;
    static const std::map<std::string, Deed, std::less<>> deeds{
        {"late", Deed::Late},          {"never", Deed::Never},
        {"error", Deed::Error},        {"wrong-type", Deed::WrongType},
        {"cut-frame", Deed::CutFrame}, {"call-back-first", Deed::CallBackFirst},
        {"exit", Deed::Exit},          {"kill", Deed::Kill}};
    static const std::map<std::string, ErrorKind, std::less<>> kinds{{"remote", ErrorKind::Remote},
                                                                     {"timeout", ErrorKind::Timeout},
                                                                     {"malformed", ErrorKind::Malformed},
                                                                     {"refused", ErrorKind::Refused}};
    const JsonObject object(source, place);
    object.onlyKnownKeys(
        {"service", "version", "method", "on", "from", "to", "do", "ms", "kind", "text", "code"});
    Script::Rule rule;
    readWhich(object, rule);
    rule.deed = oneOf(object, "do", "", deeds);
    const auto only = [&](std::string_view key, Deed deed, const char* word) {
        if (object.has(key) && rule.deed != deed)
            object.fail(key, std::string("belongs to \"do\": \"") + word + '"');
    };
    only("ms", Deed::Late, "late");
    only("kind", Deed::Error, "error");
    only("text", Deed::Error, "error");
    only("code", Deed::Exit, "exit");
    if (rule.deed == Deed::Late && !object.has("ms"))
        object.fail("ms", "is missing; it is how many milliseconds later the answer comes");
    rule.delay = std::chrono::milliseconds(object.integer("ms", 0, 0, 3'600'000));
    rule.errorKind = oneOf(object, "kind", "remote", kinds);
    rule.errorText = object.text("text", "scripted failure");
    rule.exitCode = static_cast<int>(object.integer("code", 1, 0, 255));
    return rule;
}

Script::Announcement readAnnouncement(const json::object& source, const std::string& place) {
    const JsonObject object(source, place);
    object.onlyKnownKeys({"service", "version", "ranking"});
    Script::Announcement announcement;
    announcement.service = object.text("service");
    if (announcement.service.empty())
        object.fail("service", "is missing; name a service that hshd offers");
    announcement.version = static_cast<int>(object.integer("version", 0, 1, 1000));
    announcement.ranking = static_cast<int>(object.integer("ranking", 0, -1'000'000, 1'000'000));
    return announcement;
}

/// The objects of a list, each read by `read`.
template <class Element, class Read>
std::vector<Element> readList(const json::object& root, std::string_view key, const std::string& place,
                              const Read& read) {
    std::vector<Element> elements;
    const json::value* list = root.if_contains(key);
    if (!list)
        return elements;
    if (!list->is_array())
        throw std::runtime_error(place + std::string(key) + " must be a list of objects");
    for (const json::value& element : list->get_array()) {
        const std::string here = place + std::string(key) + '[' + std::to_string(elements.size()) + ']';
        if (!element.is_object())
            throw std::runtime_error(here + " must be an object");
        elements.push_back(read(element.get_object(), here));
    }
    return elements;
}

} // namespace

Script Script::fromFile(const std::filesystem::path& file) {
    const auto place = "script '" + file.string() + "': ";
    const auto root = readJsonObject(file, "script", "--script", R"({"rules": [...], "announce": [...]})");
    JsonObject(root, place + "the script").onlyKnownKeys({"rules", "announce"});
    return {readList<Rule>(root, "rules", place, readRule),
            readList<Announcement>(root, "announce", place, readAnnouncement)};
}

} // namespace hshd
