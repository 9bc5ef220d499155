#include "hshd/state/sqlite/Statement.h"

#include <sqlite3.h>

#include <cstring>

namespace hshd::sqlite {

void Statement::Finalize::operator()(sqlite3_stmt* handle) const noexcept {
    sqlite3_finalize(handle);
}

Statement::Statement(Database& database, std::string_view sql) : database_(database) {
    sqlite3_stmt* handle = nullptr;
    if (sqlite3_prepare_v2(database.handle(), sql.data(), static_cast<int>(sql.size()), &handle, nullptr) !=
        SQLITE_OK)
        database.fail("prepare a statement");
    handle_.reset(handle);
}

Statement& Statement::bind(std::int64_t value) {
    if (sqlite3_bind_int64(handle_.get(), ++bound_, value) != SQLITE_OK)
        database_.fail("bind a value");
    return *this;
}

Statement& Statement::bind(std::string_view value) {
    return bindBytes(value.data(), value.size());
}

Statement& Statement::bind(std::u16string_view value) {
    return bindBytes(value.data(), value.size() * sizeof(char16_t));
}

Statement& Statement::bindBytes(const void* data, std::size_t size) {
    // A null pointer would bind NULL instead of an empty blob.
    const void* bytes = size == 0 ? "" : data;
    if (sqlite3_bind_blob64(handle_.get(), ++bound_, bytes, size, SQLITE_TRANSIENT) != SQLITE_OK)
        database_.fail("bind a value");
    return *this;
}

bool Statement::step() {
    switch (sqlite3_step(handle_.get())) {
    case SQLITE_ROW:
        return true;
    case SQLITE_DONE:
        return false;
    default:
        database_.fail("execute a statement");
    }
}

std::int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(handle_.get(), column);
}

std::string Statement::text(int column) const {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(handle_.get(), column));
    return bytes ? std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(handle_.get(), column)))
                 : std::string();
}

std::u16string Statement::text16(int column) const {
    const void* bytes = sqlite3_column_blob(handle_.get(), column);
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(handle_.get(), column));
    if (size % sizeof(char16_t) != 0)
        throw Error("a UTF-16 string has an odd number of bytes", SQLITE_CORRUPT);
    std::u16string text(size / sizeof(char16_t), u'\0');
    if (bytes)
        std::memcpy(text.data(), bytes, size);
    return text;
}

} // namespace hshd::sqlite
