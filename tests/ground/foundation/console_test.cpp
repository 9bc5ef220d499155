#include "tests/support/Testing.h"

#include <foundation/log/diagnostic_logger.h>
#include <foundation/log/setup.h>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace foundation::log;
using namespace zelkor::test;

/// The process's error stream is a pipe.
class ErrorPipe {
public:
    ErrorPipe() {
        int ends[2];
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        reader_ = ends[0];
        ::dup2(ends[1], STDERR_FILENO);
        ::close(ends[1]);
    }
    ~ErrorPipe() {
        ::dup2(former_, STDERR_FILENO);
        ::close(former_);
        ::close(reader_);
    }
    /// What is in it now.
    std::string read() const {
        ::fcntl(reader_, F_SETFL, O_NONBLOCK);
        std::string all;
        char part[4096];
        for (ssize_t got = 0; (got = ::read(reader_, part, sizeof part)) > 0;)
            all.append(part, static_cast<std::size_t>(got));
        return all;
    }

private:
    const int former_ = ::dup(STDERR_FILENO);
    int reader_ = -1;
};

TEST(Console, AnErrorStreamThatNobodyReadsStopsNobodyAndTheGapIsCounted) {
    const basic_diagnostic_logger<char> logger("part");
    const ErrorPipe pipe;
    Options options;
    options.console = SeverityFilter::all();
    setup(options);
    const std::string text(300, 'x');
    auto logged = std::async(std::launch::async, [&] {
        for (int i = 0; i < 5000; ++i)
            logger.log(logging_event_types::error, text);
    });
    const bool ended = comes(logged);
    if (!ended)
        static_cast<void>(pipe.read()); // lets it go on
    ASSERT_TRUE(ended);
    const auto before = pipe.read();
    const auto written = std::ranges::count(before, '\n');
    logger.log(logging_event_types::error, "again");
    setup({});
    const auto after = pipe.read();
    EXPECT_GT(written, 100);
    EXPECT_THAT(after, StartsWith(std::to_string(5000 - written) + " log lines were left out"));
    EXPECT_THAT(after, EndsWith(" again\n"));
}

} // namespace
