#pragma once

#include <string>
#include <vector>

namespace zelkor::bench {

/// The middle one. @param values at least one.
double median(std::vector<double> values);

/// What `bench/run` makes one table of: lines of fields separated by tabs on the standard output.
namespace report {
/// A number that does not depend on the machine's speed.
void ratio(const std::string& what, const std::string& value, const std::string& target = "");
/// One that does.
void absolute(const std::string& what, const std::string& value, const std::string& target = "");
/// Goes below the table.
void note(const std::string& text);
} // namespace report

/// printf's %.*f
std::string fixed(double value, int digits);

} // namespace zelkor::bench
