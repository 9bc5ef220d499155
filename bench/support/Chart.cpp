#include "bench/support/Chart.h"

#include "bench/support/Report.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <sstream>

namespace zelkor::bench {
namespace {

constexpr double width = 400, height = 260, left = 64, right = 24, top = 40, bottom = 48;

/// Where a value stands between two powers of ten.
struct Axis {
    double low, high, from, to; // the powers; where they are in the picture

    double at(double value) const { return from + (std::log10(value) - low) / (high - low) * (to - from); }
};

std::string number(double value) {
    return fixed(value, value >= 10 ? 0 : value >= 1 ? 1 : 2);
}

void text(std::ostream& out, double x, double y, const std::string& anchor, const std::string& what) {
    out << "<text x=\"" << fixed(x, 1) << "\" y=\"" << fixed(y, 1) << "\" text-anchor=\"" << anchor << "\">"
        << what << "</text>\n";
}

void line(std::ostream& out, double x1, double y1, double x2, double y2, const std::string& kind) {
    out << "<line class=\"" << kind << "\" x1=\"" << fixed(x1, 1) << "\" y1=\"" << fixed(y1, 1) << "\" x2=\""
        << fixed(x2, 1) << "\" y2=\"" << fixed(y2, 1) << "\"/>\n";
}

void draw(std::ostream& out, const Panel& panel, const std::string& xTitle) {
    const auto [firstX, firstY] = panel.points.front();
    const auto lastX = panel.points.back().first;
    double lowest = firstY, highest = firstY * lastX / firstX;
    for (const auto& [x, y] : panel.points) {
        lowest = std::min(lowest, y);
        highest = std::max(highest, y);
    }
    const Axis x{std::log10(firstX), std::log10(lastX), left, width - right};
    const Axis y{std::floor(std::log10(lowest)), std::ceil(std::log10(highest)), height - bottom, top};

    out << "<text class=\"title\" x=\"" << left << "\" y=\"24\">" << panel.title << ", " << panel.unit
        << "</text>\n";
    for (double power = y.low; power <= y.high; ++power) {
        const double value = std::pow(10, power);
        line(out, left, y.at(value), width - right, y.at(value), "grid");
        text(out, left - 8, y.at(value) + 4, "end", number(value));
    }
    line(out, x.at(firstX), y.at(firstY), x.at(lastX), y.at(firstY * lastX / firstX), "proportional");
    out << "<polyline points=\"";
    for (const auto& [px, py] : panel.points)
        out << fixed(x.at(px), 1) << ',' << fixed(y.at(py), 1) << ' ';
    out << "\"/>\n";
    for (const auto& [px, py] : panel.points) {
        out << "<circle cx=\"" << fixed(x.at(px), 1) << "\" cy=\"" << fixed(y.at(py), 1) << "\" r=\"3\"/>\n";
        text(out, x.at(px), y.at(py) - 8, "middle", number(py));
        text(out, x.at(px), height - bottom + 18, "middle", fixed(px, 0));
    }
    text(out, (left + width - right) / 2, height - 10, "middle", xTitle);
}

} // namespace

std::string drawPanels(const std::vector<Panel>& panels, const std::string& xTitle) {
    const auto rows = (panels.size() + 1) / 2;
    std::ostringstream out;
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << 2 * width << ' '
        << static_cast<double>(rows) * height << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
        << "<style>text{fill:#333}.title{font-weight:bold}.grid{stroke:#ddd}.proportional{stroke:#999;"
           "stroke-dasharray:4 4}polyline{fill:none;stroke:#06c;stroke-width:2}circle{fill:#06c}</style>\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
    for (std::size_t i = 0; i < panels.size(); ++i) {
        out << "<g transform=\"translate(" << static_cast<double>(i % 2) * width << ','
            << static_cast<double>(i / 2) * height << ")\">\n";
        draw(out, panels[i], xTitle);
        out << "</g>\n";
    }
    out << "</svg>\n";
    return out.str();
}

} // namespace zelkor::bench
