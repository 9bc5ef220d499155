#pragma once

#include "hshd/state/sqlite/Database.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3_stmt;

namespace hshd::sqlite {

/// A prepared statement. Strings are kept as blobs: neither an embedded zero nor an unpaired surrogate is
/// lost. Parameters are bound in their order, columns are read by index from 0. Every member throws Error.
class Statement {
public:
    Statement(Database& database, std::string_view sql);

    Statement& bind(std::int64_t value);
    Statement& bind(std::string_view value);
    Statement& bind(std::u16string_view value);

    /// Whether there is a (further) row.
    bool step();
    /// Steps a statement that yields no rows.
    void run() { step(); }

    std::int64_t integer(int column) const;
    std::string text(int column) const;
    std::u16string text16(int column) const;

private:
    struct Finalize {
        void operator()(sqlite3_stmt* handle) const noexcept;
    };
    Statement& bindBytes(const void* data, std::size_t size);

    Database& database_;
    std::unique_ptr<sqlite3_stmt, Finalize> handle_;
    int bound_ = 0;
};

} // namespace hshd::sqlite
