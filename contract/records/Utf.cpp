#include "contract/records/Utf.h"

#include <boost/nowide/utf/convert.hpp>

namespace login {

std::string toUtf8(std::u16string_view text) {
    return boost::nowide::utf::convert_string<char>(text.data(), text.data() + text.size());
}

std::u16string toUtf16(std::string_view text) {
    return boost::nowide::utf::convert_string<char16_t>(text.data(), text.data() + text.size());
}

} // namespace login
