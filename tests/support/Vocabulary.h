#pragma once

#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace zelkor::test {

struct Row {
    std::string descriptor;
    int seconds = 0;
};

/// What clients send, by method: lines of "name seconds descriptor".
inline std::map<std::string, Row> goldenVocabulary() {
    std::map<std::string, Row> rows;
    std::ifstream file(ZELKOR_GOLDEN_FILE);
    for (std::string line, name; std::getline(file, line);) {
        Row row;
        if (!line.starts_with('#') && std::istringstream(line) >> name >> row.seconds >> row.descriptor)
            rows[name] = row;
    }
    return rows;
}

} // namespace zelkor::test
