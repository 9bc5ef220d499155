#include "hshd/state/sqlite/Database.h"

#include <sqlite3.h>

namespace hshd::sqlite {

bool Error::damaged() const noexcept {
    return code_ == SQLITE_CORRUPT || code_ == SQLITE_NOTADB;
}

void Database::Close::operator()(sqlite3* handle) const noexcept {
    sqlite3_close(handle);
}

Database::Database(const std::filesystem::path& file) {
    sqlite3* handle = nullptr;
    // The object is used by one thread at a time, so SQLite's own locks are not needed.
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    const int result = sqlite3_open_v2(file.c_str(), &handle, flags, nullptr);
    handle_.reset(handle);
    if (result != SQLITE_OK)
        fail("open the database");
}

void Database::execute(const char* sql) {
    if (sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail("execute a statement");
}

void Database::fail(const char* doing) const {
    const int code = handle_ ? sqlite3_errcode(handle()) & 0xff : SQLITE_NOMEM;
    throw Error(
        std::string("cannot ") + doing + ": " + (handle_ ? sqlite3_errmsg(handle()) : "out of memory"), code);
}

} // namespace hshd::sqlite
