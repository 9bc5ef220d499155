#pragma once

#include "hshd/services/RemoteMethod.h"

#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

namespace hshd {

namespace detail {

void refuseUnknown(agent::spf::transport::IncomingCall& call, const std::string& service);
void refuseSignature(agent::spf::transport::IncomingCall& call, const std::string& service,
                     const std::string& expected);

} // namespace detail

/// The methods of a service by name, and the check that a caller means the same signature. Immutable.
template <class Service>
class Vocabulary {
public:
    /// @param service for error texts. @param methods live as long as this does.
    Vocabulary(std::string service, std::span<const RemoteMethod<Service>> methods)
        : service_(std::move(service)) {
        for (const RemoteMethod<Service>& method : methods)
            rows_.emplace(method.name, Row{&method, method.signature.named(method.name)});
    }

    /// The method that the call asks for; null when there is none with that name and signature: the call is
    /// then refused, with a text that says what was expected.
    const RemoteMethod<Service>* find(agent::spf::transport::IncomingCall& call) const {
        const auto row = rows_.find(std::string_view(call.method()));
        if (row == rows_.end()) {
            detail::refuseUnknown(call, service_);
            return nullptr;
        }
        if (row->second.descriptor != call.descriptor()) {
            detail::refuseSignature(call, service_, row->second.descriptor);
            return nullptr;
        }
        return row->second.method;
    }

private:
    struct Row {
        const RemoteMethod<Service>* method;
        std::string descriptor;
    };

    std::string service_;
    std::unordered_map<std::string_view, Row> rows_;
};

} // namespace hshd
