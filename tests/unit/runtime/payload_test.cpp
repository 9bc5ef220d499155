#include "records/LoginInfo.h"
#include "runtime/core/CompletionHandler.h"
#include "runtime/core/ExportedFunction.h"
#include "runtime/core/GenericPayload.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <string>

namespace {

using agent::spf::core::GenericPayload;
using agent::spf::core::promiseCompletingHandler;

template <class Exception, class Action>
void expectText(Action action, const char* text) {
    try {
        action();
        ADD_FAILURE() << "nothing thrown, expected: " << text;
    } catch (const Exception& error) {
        EXPECT_STREQ(error.what(), text);
    }
}

TEST(GenericPayload, ExtractionChecksIndexThenEmptinessThenType) {
    GenericPayload payload = GenericPayload::of(std::string("text"), 7);
    payload.addEmptySlot();
    EXPECT_EQ(payload.get<int>(1), 7);
    expectText<std::out_of_range>([&] { payload.get<std::string>(3); }, "Invalid GenericPayload index");
    expectText<std::runtime_error>([&] { payload.get<std::string>(2); }, "GenericPayload empty at index");
    EXPECT_THROW(payload.get<long>(1), std::bad_any_cast); // exactly int, no conversion
    EXPECT_THROW(payload.get<std::u16string>(0), std::bad_any_cast);
}

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
    expectText<std::out_of_range>([] { completedWith<bool>({}).get(); }, "Invalid GenericPayload index");
    GenericPayload empty;
    empty.addEmptySlot();
    expectText<std::runtime_error>([&] { completedWith<bool>(empty).get(); },
                                   "GenericPayload empty at index");
    EXPECT_THROW(completedWith<bool>(GenericPayload::of(1)).get(), std::bad_any_cast);
    GenericPayload polymorphic;
    polymorphic.addSlot(std::make_shared<int>(1), typeid(int), GenericPayload::cloner_helper<int>(), true);
    expectText<std::runtime_error>([&] { completedWith<int>(polymorphic).get(); },
                                   "Polymorphic types are not supported with futures");
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
    expectText<Special>([&] { future.get(); }, "first");
}

TEST(ExportedFunction, RefusesArgumentsOfOtherTypesWithoutCallingTheFunction) {
    int calls = 0;
    const auto exported =
        agent::spf::core::exportFunction(std::function<std::string(const login::LoginInfo&, bool)>(
            [&](const login::LoginInfo& info, bool flag) {
                ++calls;
                return std::to_string(static_cast<int>(info.level)) + (flag ? "+" : "-");
            }));
    login::LoginInfo info;
    info.level = login::LoginInfo::Level::SignedIn;
    EXPECT_EQ(exported.function({}, GenericPayload::of(info, true)).get<std::string>(0), "2+");
    EXPECT_THROW(exported.function({}, GenericPayload::of(info)), std::out_of_range);
    EXPECT_THROW(exported.function({}, GenericPayload::of(true, info)), std::bad_any_cast);
    EXPECT_EQ(calls, 1);
}

} // namespace
