#pragma once

#include <string>
#include <utility>
#include <vector>

namespace zelkor::bench {

/// One curve, both axes logarithmic.
struct Panel {
    std::string title;
    std::string unit;
    std::vector<std::pair<double, double>> points; ///< at least two, in the order of x; all above zero
};

/// The panels side by side, two to a row, as an SVG picture. In each a dashed line shows what growing in
/// proportion to x from the first point on would be.
/// @param xTitle what x counts
std::string drawPanels(const std::vector<Panel>& panels, const std::string& xTitle);

} // namespace zelkor::bench
