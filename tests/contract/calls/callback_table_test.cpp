#include "contract/calls/CallbackManager.h"
#include "contract/calls/CallbackScope.h"
#include "contract/calls/Errors.h"
#include "tests/support/Testing.h"

namespace {

using namespace agent::spf::core;

struct CallbackTableTest : testing::Test {
    std::shared_ptr<CallbackTable> table = std::make_shared<CallbackTable>(2);
    std::optional<CallbackManager> manager{table};
    ExportedCallback made(std::function<void()> action, std::optional<unsigned> limit = {}) {
        return manager->makeExportedCallback(exportFunction(std::move(action)), limit, std::nullopt, false);
    }
};

TEST_F(CallbackTableTest, KnowsOnlyWhatIsExportedAndCountsLimitedCalls) {
    int calls = 0;
    bool inScope = false;
    const auto count = [&] {
        ++calls;
        inScope = CallbackScope::active();
    };
    const auto once = made(count, 1u), always = made(count);
    const auto call = [&](const auto& callback) { table->invoke(callback.getCallbackID(), {}, {}); };
    EXPECT_NE(once.getCallbackID(), always.getCallbackID());
    EXPECT_EQ(once.descriptor(), R"({"return":{"void":0},"arguments":[]})");
    EXPECT_THROW(made([] {}), RefusedError); // over the limit

    call(once);
    EXPECT_TRUE(inScope);
    EXPECT_FALSE(CallbackScope::active());
    EXPECT_THROW(call(once), RefusedError);
    call(always);
    call(always);
    EXPECT_EQ(calls, 3);

    EXPECT_TRUE(CallbackManager(table).removeCallback(always.getCallbackID()).empty()) << "another's";
    EXPECT_EQ(manager->removeCallback(always.getCallbackID()).size(), 1u);
    EXPECT_THROW(call(always), RefusedError);
}

TEST_F(CallbackTableTest, FunctionsMayRemoveThemselvesAndDestroyTheirManager) {
    auto witness = std::make_shared<int>(1);
    const auto callback = made([this, witness] { manager.reset(); });
    table->invoke(callback.getCallbackID(), {}, {});
    EXPECT_FALSE(manager);
    EXPECT_EQ(witness.use_count(), 1);
}

} // namespace
