#pragma once

#include <string>
#include <string_view>

/// Passwords as they are kept: salted argon2id hashes in their usual text form ("$argon2id$...").
namespace hshd::password {

/// Takes some tenths of a second and some 64 MB, on purpose. Thread-safe, as are the others.
/// @throws std::runtime_error without that memory.
std::string hash(const std::string& password);
/// Takes as long, whatever the answer.
bool matches(const std::string& hash, std::string_view password) noexcept;
/// Whether the text has the form of a hash.
bool isHash(const std::string& text) noexcept;
/// A hash that no password matches: checking against it takes as long as against any other. The first call
/// makes it, which takes as long as hash(). @throws what hash() throws.
const std::string& unmatchable();

} // namespace hshd::password
