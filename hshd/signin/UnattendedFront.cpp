#include "hshd/signin/UnattendedFront.h"

#include "hshd/JsonObject.h"

namespace hshd {

UnattendedFront UnattendedFront::fromFile(const std::filesystem::path& file) {
    const auto document = readJsonObject(file, "file of answers", "--unattended",
                                         R"(such as {"account": "ada", "password": "..."})");
    const JsonObject object(document, "file of answers '" + file.string() + "'");
    object.onlyKnownKeys({"account", "password", "consent"});
    PersonsAnswer answer;
    answer.account = object.text("account");
    answer.password = Secret(object.text("password"));
    answer.consent = object.flag("consent", false);
    return UnattendedFront(std::move(answer));
}

} // namespace hshd
