#pragma once

#include <cstdlib>

namespace zelkor::test {

/// How often a race is tried: ZELKOR_RACE_ROUNDS asks for more (or fewer) than the everyday number.
inline int rounds(int everyday) {
    const char* wanted = std::getenv("ZELKOR_RACE_ROUNDS");
    return wanted ? std::atoi(wanted) : everyday;
}

} // namespace zelkor::test
