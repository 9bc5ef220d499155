#pragma once

#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace zelkor::test {

struct Row {
    std::string descriptor;
    int seconds = 0;
    std::string callback; ///< the descriptor of the function that it brings, if any
};

/// What clients send to the service ("ZelkorLogin-v2.1"), by method, from lines of
/// "service name seconds descriptor [callback]".
inline std::map<std::string, Row> goldenVocabulary(const std::string& service) {
    std::map<std::string, Row> rows;
    std::ifstream file(ZELKOR_GOLDEN_FILE);
    for (std::string line, of, name; std::getline(file, line);) {
        Row row;
        std::istringstream words(line);
        if (words >> of >> name >> row.seconds >> row.descriptor && of == service) {
            words >> row.callback;
            rows[name] = row;
        }
    }
    return rows;
}

} // namespace zelkor::test
