#include "tests/support/Testing.h"

#include <foundation/log/diagnostic_logger.h>
#include <foundation/log/setup.h>

namespace {

using namespace foundation::log;
using namespace zelkor::test;

class LogTest : public Test {
protected:
    ~LogTest() override { setup({}); }

    static std::vector<std::string> lines(const std::filesystem::path& file) {
        std::ifstream stream(file);
        std::vector<std::string> result;
        for (std::string line; std::getline(stream, line);)
            result.push_back(line);
        return result;
    }

    const TempDirectory folder_{"foundation-log-100%N-"};
    const std::filesystem::path file_ = folder_ / "my.log";
    const basic_diagnostic_logger<char> logger_{"part"};
};

TEST(SeverityFilter, ReadsNamesAndNumbers) {
    using enum logging_event_types;
    EXPECT_EQ(SeverityFilter::parse("off"), SeverityFilter::off());
    EXPECT_EQ(SeverityFilter::parse("all"), SeverityFilter::parse("debug"));
    EXPECT_EQ(SeverityFilter::parse("warning").mask(), 8u + 16u + 256u + 512u);
    EXPECT_EQ(SeverityFilter::parse("256").mask(), 256u + 512u);
    EXPECT_TRUE(SeverityFilter::only(notice).passes(notice));
    EXPECT_FALSE(SeverityFilter::only(notice).passes(error));
    for (const auto* bad : {"", "Warning", "5", "256 ", "-4", "warning,error"}) {
        EXPECT_THAT([&] { SeverityFilter::parse(bad); },
                    ThrowsMessage<std::invalid_argument>(
                        AllOf(HasSubstr("'" + std::string(bad) + "'"),
                              HasSubstr("off, all, debug (2), info (4), warning (8)"))));
    }
}

TEST_F(LogTest, EachRecordIsOneLine) {
    setup({.file = file_});
    logger_.log(logging_event_types::error, "a\nb\r\nc\td\x1b[31m\x7f e\u0085f\u2028g \u00e9 \\n");
    basic_diagnostic_logger<char>("two\nlines").log(logging_event_types::info, std::string_view("\0", 1));
    EXPECT_THAT(
        lines(file_),
        ElementsAre(AllOf(MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z "
                                       "256 error \\[part\\] [0-9]+ .*"),
                          EndsWith(" a\\nb\\r\\nc\\td\\x1b[31m\\x7f e\\u0085f\\u2028g \u00e9 \\n")),
                    AllOf(HasSubstr(" 4 info [two\\nlines] "), EndsWith(" \\x00"))));
}

TEST_F(LogTest, DestinationsFilterApartAndNothingIsWrittenUntilSetUp) {
    EXPECT_FALSE(logger_.enabled(logging_event_types::severe));
    internal::CaptureStderr();
    logger_.log(logging_event_types::severe, "lost");
    setup({.console = SeverityFilter::only(logging_event_types::warning),
           .file = file_,
           .fileFilter = SeverityFilter::atLeast(logging_event_types::error)});
    for (const auto type :
         {logging_event_types::info, logging_event_types::warning, logging_event_types::error}) {
        EXPECT_EQ(logger_.enabled(type), type != logging_event_types::info);
        logger_.log(type, "said");
    }
    EXPECT_THAT(internal::GetCapturedStderr(), MatchesRegex("[^\n]* 8 warning \\[part\\] [0-9]+ said\n"));
    EXPECT_THAT(lines(file_), ElementsAre(HasSubstr(" 256 error ")));

    setup({});
    EXPECT_FALSE(logger_.enabled(logging_event_types::error));
}

TEST_F(LogTest, RefusesAFileItCannotWriteAndGoesOnAsBefore) {
    setup({.file = file_});
    EXPECT_THAT([&] { setup({.file = folder_ / "missing" / "my.log"}); },
                ThrowsMessage<std::runtime_error>(HasSubstr("missing/my.log' (No such file or directory)")));
    logger_.log(logging_event_types::info, "still here");
    EXPECT_THAT(lines(file_), ElementsAre(HasSubstr("still here")));
}

TEST_F(LogTest, SubscribersMayThrowLogAndEndThemselves) {
    std::vector<std::string> seen;
    auto other =
        subscribe([&](const Record& record) { seen.push_back(record.component + ":" + record.text); });
    auto throwing = subscribe([](const Record&) { throw 1; });
    auto logging = subscribe([&](const Record& record) {
        if (record.text.size() < 100)
            logger_.log(record.type, record.text + "+");
    });
    auto witness = std::make_shared<int>();
    std::weak_ptr<int> alive = witness;
    Subscription ending;
    ending = subscribe([&ending, &alive, witness](const Record&) {
        ending.reset();
        EXPECT_FALSE(alive.expired());
    });
    witness.reset();

    logger_.log(logging_event_types::info, "x\n");
    EXPECT_TRUE(alive.expired());
    EXPECT_THAT(seen, ElementsAre("part:x\n", "part:x\n+"));

    other.reset();
    logging.reset();
    EXPECT_TRUE(logger_.enabled(logging_event_types::info)) << "one is left";
    throwing = Subscription();
    EXPECT_FALSE(logger_.enabled(logging_event_types::info));
    EXPECT_THROW((void)subscribe(nullptr), std::invalid_argument);
}

} // namespace
