#include "contract/calls/SignatureDescriptor.h"

namespace agent::spf::core {

std::string SignatureDescriptor::named(std::string_view name) const {
    if (name.empty())
        return std::string(unnamed_);
    constexpr std::string_view before = "{\"name\":\"";
    constexpr std::string_view after = "\",";
    std::string text;
    text.reserve(before.size() + name.size() + after.size() + unnamed_.size() - 1);
    text.append(before).append(name).append(after).append(unnamed_.substr(1));
    return text;
}

} // namespace agent::spf::core
