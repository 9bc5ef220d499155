#pragma once

#include "hshd/services/RemoteMethod.h"
#include "hshd/state/StateThread.h"
#include "hshd/services/Vocabulary.h"
#include "contract/calls/Errors.h"

#include <chrono>

namespace hshd {

/// Answers a call at once or on the state thread, as its method says.
/// @param service outlives the work on the state thread.
template <class Service>
void answerWhereItBelongs(Service& service, const Vocabulary<Service>& vocabulary, StateThread& stateThread,
                          const Call& call) {
    using agent::spf::core::ErrorKind;
    const RemoteMethod<Service>* method = vocabulary.find(*call);
    if (!method)
        return;
    if (method->thread == AnsweredOn::IoThread) {
        method->answer(service, call);
        return;
    }
    const bool posted = stateThread.post([&service, method, call] {
        // The caller has given up: doing it now, after it was told of the failure, would surprise it.
        if (call->deadline() <= std::chrono::steady_clock::now())
            call->fail(ErrorKind::Timeout,
                       "`" + call->method() + "` was not started in time; nothing was changed");
        else
            method->answer(service, call);
    });
    if (!posted)
        call->fail(ErrorKind::Remote, "the daemon is shutting down; nothing was changed");
}

} // namespace hshd
