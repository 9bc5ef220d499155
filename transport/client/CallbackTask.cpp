#include "transport/client/CallbackTask.h"

#include "contract/calls/CallbackTable.h"
#include "contract/calls/Errors.h"
#include "transport/client/Connection.h"

#include <exception>
#include <utility>

namespace agent::spf::transport {

using core::ErrorKind;

CallbackTask::CallbackTask(std::weak_ptr<Connection> connection, std::shared_ptr<core::CallbackTable> table,
                           Call call, foundation::concurrent::threadpool::stop_token stop)
    : connection_(std::move(connection)), table_(std::move(table)), call_(std::move(call)),
      stop_(std::move(stop)) {}

CallbackTask::~CallbackTask() {
    answer(ErrorKind::Refused, "The client process is stopping");
}

void CallbackTask::run() noexcept {
    if (std::chrono::steady_clock::now() >= call_.deadline) {
        answer(ErrorKind::Timeout, "The callback was overdue before it started");
        return;
    }
    try {
        answer(table_->invoke(call_.callback, stop_, std::move(call_.arguments)));
    } catch (const core::WithdrawnError& error) {
        answer(ErrorKind::Withdrawn, error.what());
    } catch (const std::exception& error) {
        // The function's own failure, a remote call's perhaps, whose kind is nothing to the daemon.
        answer(ErrorKind::Remote, error.what());
    } catch (...) {
        answer(ErrorKind::Remote, "The callback threw something that is not a std::exception");
    }
}

template <class... Outcome>
void CallbackTask::answer(const Outcome&... outcome) noexcept {
    const auto connection = std::exchange(connection_, {}).lock();
    if (connection)
        connection->answerCallback(call_.id, outcome...);
}

} // namespace agent::spf::transport
