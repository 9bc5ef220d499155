#include "hshd/services/StatusNotifier.h"

#include "hshd/services/FailureText.h"
#include "hshd/Log.h"

#include <boost/optional/optional.hpp>

#include <exception>
#include <string>
#include <utility>

namespace hshd {

using agent::spf::core::GenericPayload;

namespace {

GenericPayload toldTo(const Registrations::Entry& listener, const StatusChange& change) {
    return listener.form == Registrations::Form::Old
               ? GenericPayload::of(boost::optional<login::LoginInfo>(change.current))
               : GenericPayload::of(change.current, change.previous);
}

} // namespace

void StatusNotifier::notify(const StatusChange& change) const noexcept {
    try {
        for (Registrations::Entry& listener : listeners_.all()) {
            const auto client = listener.client;
            // The registrations outlive every connection, and so every handler; this object need not.
            const auto failed = [&listeners = listeners_, listener](const std::exception_ptr& error) {
                logger().log(Severity::warning, "A status listener of " + listener.describe() +
                                                    " was not told of a change: " + failureText(error));
                listeners.dropIfGone(listener, error);
            };
            client->callBack(listener.callback, toldTo(listener, change), limit_,
                             {[](const GenericPayload&) {}, failed});
        }
    } catch (...) {
        logger().log(Severity::error, "Could not tell the status listeners of a change: " +
                                          failureText(std::current_exception()));
    }
}

} // namespace hshd
