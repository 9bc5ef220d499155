#include "demo/Story.h"

#include "contract/records/Utf.h"

#include <sstream>
#include <thread>

namespace demo {

login::LoginInfo ada() {
    login::LoginInfo info;
    info.userId = u"ada";
    info.displayName = u"Ada Lovelace";
    info.email = u"ada@example.test";
    info.level = login::LoginInfo::Level::SignedIn;
    return info;
}

std::string nameOf(const login::LoginInfo& info) {
    return info.userId.empty() ? "nobody" : login::toUtf8(info.displayName);
}

std::string yesNo(bool yes) {
    return yes ? "yes" : "no";
}

std::string since(std::chrono::steady_clock::time_point begin) {
    std::ostringstream text;
    text.precision(1);
    text << std::fixed << std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count()
         << " s";
    return text.str();
}

void pause(std::chrono::milliseconds time) {
    std::this_thread::sleep_for(time);
}

} // namespace demo
