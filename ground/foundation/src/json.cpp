#include <foundation/json.h>

#include <boost/json/serialize.hpp>
#include <boost/json/stream_parser.hpp>

#include <algorithm>
#include <stdexcept>

namespace foundation::json {
namespace {

[[noreturn]] void fail(std::string_view text, std::size_t offset, const std::string& reason) {
    const std::string_view before = text.substr(0, offset);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const auto lineStart = before.rfind('\n');
    const auto column = lineStart == std::string_view::npos ? offset + 1 : offset - lineStart;
    throw std::invalid_argument("invalid JSON at line " + std::to_string(line) + ", column " +
                                std::to_string(column) + ": " + reason);
}

} // namespace

value parse(std::string_view text) {
    boost::json::parse_options options;
    options.max_depth = maxDepth;
    boost::json::stream_parser parser({}, options);
    boost::json::error_code error;
    const std::size_t consumed = parser.write_some(text.data(), text.size(), error);
    if (error) {
        fail(text, consumed, error.message());
    }
    if (consumed < text.size()) {
        fail(text, consumed, "unexpected text after the document");
    }
    parser.finish(error);
    if (error) {
        fail(text, consumed, "unexpected end of the text");
    }
    return parser.release();
}

std::string serialize(const value& document) {
    return boost::json::serialize(document);
}

} // namespace foundation::json
