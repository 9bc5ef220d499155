#pragma once

#include "hshd/services/Client.h"
#include "hshd/services/ServedMethod.h"
#include "hshd/state/StateThread.h"

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace hshd {

/// The base of hshd's services: a service is a table of its methods, and what ends with a client. A call is
/// answered at once or on the state thread, as its row says; one with another name or signature is refused.
///
/// What it is given outlives it, and it outlives the work that it posts.
class Dispatch : public agent::spf::transport::Service {
public:
    void onCall(std::unique_ptr<agent::spf::transport::IncomingCall> incoming) final;
    void onDisconnected(const Client& client) final;

protected:
    /// @param name for error texts; @see nameOf() @param methods live for ever.
    Dispatch(std::string name, std::span<const ServedMethod> methods, StateThread& stateThread,
             std::vector<EndsWithClient*> endsWithClient);

    template <class Service>
    static std::string nameOf() {
        return Service::name + (' ' + std::to_string(Service::version)) + '.' +
               std::to_string(Service::revision);
    }

private:
    struct Row {
        const ServedMethod* method;
        std::string descriptor;
    };

    /// Null when it is none of the table's: the call is then refused, with a text that says what was
    /// expected.
    const ServedMethod* find(agent::spf::transport::IncomingCall& call) const;
    void answerOnStateThread(const ServedMethod& method, const Call& call);

    const std::string name_;
    std::unordered_map<std::string_view, Row> rows_;
    StateThread& stateThread_;
    const std::vector<EndsWithClient*> endsWithClient_;
};

} // namespace hshd
