#include "bench/support/Report.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>

namespace zelkor::bench {

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

namespace report {

void ratio(const std::string& what, const std::string& value, const std::string& target) {
    std::cout << "ratio\t" << what << '\t' << value << '\t' << target << std::endl;
}
void absolute(const std::string& what, const std::string& value, const std::string& target) {
    std::cout << "absolute\t" << what << '\t' << value << '\t' << target << std::endl;
}
void note(const std::string& text) {
    std::cout << "note\t" << text << std::endl;
}

} // namespace report

std::string fixed(double value, int digits) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", digits, value);
    return text.data();
}

} // namespace zelkor::bench
