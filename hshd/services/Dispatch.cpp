#include "hshd/services/Dispatch.h"

#include "contract/calls/Errors.h"

#include <chrono>
#include <utility>

namespace hshd {
namespace {

using agent::spf::core::ErrorKind;
using agent::spf::transport::IncomingCall;

/// What a peer sent, short enough to send back.
std::string excerpt(const std::string& text) {
    constexpr std::size_t most = 1000;
    return text.size() <= most ? text : text.substr(0, most) + "...";
}

} // namespace

Dispatch::Dispatch(std::string name, std::span<const ServedMethod> methods, StateThread& stateThread,
                   std::vector<EndsWithClient*> endsWithClient)
    : name_(std::move(name)), stateThread_(stateThread), endsWithClient_(std::move(endsWithClient)) {
    for (const ServedMethod& method : methods)
        rows_.emplace(method.name, Row{&method, method.signature.named(method.name)});
}

void Dispatch::onCall(std::unique_ptr<IncomingCall> incoming) {
    const Call call(std::move(incoming));
    const ServedMethod* method = find(*call);
    if (!method)
        return;
    if (method->thread == AnsweredOn::IoThread)
        method->answer(*this, call);
    else
        answerOnStateThread(*method, call);
}

void Dispatch::onDisconnected(const Client& client) {
    stateThread_.drop(client.get());
    for (EndsWithClient* ends : endsWithClient_)
        ends->clientGone(client);
}

const ServedMethod* Dispatch::find(IncomingCall& call) const {
    const auto row = rows_.find(std::string_view(call.method()));
    if (row == rows_.end()) {
        call.fail(ErrorKind::Refused, name_ + " has no method `" + excerpt(call.method()) +
                                          "` (received descriptor: " + excerpt(call.descriptor()) + ")");
        return nullptr;
    }
    if (row->second.descriptor != call.descriptor()) {
        call.fail(ErrorKind::Refused,
                  "`" + call.method() + "` of " + name_ + " has another signature; expected descriptor: " +
                      row->second.descriptor + ", received descriptor: " + excerpt(call.descriptor()));
        return nullptr;
    }
    return row->second.method;
}

void Dispatch::answerOnStateThread(const ServedMethod& method, const Call& call) {
    const auto posted = stateThread_.post(call->client().get(), call->bytes(), [this, &method, call] {
        // The caller has given up, or is gone: doing it now would surprise whoever sees it.
        if (call->deadline() <= std::chrono::steady_clock::now() || !call->client()->connected())
            call->fail(ErrorKind::Timeout,
                       "`" + call->method() + "` was not started in time; nothing was changed");
        else
            method.answer(*this, call);
    });
    if (posted == StateThread::Posted::Ending)
        call->fail(ErrorKind::Remote, "the daemon is shutting down; nothing was changed");
    else if (posted == StateThread::Posted::Full)
        call->fail(ErrorKind::Refused, "`" + call->method() +
                                           "`: too many changes wait to be saved; nothing was changed. Wait "
                                           "for the answers of those before it");
}

} // namespace hshd
