#include "host/prompt/Terminal.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>

namespace zelkor::host {

namespace {

/// Hides what is typed while it lives.
class Hidden {
public:
    explicit Hidden(int terminal) : terminal_(terminal), active_(::tcgetattr(terminal, &shown_) == 0) {
        if (!active_)
            return;
        auto hidden = shown_;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        hidden.c_lflag |= ECHONL;
        ::tcsetattr(terminal_, TCSAFLUSH, &hidden);
    }
    ~Hidden() {
        if (active_)
            ::tcsetattr(terminal_, TCSAFLUSH, &shown_);
    }
    Hidden(const Hidden&) = delete;
    Hidden& operator=(const Hidden&) = delete;

private:
    const int terminal_;
    termios shown_{};
    const bool active_;
};

} // namespace

Terminal::Terminal()
    : terminal_(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)), cancelled_(::eventfd(0, EFD_CLOEXEC)) {}

Terminal::~Terminal() {
    if (terminal_ >= 0)
        ::close(terminal_);
    if (cancelled_ >= 0)
        ::close(cancelled_);
}

void Terminal::say(const std::string& text) const {
    [[maybe_unused]] const auto written = ::write(terminal_, text.data(), text.size());
}

std::optional<std::string> Terminal::ask(const std::string& question, bool hidden) {
    if (!available())
        return std::nullopt;
    std::optional<Hidden> hiding;
    if (hidden)
        hiding.emplace(terminal_);
    say(question);
    return readLine();
}

std::optional<std::string> Terminal::readLine() {
    std::string line;
    for (;;) {
        std::array<pollfd, 2> ready{pollfd{terminal_, POLLIN, 0}, pollfd{cancelled_, POLLIN, 0}};
        if (::poll(ready.data(), ready.size(), -1) < 0 && errno == EINTR)
            continue;
        if (ready[1].revents != 0) {
            say("\n"); // what comes next is not the answer
            return std::nullopt;
        }
        std::array<char, 256> some{};
        const auto got = ::read(terminal_, some.data(), some.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return std::nullopt;
        line.append(some.data(), static_cast<std::size_t>(got));
        some.fill('\0');
        if (line.ends_with('\n')) {
            line.pop_back();
            return line;
        }
    }
}

void Terminal::cancel() noexcept {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(cancelled_, &one, sizeof one);
}

} // namespace zelkor::host
