#pragma once

#include "contract/calls/BlockingCall.h"
#include "contract/calls/GenericPayload.h"
#include "wire.capnp.h"

#include <boost/uuid/uuid.hpp>

#include <cstddef>
#include <span>

namespace agent::spf::transport::wire {

using SlotList = capnp::List<Slot, capnp::Kind::STRUCT>;

/// Writes one slot each into `slots`, which has as many elements as the payload.
/// @throws core::RefusedError for a value of a type that cannot be sent; the text names the slot and the
/// type.
void encodePayload(const core::GenericPayload& payload, SlotList::Builder slots);
void encodePayload(std::span<const core::ArgumentRef> arguments, SlotList::Builder slots);

/// Reads what encodePayload() wrote, or anything else that a peer sends instead.
/// @param maxSlots the largest number of slots accepted.
/// @throws core::MalformedError saying which slot is wrong and how, never with its value; kj::Exception when
/// the message itself is broken.
core::GenericPayload decodePayload(SlotList::Reader slots, std::size_t maxSlots);
/// Reads an answer that is just what its caller asked for to where the caller wants it. False, and nothing is
/// changed, for any other: decodePayload() then says what it is.
/// @throws as decodePayload().
bool decodeResult(SlotList::Reader slots, const core::ResultRef& result);

boost::uuids::uuid decodeUuid(Uuid::Reader uuid) noexcept;
void encodeUuid(const boost::uuids::uuid& value, Uuid::Builder uuid) noexcept;

} // namespace agent::spf::transport::wire
