#include "hshd/signin/UnattendedFront.h"

#include "hshd/JsonObject.h"

#include <stdexcept>
#include <string>
#include <sys/stat.h>

namespace hshd {

UnattendedFront UnattendedFront::fromFile(const std::filesystem::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw std::runtime_error("the file of answers '" + file.string() +
                                 "' (--unattended) holds a password and is open to others; close it with: "
                                 "chmod 600 '" +
                                 file.string() + "'");
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
