#include "host/prompt/QrCode.h"

#include <cstdlib>
#include <dlfcn.h>
#include <memory>
#include <string_view>

namespace zelkor::host {

namespace {

/// As the library declares it. It is loaded when a code is shown: hardly any run of this program needs it.
struct QrCodeImage {
    int version;
    int width;
    unsigned char* data; ///< a byte for each module; the lowest bit is 1 for a dark one
};
using Encode = QrCodeImage*(const char* text, int version, int level, int hint, int caseSensitive);
using Free = void(QrCodeImage* code);

constexpr int leastCorrection = 0;
constexpr int eightBit = 2;
constexpr int quietZone = 2;

bool speaksUtf8() {
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"})
        if (const char* value = std::getenv(variable); value && *value) {
            const std::string_view text(value);
            return text.find("UTF-8") != text.npos || text.find("utf8") != text.npos;
        }
    return false;
}

std::string draw(const QrCodeImage& code) {
    const auto dark = [&](int x, int y) {
        return x >= 0 && y >= 0 && x < code.width && y < code.width &&
               (code.data[y * code.width + x] & 1U) != 0;
    };
    std::string picture;
    for (int y = -quietZone; y < code.width + quietZone; y += 2) {
        picture += "  \x1b[30;47m";
        for (int x = -quietZone; x < code.width + quietZone; ++x) {
            const bool upper = dark(x, y);
            const bool lower = dark(x, y + 1);
            picture += upper ? (lower ? "█" : "▀") : (lower ? "▄" : " ");
        }
        picture += "\x1b[0m\n";
    }
    return picture + "\n";
}

} // namespace

std::string qrCode(const std::string& text) {
    if (text.empty() || !speaksUtf8())
        return {};
    constexpr auto close = [](void* handle) { ::dlclose(handle); };
    const std::unique_ptr<void, decltype(close)> library(::dlopen("libqrencode.so.4", RTLD_NOW | RTLD_LOCAL));
    if (!library)
        return {};
    auto* const encode = reinterpret_cast<Encode*>(::dlsym(library.get(), "QRcode_encodeString"));
    auto* const free = reinterpret_cast<Free*>(::dlsym(library.get(), "QRcode_free"));
    if (!encode || !free)
        return {};
    const std::unique_ptr<QrCodeImage, Free*> code(encode(text.c_str(), 0, leastCorrection, eightBit, 1),
                                                   free);
    return code ? draw(*code) : std::string();
}

} // namespace zelkor::host
