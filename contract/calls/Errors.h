#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

namespace agent::spf::core {

/// Why a remote call did not return a value.
enum class ErrorKind {
    Remote,       ///< the daemon's method failed; the text is the daemon's, unchanged
    Timeout,      ///< no answer within the call timeout
    Disconnected, ///< the connection ended, or was never there
    Malformed,    ///< an answer came that could not be read
    Refused,      ///< the call was not carried out: unknown method, wrong signature, or over a limit
    Withdrawn,    ///< the called function is gone, and calling it again is in vain
};

std::string_view toString(ErrorKind kind) noexcept;

/// Base of every failure of a remote call. what() never holds argument or result values.
class InvocationError : public std::runtime_error {
public:
    InvocationError(ErrorKind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    ErrorKind kind() const noexcept { return kind_; }

private:
    ErrorKind kind_;
};

class RemoteError : public InvocationError {
public:
    explicit RemoteError(const std::string& text) : InvocationError(ErrorKind::Remote, text) {}
};
class TimeoutError : public InvocationError {
public:
    explicit TimeoutError(const std::string& text) : InvocationError(ErrorKind::Timeout, text) {}
};
class DisconnectedError : public InvocationError {
public:
    explicit DisconnectedError(const std::string& text) : InvocationError(ErrorKind::Disconnected, text) {}
};
class MalformedError : public InvocationError {
public:
    explicit MalformedError(const std::string& text) : InvocationError(ErrorKind::Malformed, text) {}
};
class RefusedError : public InvocationError {
public:
    explicit RefusedError(const std::string& text) : RefusedError(ErrorKind::Refused, text) {}

protected:
    RefusedError(ErrorKind kind, const std::string& text) : InvocationError(kind, text) {}
};

/// An exported function is gone: it was withdrawn, or never exported on this connection. Every other refusal
/// is of this one call, and the next may succeed.
class WithdrawnError : public RefusedError {
public:
    explicit WithdrawnError(const std::string& text) : RefusedError(ErrorKind::Withdrawn, text) {}
};

/// An exception of the type that belongs to `kind`.
std::exception_ptr makeInvocationError(ErrorKind kind, const std::string& text);

} // namespace agent::spf::core
