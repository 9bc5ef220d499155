#pragma once

#include "contract/calls/Errors.h"
#include "contract/calls/ExportedCallback.h"
#include "contract/calls/SignatureDescriptor.h"

#include <string>
#include <string_view>

namespace hshd {

/// Refuses a function that could never be called: it would fail at each call, far from the mistake.
/// @throws RefusedError unless the function has that signature.
template <class Signature>
void checkSignature(const agent::spf::core::ExportedCallback& callback) {
    const std::string_view expected = agent::spf::core::SignatureDescriptor::of<Signature>().unnamed();
    if (callback.descriptor() != expected)
        throw agent::spf::core::RefusedError(
            "the exported function has another signature; expected descriptor: " + std::string(expected) +
            ", received descriptor: " + callback.descriptor().substr(0, 1000));
}

} // namespace hshd
