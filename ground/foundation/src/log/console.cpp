#include "log/console.h"

#include <climits>

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <string_view>
#include <unistd.h>

namespace foundation::log::detail {
namespace {

/// For a reader that is only slow, as a terminal that scrolls.
constexpr int patienceMs = 100;

bool hasRoom(int waitMs) {
    pollfd stream{STDERR_FILENO, POLLOUT, 0};
    return ::poll(&stream, 1, waitMs) != 0; // what is no stream any more fails in the write
}

} // namespace

void Console::write(const std::string& line) {
    if (leftOut_ != 0) {
        const std::string note = (cut_ ? "\n" : "") + std::to_string(leftOut_) +
                                 " log lines were left out: nobody read the error stream\n";
        if (!put(note)) {
            ++leftOut_;
            return;
        }
        leftOut_ = 0;
        cut_ = false;
    }
    if (!put(line))
        ++leftOut_;
}

bool Console::put(const std::string& line) {
    std::string_view rest = line;
    while (!rest.empty()) {
        // No more at once than a pipe with room takes: a line up to this size stays whole among others.
        const auto written =
            hasRoom(stalled_ ? 0 : patienceMs)
                ? ::write(STDERR_FILENO, rest.data(), std::min<std::size_t>(rest.size(), PIPE_BUF))
                : 0;
        if (written > 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno == EAGAIN) {
            stalled_ = true;
            cut_ = cut_ || rest.size() != line.size();
            return false;
        } else if (errno != EINTR) {
            return true; // there is no stream to write to
        }
    }
    stalled_ = false;
    return true;
}

} // namespace foundation::log::detail
