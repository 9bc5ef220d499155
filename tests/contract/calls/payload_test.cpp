#include "contract/calls/CallbackScope.h"
#include "contract/calls/CompletionHandler.h"
#include "contract/calls/ExportedFunction.h"
#include "contract/calls/GenericPayload.h"
#include "contract/records/LoginInfo.h"
#include "tests/support/Testing.h"

namespace {

using namespace zelkor::test;
using agent::spf::core::CallbackScope;
using agent::spf::core::GenericPayload;
using agent::spf::core::promiseCompletingHandler;

template <class R>
std::future<R> completedWith(GenericPayload result) {
    auto promise = std::make_shared<std::promise<R>>();
    auto future = promise->get_future();
    promiseCompletingHandler<R>(std::move(promise)).onValue(std::move(result));
    return future;
}

TEST(CompletionHandler, FulfilsAFutureWithSlotZeroOrWithWhatIsWrongWithIt) {
    EXPECT_EQ(completedWith<int>(GenericPayload::of(5)).get(), 5);
    EXPECT_NO_THROW(completedWith<void>({}).get()); // no slot is needed
    EXPECT_THAT([] { completedWith<bool>({}).get(); },
                ThrowsMessage<std::out_of_range>("Invalid GenericPayload index"));
    GenericPayload empty;
    empty.addEmptySlot();
    EXPECT_THAT([&] { completedWith<bool>(empty).get(); },
                ThrowsMessage<std::runtime_error>("GenericPayload empty at index"));
    EXPECT_THROW(completedWith<long>(GenericPayload::of(1)).get(), std::bad_any_cast); // exactly int
    GenericPayload polymorphic;
    polymorphic.addSlot(std::make_shared<int>(1), typeid(int), GenericPayload::cloner_helper<int>(), true);
    EXPECT_THAT([&] { completedWith<int>(polymorphic).get(); },
                ThrowsMessage<std::runtime_error>("Polymorphic types are not supported with futures"));
    EXPECT_EQ(polymorphic.get<int>(0), 1); // outside a future the value is there
}

TEST(CompletionHandler, KeepsTheFirstOutcomeAndTheExceptionObject) {
    struct Special : std::runtime_error {
        using std::runtime_error::runtime_error;
    };
    auto promise = std::make_shared<std::promise<std::string>>();
    auto future = promise->get_future();
    const auto handler = promiseCompletingHandler<std::string>(std::move(promise));
    handler.onError(std::make_exception_ptr(Special("first")));
    handler.onValue(GenericPayload::of(std::string("second")));
    handler.onError(std::make_exception_ptr(std::runtime_error("third")));
    EXPECT_THAT([&] { future.get(); }, ThrowsMessage<Special>("first"));
}

TEST(ExportedFunction, RefusesArgumentsOfOtherTypesWithoutCallingTheFunction) {
    int calls = 0;
    const std::function<int(const login::LoginInfo&, bool)> function = [&](auto& info, bool flag) {
        calls += CallbackScope::active();
        return info.accountType + flag;
    };
    const auto exported = agent::spf::core::exportFunction(function);
    login::LoginInfo info;
    info.accountType = 2;
    EXPECT_EQ(exported.function({}, GenericPayload::of(info, true)).get<int>(0), 3);
    EXPECT_THROW(exported.function({}, GenericPayload::of(info)), std::out_of_range);
    EXPECT_THROW(exported.function({}, GenericPayload::of(true, info)), std::bad_any_cast);
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(CallbackScope::active());
}

} // namespace
