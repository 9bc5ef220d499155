#pragma once

#include "hshd/services/Dispatch.h"
#include "hshd/services/LoginOperations.h"

#include <span>

namespace hshd {

/// Version 2 of the login service as clients call it: one row of methods() for each remote method. Queries
/// are answered on the transport's I/O thread; what changes the state runs on the state thread and is
/// answered when it is saved.
class LoginServiceV2 final : public Dispatch, public LoginOperations {
public:
    static constexpr const char* name = "ZelkorLogin";
    static constexpr int version = 2;
    static constexpr int revision = 1;

    explicit LoginServiceV2(const Parts& parts);

    static std::span<const ServedMethod> methods();

private:
    bool shouldVetoSignIn() const;
    void vetoSignIn(bool vetoed);
};

} // namespace hshd
