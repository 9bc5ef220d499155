#include "tests/support/Testing.h"

#include <foundation/log/diagnostic_logger.h>
#include <foundation/log/setup.h>

#include <dlfcn.h>

namespace {

using namespace foundation::log;
using namespace zelkor::test;

const basic_diagnostic_logger<char> logger("part");

TEST(LogConcurrency, LoggingWhileSubscribersAndDestinationsChange) {
    const TempDirectory directory;
    const auto file = directory / "log";
    constexpr int records = 300;
    std::atomic<int> received = 0;
    const auto counting = subscribe([&](const Record&) { ++received; });
    startThreads(5, [&](int t) {
        for (int i = 0; i < records; ++i) {
            if (t < 3) {
                logger.log(logging_event_types::info, "two\nlines");
            } else if (t == 3) {
                // Dead once the handle is gone: a late call would write to it.
                auto calls = std::make_unique<std::atomic<int>>(0);
                const auto churning = subscribe([&calls = *calls](const Record&) { ++calls; });
            } else if (i % 10 == 0) {
                setup(i % 30 == 0 ? Options{} : Options{.file = file, .rotationSize = 0});
                flush();
            }
        }
    });
    setup({});
    EXPECT_EQ(received, 3 * records);
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);)
        ASSERT_THAT(line, MatchesRegex("....-..-..T..:..:..\\....Z 4 info \\[part\\] [0-9]+ two\\\\nlines"));
}

TEST(LogConcurrency, EndingASubscriptionWaitsForItsCalls) {
    std::latch entered(1), ending(1);
    bool finished = false;
    auto subscription = subscribe([&](const Record&) {
        entered.count_down();
        ending.wait();
        std::this_thread::yield();
        finished = true;
    });
    const std::jthread logs([] { logger.log(logging_event_types::info, "x"); });
    entered.wait();
    ending.count_down();
    subscription.reset();
    EXPECT_TRUE(finished);
}

TEST(LogConcurrency, LibrariesWithACopyOfTheLoggerShareItsDestinations) {
    void* module = ::dlopen(LOG_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << ::dlerror();
    const auto logFromModule = reinterpret_cast<void (*)(const char*)>(::dlsym(module, "logFromModule"));
    ASSERT_NE(logFromModule, nullptr);
    std::vector<std::string> seen;
    const auto subscription = subscribe([&](const Record& record) {
        seen.push_back(record.component + ":" + record.text);
        if (seen.size() < 10)
            logFromModule("nested");
    });
    logFromModule("first");
    logger.log(logging_event_types::info, "second");
    EXPECT_THAT(seen, ElementsAre("module:first", "part:second"));
}

} // namespace
