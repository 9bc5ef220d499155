#pragma once

#include "hshd/state/sqlite/Database.h"

namespace hshd::sqlite {

/// Takes the database's write lock at once; rolls back unless committed. @throws Error
class Transaction {
public:
    explicit Transaction(Database& database);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

private:
    Database& database_;
};

} // namespace hshd::sqlite
