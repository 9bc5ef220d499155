#pragma once

#include "contract/calls/ExportedCallback.h"
#include "contract/vocabulary/RemoteMethod.h"

#include <boost/uuid/uuid.hpp>

#include <string>

/// The daemon's service for programs at which a person can be asked, whole. @see
/// contract/vocabulary/LoginV2.h
namespace login::spf::prompts::remote {

using agent::spf::core::ExportedCallback;
using agent::spf::cppmsclientutils::RemoteMethod;
using namespace std::chrono_literals;

/// The question and its answer, JSON texts.
using Prompt = std::string(std::string);

// clang-format off
inline constexpr RemoteMethod<boost::uuids::uuid(ExportedCallback)> addPrompt   {"addPrompt", 10s};
inline constexpr RemoteMethod<bool(boost::uuids::uuid)>             removePrompt{"removePrompt", 10s};
// clang-format on

} // namespace login::spf::prompts::remote
