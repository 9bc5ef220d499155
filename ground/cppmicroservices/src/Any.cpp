#include <cppmicroservices/Any.h>

#include <algorithm>
#include <cstdlib>
#include <cxxabi.h>
#include <sstream>
#include <stdexcept>

namespace cppmicroservices {

std::string detail::Demangle(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return name ? name.get() : type.name();
}

std::string Any::ToString() const {
    if (Empty())
        throw std::logic_error("An empty Any has no text; check Empty() or use ToStringNoExcept().");
    std::ostringstream os;
    content_->Print(os);
    return os.str();
}

std::string Any::ToJSON(std::uint8_t increment, std::int32_t indent) const {
    if (Empty())
        return "null";
    std::ostringstream os;
    content_->PrintJson(os, increment, indent);
    return os.str();
}

void detail::WriteJsonText(std::ostream& os, std::string_view text) {
    static constexpr std::string_view special = "\"\\\b\f\n\r\t";
    static constexpr std::string_view letters = "\"\\bfnrt";
    static constexpr std::string_view hex = "0123456789abcdef";
    os << '"';
    for (const char c : text) {
        if (const auto found = special.find(c); found != std::string_view::npos)
            os << '\\' << letters[found];
        else if (const auto code = static_cast<unsigned char>(c); code < 0x20)
            os << "\\u00" << hex[code / 16] << hex[code % 16];
        else
            os << c;
    }
    os << '"';
}

void detail::WriteJsonBreak(std::ostream& os, int increment, int indent) {
    if (increment > 0)
        os << '\n' << std::string(static_cast<std::size_t>(std::max(indent, 0)), ' ');
}

} // namespace cppmicroservices
