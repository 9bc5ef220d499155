#include "log/line_format.h"

#include <cstdio>
#include <string_view>

namespace foundation::log::detail {
namespace {

void appendTime(std::string& line, std::chrono::system_clock::time_point time) {
    using namespace std::chrono;
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(floor<milliseconds>(time - day));
    char text[40];
    const int size = std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int(date.year()),
                                   unsigned(date.month()), unsigned(date.day()), int(clock.hours().count()),
                                   int(clock.minutes().count()), int(clock.seconds().count()),
                                   int(clock.subseconds().count()));
    line.append(text, static_cast<std::size_t>(size));
}

void appendHex(std::string& line, const char* format, unsigned code) {
    char text[8];
    const int size = std::snprintf(text, sizeof text, format, code);
    line.append(text, static_cast<std::size_t>(size));
}

/// Bytes of the UTF-8 character at the front of `rest` that viewers take for a line break or a terminal for a
/// command, with its code point; 0 for any other character.
std::size_t multibyteControl(std::string_view rest, unsigned& code) {
    const auto byte = [rest](std::size_t i) -> unsigned {
        return i < rest.size() ? static_cast<unsigned char>(rest[i]) : 0u;
    };
    if (byte(0) == 0xc2 && byte(1) >= 0x80 && byte(1) <= 0x9f) {
        code = byte(1);
        return 2;
    }
    if (byte(0) == 0xe2 && byte(1) == 0x80 && (byte(2) == 0xa8 || byte(2) == 0xa9)) {
        code = 0x2000 + (byte(2) - 0x80);
        return 3;
    }
    return 0;
}

void appendEscaped(std::string& line, std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        unsigned code = 0;
        if (byte == '\n') {
            line += "\\n";
        } else if (byte == '\r') {
            line += "\\r";
        } else if (byte == '\t') {
            line += "\\t";
        } else if (byte < 0x20 || byte == 0x7f) {
            appendHex(line, "\\x%02x", byte);
        } else if (const std::size_t size = byte < 0x80 ? 0 : multibyteControl(text.substr(i), code)) {
            appendHex(line, "\\u%04x", code);
            i += size - 1;
        } else {
            line += text[i];
        }
    }
}

} // namespace

std::string formatLine(const Record& record) {
    std::string line;
    line.reserve(64 + record.component.size() + record.text.size());
    appendTime(line, record.time);
    line.append(" ").append(std::to_string(static_cast<unsigned>(record.type)));
    line.append(" ").append(toString(record.type)).append(" [");
    appendEscaped(line, record.component);
    line.append("] ").append(std::to_string(record.thread)).append(" ");
    appendEscaped(line, record.text);
    line += '\n';
    return line;
}

} // namespace foundation::log::detail
