#include "log/hub.h"
#include "log/subscriber.h"

#include <new>
#include <stdexcept>
#include <utility>

namespace foundation::log {

Subscription::Subscription() noexcept = default;
Subscription::Subscription(Subscription&& other) noexcept = default;

Subscription::Subscription(std::shared_ptr<detail::Subscriber> subscriber) noexcept
    : subscriber_(std::move(subscriber)) {}

Subscription& Subscription::operator=(Subscription&& other) noexcept {
    if (this != &other) {
        reset();
        subscriber_ = std::move(other.subscriber_);
    }
    return *this;
}

Subscription::~Subscription() {
    reset();
}

void Subscription::reset() noexcept {
    if (const auto subscriber = std::exchange(subscriber_, nullptr)) {
        subscriber->close();
        try {
            detail::Hub::instance().remove(subscriber);
        } catch (const std::bad_alloc&) {
            // It stays on the list, closed: nothing is called any more.
        }
    }
}

Subscription subscribe(std::function<void(const Record&)> function, SeverityFilter filter) {
    if (!function) {
        throw std::invalid_argument("a log subscription needs a function to call");
    }
    auto subscriber = std::make_shared<detail::Subscriber>(std::move(function), filter);
    detail::Hub::instance().add(subscriber);
    return Subscription(std::move(subscriber));
}

} // namespace foundation::log
