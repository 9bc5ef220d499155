#pragma once

#include <string>

namespace cppmicroservices::detail {

/// A loaded library. It is never unloaded: objects and threads that came from it may live on.
class SharedLibrary {
public:
    SharedLibrary() = default;
    /// Loads it, or takes it if it is loaded already; its initialisers run here.
    /// \throws std::runtime_error with the loader's reason, which names the file.
    explicit SharedLibrary(const std::string& path);

    explicit operator bool() const noexcept { return handle_ != nullptr; }
    bool operator==(const SharedLibrary&) const = default;

    /// Null if the library exports no such name.
    void* Symbol(const std::string& name) const;

private:
    void* handle_ = nullptr;
};

} // namespace cppmicroservices::detail
