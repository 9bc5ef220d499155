#pragma once

#include "hshd/services/Client.h"

#include <foundation/thread_annotations.h>

#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_hash.hpp>

#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace hshd {

/// The exported functions that clients have registered for one purpose, in the order of registration. A
/// registration belongs to the client that made it and ends with that client's connection. Thread-safe.
class Registrations final : public EndsWithClient {
public:
    /// What the registered function looks like.
    enum class Form {
        Present, ///< version 2's: two records; terms in, an answer out
        Old,     ///< version 1's first: an optional record; nothing in, whether it vetoes out
    };

    struct Entry {
        boost::uuids::uuid id;
        boost::uuids::uuid owner; ///< client->id()
        Client client;
        boost::uuids::uuid callback;
        std::string name; ///< for people; empty when the purpose has none
        Form form = Form::Present;

        /// For the log: name, client and process.
        std::string describe() const;
    };

    explicit Registrations(std::size_t limitPerClient = 10'000) : limitPerClient_(limitPerClient) {}

    /// @return the registration's id.
    /// @throws RefusedError when the client has too many, or the name is too long.
    boost::uuids::uuid add(Client client, const boost::uuids::uuid& callback, std::string name = {},
                           Form form = Form::Present);
    /// Whether `owner` had made such a registration.
    bool remove(const boost::uuids::uuid& id, const agent::spf::transport::ClientSession& owner);
    /// Removes all that the client has made.
    void clientGone(const Client& client) override;

    std::vector<Entry> all() const;
    std::optional<Entry> find(const boost::uuids::uuid& id) const;

    /// Removes an entry whose function could not be called, when the client no longer has it: it would be
    /// called in vain for ever. @param error why it could not. Any other reason may pass.
    void dropIfGone(const Entry& entry, const std::exception_ptr& error);

private:
    const std::size_t limitPerClient_;
    mutable foundation::Mutex mutex_; // a leaf: sessions are called and released outside it
    std::vector<Entry> entries_ GUARDED_BY(mutex_);
    std::unordered_map<boost::uuids::uuid, std::size_t, boost::hash<boost::uuids::uuid>>
        perClient_ GUARDED_BY(mutex_); // without zeros
};

} // namespace hshd
