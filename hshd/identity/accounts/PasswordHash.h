#pragma once

#include <span>
#include <string>

/// Passwords as they are kept: salted argon2id hashes in their usual text form ("$argon2id$...").
namespace hshd::password {

/// Takes some tenths of a second and some 64 MB, on purpose. Thread-safe, as are the others.
/// @throws std::runtime_error without that memory.
std::string hash(const std::string& password);
/// Takes as long, whatever the answer.
bool matches(const std::string& hash, const std::string& password) noexcept;
/// Whether the text has the form of a hash.
bool isHash(const std::string& text) noexcept;
/// A hash that no password matches: checking against it takes as long as against any other. The first call
/// makes it, which takes as long as hash(). @throws what hash() throws.
const std::string& unmatchable();

/// Overwrites the text.
void wipe(std::span<char> secret) noexcept;
void wipe(std::string& secret) noexcept;

} // namespace hshd::password
