// Why a component cannot be constructed, in the program's log: on whatever framework.

#include "host/ComponentLog.h"
#include "tests/conformance/Host.h"
#include "tests/conformance/Services.h"
#include "tests/support/RecordingLog.h"

#include <gtest/gtest.h>

namespace zelkor::test {
namespace {

using Severity = cppmicroservices::logservice::SeverityLevel;

TEST(ComponentLog, HasTheCauseOfAFailedConstruction) {
    const RecordingLog log("framework");
    ::Host host;
    host.context.RegisterService<cppmicroservices::logservice::LogService>(
        std::make_shared<zelkor::host::ComponentLog>());
    host.context.InstallBundles(PROBES).at(0).Start();
    const auto throws =
        host.context.GetServiceReferences<conformance::Probe>("(component.name=probe::Throws)");
    ASSERT_EQ(throws.size(), 1u);
    EXPECT_EQ(host.context.GetService(throws[0]), nullptr);
    EXPECT_GE(log.mentions("the disk is full"), 1u);
    EXPECT_GE(log.linesAt(256).size(), 1u) << "at level error";
}

TEST(ComponentLog, SaysACauseOnceAndKeepsDetailsLow) {
    const RecordingLog log("framework");
    zelkor::host::ComponentLog to;
    const auto cause = std::make_exception_ptr(std::runtime_error("no room"));
    to.Log(Severity::LOG_WARNING, "a: no room", cause);
    to.Log(Severity::LOG_ERROR, "b:", cause);
    to.Log(Severity::LOG_ERROR, "c", std::make_exception_ptr(1));
    to.Log(Severity::LOG_INFO, "loaded");
    std::vector<std::string> texts;
    for (const auto& line : log.lines())
        texts.push_back(line.text);
    EXPECT_EQ(texts,
              (std::vector<std::string>{"a: no room", "b: no room", "c (not a std::exception)", "loaded"}));
    EXPECT_EQ(log.linesAt(2).size(), 1u) << "of what goes well nobody wants to hear";
}

} // namespace
} // namespace zelkor::test
