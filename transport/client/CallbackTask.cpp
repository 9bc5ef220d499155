#include "transport/client/CallbackTask.h"

#include <exception>
#include <utility>

namespace agent::spf::transport {

CallbackTask::CallbackTask(std::shared_ptr<core::CallbackTable> table, const boost::uuids::uuid& callback,
                           core::GenericPayload arguments, std::chrono::steady_clock::time_point deadline,
                           foundation::concurrent::threadpool::stop_token stop)
    : table_(std::move(table)), callback_(callback), arguments_(std::move(arguments)), deadline_(deadline),
      stop_(std::move(stop)) {}

std::variant<core::GenericPayload, CallbackTask::Failure> CallbackTask::run() noexcept {
    if (std::chrono::steady_clock::now() >= deadline_)
        return Failure{core::ErrorKind::Timeout, "The callback was overdue before it started"};
    try {
        return table_->invoke(callback_, stop_, std::move(arguments_));
    } catch (const core::WithdrawnError& error) {
        return Failure{core::ErrorKind::Refused, error.what()};
    } catch (const std::exception& error) {
        // The function's own failure, a remote call's perhaps, whose kind is nothing to the daemon.
        return Failure{core::ErrorKind::Remote, error.what()};
    } catch (...) {
        return Failure{core::ErrorKind::Remote, "The callback threw something that is not a std::exception"};
    }
}

} // namespace agent::spf::transport
