#include "hshd/state/sqlite/Transaction.h"

#include <sqlite3.h>

namespace hshd::sqlite {

Transaction::Transaction(Database& database) : database_(database) {
    database_.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    // Some failures roll back by themselves, so ask whether there is anything left to roll back.
    if (sqlite3_get_autocommit(database_.handle()) == 0)
        sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
    database_.execute("COMMIT");
}

} // namespace hshd::sqlite
