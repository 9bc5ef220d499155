#include "platform/daemon/interactive/UnattendedFront.h"

#include "platform/daemon/JsonObject.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace hshd {

UnattendedFront UnattendedFront::fromFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    if (!stream.is_open() || stream.bad())
        throw std::runtime_error("cannot read '" + file.string() +
                                 "'; give a readable file with --unattended");
    const std::string place = "unattended answers '" + file.string() + "'";
    foundation::json::value document;
    try {
        document = foundation::json::parse(text);
    } catch (const std::invalid_argument& error) {
        throw std::runtime_error(place + ": " + error.what());
    }
    if (!document.is_object())
        throw std::runtime_error(place +
                                 R"(: must be an object such as {"account": "ada", "password": "..."})");
    const JsonObject object(document.get_object(), place);
    object.onlyKnownKeys({"account", "password", "consent"});
    PersonsAnswer answer;
    answer.account = object.text("account");
    answer.password = object.text("password");
    answer.consent = object.flag("consent", false);
    return UnattendedFront(std::move(answer));
}

} // namespace hshd
