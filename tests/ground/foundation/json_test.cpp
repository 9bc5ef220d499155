#include "tests/support/Testing.h"

#include <foundation/json.h>

namespace {

namespace json = foundation::json;
using namespace zelkor::test;

TEST(Json, KeepsWhatItParses) {
    const std::string text =
        R"({"z":[1,-2,3.5E0,true,null],"a":{"text":"line\nbreak \"quoted\" é"},"big":9223372036854775807})";
    EXPECT_EQ(json::serialize(json::parse(" \n" + text + "\t")), text);
    EXPECT_EQ(json::parse(R"({"key":1,"key":2})").at("key"), 2);
}

TEST(Json, RefusesWithPositionAndReasonButNotTheText) {
    const struct {
        std::string text;
        const char* where;
        const char* why;
    } cases[] = {
        {"", "line 1, column 1:", "unexpected end"},
        {"  \n ", "line 2, column 2:", "unexpected end"},
        {"{\"a\": 1,\n \"b\": x}", "line 2, column 7:", "syntax"},
        {"[1, 2", "line 1, column 6:", "unexpected end"},
        {"{} {}", "line 1, column 4:", "after the document"},
        {"\"\xff\"", "line 1, column 2:", "syntax"},
        {"\"a\x01\"", "line 1, column 3:", "syntax"},
        {R"({"token":"s3cret" oops})", "line 1, column 19:", "syntax"},
        {std::string(json::maxDepth + 1, '['), "line 1, column 65:", "deep"},
    };
    for (const auto& bad : cases) {
        const auto parsing = [&] { json::parse(bad.text); };
        EXPECT_THAT(parsing, ThrowsMessage<std::invalid_argument>(
                                 AllOf(HasSubstr(bad.where), HasSubstr(bad.why), Not(HasSubstr("s3cret")))))
            << bad.text;
    }
    const std::string deepest = std::string(json::maxDepth, '[') + std::string(json::maxDepth, ']');
    EXPECT_EQ(json::serialize(json::parse(deepest)), deepest);
}

} // namespace
