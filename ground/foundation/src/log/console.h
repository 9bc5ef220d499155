#pragma once

#include <cstddef>
#include <string>

namespace foundation::log::detail {

/// The standard error stream. A reader that has stopped costs lines, not time: the first line that finds the
/// stream full waits a moment, those after it are left out until there is room, and then one line says how
/// many. Not for use by several threads at once.
class Console {
public:
    void write(const std::string& line);

private:
    bool put(const std::string& line);

    bool stalled_ = false;    ///< the last line found no room
    bool cut_ = false;        ///< a line was begun and not ended
    std::size_t leftOut_ = 0; ///< lines since then
};

} // namespace foundation::log::detail
