#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

struct sqlite3;

namespace hshd::sqlite {

/// What SQLite reports, without bound values.
class Error : public std::runtime_error {
public:
    Error(const std::string& text, int code) : std::runtime_error(text), code_(code) {}
    /// SQLite's primary result code.
    int code() const noexcept { return code_; }
    /// The file is not a database, or its content is damaged.
    bool damaged() const noexcept;

private:
    int code_;
};

/// One connection to a database file; closed with the object, after its statements. One thread at a time.
class Database {
public:
    /// Opens the file, which must exist. @throws Error
    explicit Database(const std::filesystem::path& file);

    /// Runs statements that have no parameters and whose rows do not matter. @throws Error
    void execute(const char* sql);
    /// @throws Error for the connection's latest failure.
    [[noreturn]] void fail(const char* doing) const;

    sqlite3* handle() const noexcept { return handle_.get(); }

private:
    struct Close {
        void operator()(sqlite3* handle) const noexcept;
    };
    std::unique_ptr<sqlite3, Close> handle_;
};

} // namespace hshd::sqlite
