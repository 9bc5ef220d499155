#pragma once

#include "contract/calls/SignatureDescriptor.h"

#include <foundation/thread_annotations.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace agent::spf::transport {

/// The numbers under which a connection's two ends know methods with their signatures, so that the texts
/// travel only until the daemon has answered a call that brought them.
///
/// Calls of several threads overtake each other on their way to the socket, so each brings the texts until
/// then; the daemon compares. Thread-safe; the lock is a leaf.
class KnownMethods {
public:
    /// @param most how many the daemon keeps; further ones, and very long ones, always travel as texts.
    explicit KnownMethods(std::size_t most) : most_(most) {}

    struct Known {
        std::uint32_t number; ///< 0 for one that has none
        bool agreed;          ///< the number alone will do
    };
    Known find(std::string_view method, core::SignatureDescriptor signature);
    /// The daemon has answered a call that brought the texts of this number. 0 does nothing.
    void agree(std::uint32_t number);

private:
    struct Method {
        std::string name;
        std::string signature;
        bool agreed = false;
    };

    const std::size_t most_;
    foundation::Mutex mutex_;
    std::vector<Method> methods_ GUARDED_BY(mutex_);                                 // by number, less one
    std::unordered_multimap<std::size_t, std::uint32_t> numbers_ GUARDED_BY(mutex_); // by the name's hash
};

} // namespace agent::spf::transport
