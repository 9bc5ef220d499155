#pragma once

namespace agent::spf::core {

/// Under these properties a transport registers an Invokable, besides "service.ranking" (an int), and
/// trackers look it up.
namespace properties {
inline constexpr char serviceName[] = "spf.service.name";         ///< string
inline constexpr char serviceVersion[] = "spf.service.version";   ///< int
inline constexpr char serviceRevision[] = "spf.service.revision"; ///< int
inline constexpr char clientId[] = "spf.client.id";               ///< string: the process's id at the daemon
inline constexpr char generation[] = "spf.daemon.generation";     ///< string: a uuid per start of the daemon
} // namespace properties

} // namespace agent::spf::core
