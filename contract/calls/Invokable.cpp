#include "contract/calls/Invokable.h"

namespace agent::spf::core {

Invokable::~Invokable() = default;

void Invokable::callAndWait(std::optional<std::chrono::milliseconds> timeout, std::string_view method,
                            SignatureDescriptor signature, std::span<const ArgumentRef> arguments,
                            ResultRef result) {
    GenericPayload payload;
    payload.reserve(arguments.size());
    for (const ArgumentRef& argument : arguments)
        argument.appendTo(payload);
    // The result is moved on this thread: an Invokable that ends a call twice finds the promise fulfilled.
    const auto promise = std::make_shared<std::promise<GenericPayload>>();
    const auto fulfil = [promise](const auto& how) {
        try {
            how(*promise);
        } catch (const std::future_error&) {
            // The second outcome.
        }
    };
    CompletionHandler handler{[fulfil](GenericPayload value) {
                                  fulfil([&value](auto& target) { target.set_value(std::move(value)); });
                              },
                              [fulfil](std::exception_ptr error) {
                                  fulfil([&error](auto& target) { target.set_exception(std::move(error)); });
                              }};
    help(invokeGeneric(timeout, std::string(method), signature, std::move(payload), std::move(handler)));
    GenericPayload answer = promise->get_future().get();
    result.takeFrom(answer);
}

void Invokable::collect() noexcept {}

void Invokable::sendCollected() noexcept {}

void Invokable::help(CallId /*call*/) noexcept {}

} // namespace agent::spf::core
