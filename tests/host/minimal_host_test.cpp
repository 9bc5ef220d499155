#include "tests/host/HostFixture.h"

namespace {

using namespace zelkor::test;

class MinimalHost : public HostFixture {};

TEST_F(MinimalHost, IsTheOneOfThePageAndAsksTheDaemon) {
    const std::string folder = SOURCE_FOLDER;
    const auto page = contentOf(folder + "/docs/integrating.md");
    const auto shown = "```cpp\n" + contentOf(folder + "/examples/minimal_host.cpp") + "```\n";
    EXPECT_NE(page.find(shown), page.npos) << "docs/integrating.md has to show examples/minimal_host.cpp";
    daemon.start();
    EXPECT_THAT(run(MINIMAL_HOST_PROGRAM " " MODULE_FILE), FieldsAre(0, HasSubstr("\"ada\""), _));
}

} // namespace
