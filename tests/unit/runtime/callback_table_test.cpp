#include "runtime/core/CallbackManager.h"
#include "runtime/core/CallbackScope.h"
#include "runtime/core/Errors.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

using namespace agent::spf::core;

ExportedFunction counting(std::function<void()> action) {
    return exportFunction(std::function<void()>(std::move(action)));
}

TEST(CallbackTable, KnowsOnlyWhatIsExportedAndCountsLimitedCalls) {
    const auto table = std::make_shared<CallbackTable>(2);
    CallbackManager manager(table);
    int calls = 0;
    bool inScope = false;
    const auto once = manager.makeExportedCallback(counting([&] {
                                                       ++calls;
                                                       inScope = CallbackScope::active();
                                                   }),
                                                   1u, std::nullopt, false);
    const auto always =
        manager.makeExportedCallback(counting([&] { ++calls; }), std::nullopt, std::nullopt, false);
    EXPECT_NE(once.getCallbackID(), always.getCallbackID());
    EXPECT_EQ(once.descriptor(), R"({"return":{"void":0},"arguments":[]})");
    EXPECT_THROW(manager.makeExportedCallback(counting([] {}), {}, {}, false),
                 RefusedError); // over the limit

    table->invoke(once.getCallbackID(), {}, {});
    EXPECT_TRUE(inScope);
    EXPECT_FALSE(CallbackScope::active());
    EXPECT_THROW(table->invoke(once.getCallbackID(), {}, {}), RefusedError);
    table->invoke(always.getCallbackID(), {}, {});
    table->invoke(always.getCallbackID(), {}, {});
    EXPECT_EQ(calls, 3);

    EXPECT_EQ(manager.removeCallback(always.getCallbackID()).size(), 1u);
    EXPECT_THROW(table->invoke(always.getCallbackID(), {}, {}), RefusedError);
}

TEST(CallbackTable, FunctionsMayRemoveThemselvesAndDestroyTheirManager) {
    const auto table = std::make_shared<CallbackTable>();
    auto manager = std::make_unique<CallbackManager>(table);
    auto witness = std::make_shared<int>(1);
    const auto callback =
        manager->makeExportedCallback(counting([&manager, witness] { manager.reset(); }), {}, {}, false);
    table->invoke(callback.getCallbackID(), {}, {});
    EXPECT_EQ(manager, nullptr);
    EXPECT_EQ(witness.use_count(), 1);
}

} // namespace
