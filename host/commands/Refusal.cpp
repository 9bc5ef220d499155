#include "host/commands/Refusal.h"

#include "contract/records/Utf.h"
#include "host/commands/PrintableText.h"

namespace zelkor::host {

namespace {

foundation::json::array asJson(const std::vector<std::u16string>& messages) {
    foundation::json::array array;
    for (const auto& message : messages)
        array.emplace_back(login::toUtf8(message));
    return array;
}

std::string asText(const char* who, const std::vector<std::u16string>& messages) {
    std::string text;
    for (const auto& message : messages)
        text += std::string("  ") + who + ": " +
                (message.empty() ? "(gives no reason)" : printable(message)) + "\n";
    return text;
}

} // namespace

Result refusal(const login::detail::NegotiationsResult& result, const std::string& note) {
    auto list =
        shortened(asText("objects", result.objections) + asText("wants you to be asked", result.questions));
    if (!list.empty() && !list.ends_with('\n'))
        list += '\n'; // it was cut
    return {.code = ExitCode::Refused,
            .text = {},
            .note = note + "\n" + list,
            .json = {{"objections", asJson(result.objections)}, {"questions", asJson(result.questions)}}};
}

} // namespace zelkor::host
