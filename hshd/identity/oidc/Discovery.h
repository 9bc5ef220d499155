#pragma once

#include "hshd/identity/oidc/Problem.h"
#include "hshd/identity/oidc/Settings.h"
#include "hshd/net/NetworkThread.h"

#include <foundation/json.h>
#include <foundation/thread_annotations.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hshd::oidc {

/// What a provider says of itself (OpenID Connect Discovery). Every address in it is safe to send secrets to;
/// an empty one is not offered.
struct Metadata {
    std::string authorizationEndpoint;
    std::string tokenEndpoint;
    std::string keysAddress;
    std::string userinfoEndpoint;
    std::string deviceEndpoint;
    std::string revocationEndpoint;
    std::string endSessionEndpoint;
    bool namesIssuer = false; ///< in its answer to an authorization (RFC 9207)

    /// @throws std::runtime_error saying in plain words what does not fit the settings.
    static Metadata parse(std::string_view text, const Settings& settings);
};

using Keys = std::vector<foundation::json::object>;

/// Fetches and keeps what the provider publishes: its metadata for an hour, its keys for a day, or until one
/// is asked for that is not among them. On the network thread, but for known().
class Discovery {
public:
    Discovery(net::NetworkThread& network, const Settings& settings)
        : network_(network), settings_(settings) {}

    using MetadataDone = std::function<void(Outcome<std::shared_ptr<const Metadata>>)>;
    void metadata(const MetadataDone& done);
    using KeysDone = std::function<void(Outcome<std::shared_ptr<const Keys>>)>;
    /// @param anew one was missing: they are fetched again, but not for that reason within ten seconds.
    void keys(bool anew, const KeysDone& done);
    /// The metadata if they have been fetched. From any thread.
    std::shared_ptr<const Metadata> known() const;

private:
    void fetch(const std::string& url, net::HttpDone done) const;

    net::NetworkThread& network_;
    const Settings& settings_;
    mutable foundation::Mutex mutex_; // a leaf
    std::shared_ptr<const Metadata> metadata_ GUARDED_BY(mutex_);
    BootClock::time_point metadataFetched_{};
    std::shared_ptr<const Keys> keys_;
    BootClock::time_point keysFetched_{};
    bool anew_ = false; ///< for a key that was missing
};

} // namespace hshd::oidc
