#pragma once

#include "demo/Narrator.h"
#include "demo/ShellCommand.h"
#include "hshd/process/Child.h"
#include "hshd/process/DaemonProcess.h"

#include <filesystem>
#include <string>

namespace demo {

/// A session at an identity provider that runs as a process of its own.
class ProviderChapter {
public:
    struct Place {
        std::filesystem::path work;     ///< for files
        std::filesystem::path provider; ///< of its scripts
        std::filesystem::path hshd;
        std::filesystem::path zelkorlogin;
    };

    /// Starts the provider.
    ProviderChapter(Narrator& narrator, Place place);
    ~ProviderChapter();
    ProviderChapter(const ProviderChapter&) = delete;
    ProviderChapter& operator=(const ProviderChapter&) = delete;

    void tell(const Shell& shell);

private:
    void signIn();
    /// Of the daemon.
    std::string token() const;
    /// What the provider says of a token; of the daemon's when none is given.
    std::string atProvider(const std::string& what, const std::string& given = {}) const;
    bool becomesAnother(const std::string& first) const;
    bool becomesInactive(const std::string& last) const;

    Narrator& narrator_;
    const Place place_;
    hshd::Child provider_;
    std::string issuer_;
};

} // namespace demo
