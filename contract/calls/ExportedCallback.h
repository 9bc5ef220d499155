#pragma once

#include <boost/uuid/uuid.hpp>

#include <optional>
#include <string>
#include <utility>

namespace agent::spf::core {

/// The handle of a function exported to a daemon; a plain value. Destroying it does not withdraw the
/// function: the CallbackManager that made it keeps it until it is removed or the manager goes.
class ExportedCallback {
public:
    ExportedCallback() : id_{} {}
    ExportedCallback(boost::uuids::uuid id, std::string descriptor,
                     std::optional<unsigned int> callLimit = {})
        : id_(id), descriptor_(std::move(descriptor)), callLimit_(callLimit) {}

    boost::uuids::uuid getCallbackID() const noexcept { return id_; }
    /// The signature's text, as both sides know it.
    const std::string& descriptor() const noexcept { return descriptor_; }
    /// How often it may be called; without a limit when empty.
    std::optional<unsigned int> callLimit() const noexcept { return callLimit_; }

    bool operator==(const ExportedCallback&) const = default;

private:
    boost::uuids::uuid id_;
    std::string descriptor_;
    std::optional<unsigned int> callLimit_;
};

} // namespace agent::spf::core
