#include "host/Output.h"

#include "host/Interruption.h"

#include <climits>

#include <algorithm>
#include <cerrno>
#include <unistd.h>

namespace zelkor::host {

bool Output::write(std::string_view text) const {
    while (!text.empty()) {
        if (!Interruption::waitWritable(descriptor))
            return false;
        // A pipe that takes something takes this much; more would block, out of a signal's reach.
        const auto written = ::write(descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        if (written < 0 && errno != EINTR && errno != EAGAIN)
            return false;
        text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace zelkor::host
