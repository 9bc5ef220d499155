#include "log/hub.h"

#include "log/line_format.h"

#include <boost/log/attributes/constant.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core/core.hpp>

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace foundation::log::detail {
namespace {

std::uint64_t threadId() {
    thread_local const auto id = static_cast<std::uint64_t>(::gettid());
    return id;
}

} // namespace

Hub& Hub::instance() {
    // A program and the shared libraries it loads each hold a copy of this function and of its static
    // variable, but there is one libboost_log, and inserting into its core either succeeds or yields what the
    // first copy put there. The name's number changes with the layout of Hub.
    static Hub* const shared = [] {
        static const boost::log::attribute_name name("foundation.log.hub.2");
        auto own = std::make_unique<Hub>();
        const auto [entry, inserted] = boost::log::core::get()->add_global_attribute(
            name, boost::log::attributes::constant<void*>(own.get()));
        if (inserted) {
            return own.release();
        }
        return static_cast<Hub*>(entry->second.get_value().extract_or_throw<void*>());
    }();
    return *shared;
}

void Hub::setup(const Options& options) {
    const MutexLock setupLock(setupMutex_);
    sinks_.replace(options);
    const MutexLock lock(mutex_);
    sinkFilter_ = options.console | (options.file.empty() ? SeverityFilter::off() : options.fileFilter);
    updateEnabled();
}

void Hub::add(std::shared_ptr<Subscriber> subscriber) {
    std::shared_ptr<const Subscribers> old;
    const MutexLock lock(mutex_);
    auto changed = std::make_shared<Subscribers>(*subscribers_);
    changed->push_back(std::move(subscriber));
    old = std::exchange(subscribers_, std::move(changed));
    updateEnabled();
}

void Hub::remove(const std::shared_ptr<Subscriber>& subscriber) {
    std::shared_ptr<const Subscribers> old;
    const MutexLock lock(mutex_);
    auto changed = std::make_shared<Subscribers>(*subscribers_);
    std::erase(*changed, subscriber);
    old = std::exchange(subscribers_, std::move(changed));
    updateEnabled();
}

void Hub::write(const std::string& component, logging_event_types type, std::string_view text) {
    const Record record{std::chrono::system_clock::now(), type, component, threadId(), std::string(text)};
    if ((sinkMask_.load(std::memory_order_relaxed) & static_cast<unsigned>(type)) != 0) {
        sinks_.write(type, formatLine(record));
    }
    const auto current = subscribers();
    for (const auto& subscriber : *current) {
        if (subscriber->filter().passes(type)) {
            subscriber->deliver(record);
        }
    }
}

void Hub::updateEnabled() {
    SeverityFilter filter = sinkFilter_;
    for (const auto& subscriber : *subscribers_) {
        filter = filter | subscriber->filter();
    }
    sinkMask_.store(sinkFilter_.mask(), std::memory_order_relaxed);
    enabled_.store(filter.mask(), std::memory_order_relaxed);
}

std::shared_ptr<const Hub::Subscribers> Hub::subscribers() const {
    const MutexLock lock(mutex_);
    return subscribers_;
}

} // namespace foundation::log::detail
