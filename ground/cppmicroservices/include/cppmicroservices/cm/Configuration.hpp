#pragma once

#include <cppmicroservices/AnyMap.h>

#include <future>
#include <string>
#include <utility>

namespace cppmicroservices::service::cm {

/// The configuration of one pid. Thread-safe.
///
/// A change is told to the components on ConfigurationAdmin's own thread; the future is ready when they have
/// taken it. Never wait for such a future on that thread, which is where a component's Modified runs.
class Configuration {
public:
    virtual ~Configuration() noexcept = default;

    /// \throws std::runtime_error if the configuration has been removed; so do all others below.
    virtual std::string GetPid() const = 0;
    /// The part before the '~' of a factory configuration's pid; empty for others.
    virtual std::string GetFactoryPid() const = 0;
    virtual AnyMap GetProperties() const = 0;
    /// How often the properties have been set.
    virtual unsigned long GetChangeCount() const = 0;

    /// Replaces the properties. The first update, even with none, is what makes the configuration count.
    virtual std::shared_future<void> Update(AnyMap properties = AnyMap{
                                                AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;
    /// \return whether the properties were other ones, and the future of their update
    virtual std::pair<bool, std::shared_future<void>>
    UpdateIfDifferent(AnyMap properties = AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;
    virtual std::shared_future<void> Remove() = 0;
};

} // namespace cppmicroservices::service::cm
