#include "demo/Narrator.h"

#include <iostream>

namespace demo {

void Narrator::chapter(const std::string& title) {
    std::cout << '\n' << ++chapters_ << ". " << title << std::endl;
}

void Narrator::say(const std::string& text) const {
    std::cout << "   " << text << std::endl;
}

void Narrator::check(bool good, const std::string& fact) {
    std::cout << (good ? "   ok   " : "   BAD  ") << fact << std::endl;
    failures_ += good ? 0 : 1;
}

void Narrator::expect(const std::string& what, const std::string& value, const std::string& wanted) {
    const bool good = value == wanted;
    check(good, what + ": " + (value.empty() ? "(empty)" : value) + (good ? "" : ", wanted " + wanted));
}

} // namespace demo
