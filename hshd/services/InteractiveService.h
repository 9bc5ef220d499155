#pragma once

#include "contract/calls/ExportedCallback.h"
#include "hshd/services/Dispatch.h"
#include "hshd/signin/InteractiveRequest.h"
#include "hshd/signin/SignInRequest.h"

#include <foundation/thread_annotations.h>

#include <boost/uuid/uuid_hash.hpp>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>

namespace hshd {

/// The interactive login service: sign-ins and sign-outs that the person takes part in. Each call starts a
/// request and is answered at once; the outcome comes by the function that the call brings. A client has one
/// request at a time. How the person is asked is the front's business.
class InteractiveService final : public Dispatch, public EndsWithClient {
public:
    static constexpr const char* name = "ZelkorLoginInteractive";
    static constexpr int version = 2;
    static constexpr int revision = 2;

    explicit InteractiveService(const InteractiveParts& parts);

    static std::span<const ServedMethod> methods();

    /// Nobody is signed in for a client that is gone.
    void clientGone(const Client& client) override;

    // The methods; version 1 of the login service has them among its own.
    using ExportedCallback = agent::spf::core::ExportedCallback;
    void requestLoginAsync(const Client& client, const std::string& requester,
                           const ExportedCallback& callback, int level, const std::string& options);
    void requestLogoutWithOptionsAsync(const Client& client, const ExportedCallback& callback,
                                       const std::string& options);
    void abort(const Client& client);
    bool supportsWebRedirect() const;

private:
    struct Pending {
        std::uint64_t number;
        std::shared_ptr<InteractiveRequest> request;
    };

    void begin(const Client& client, const Pending& pending);
    /// A request may end when the next one of its client has begun: an aborted one that was carried out.
    void ended(const Client& client, std::uint64_t number);
    std::shared_ptr<InteractiveRequest> take(const boost::uuids::uuid& client);

    const InteractiveParts parts_;
    std::uint64_t lastNumber_ = 0; // the I/O thread's
    foundation::Mutex mutex_;      // a leaf
    std::unordered_map<boost::uuids::uuid, Pending, boost::hash<boost::uuids::uuid>>
        pending_ GUARDED_BY(mutex_);
};

} // namespace hshd
