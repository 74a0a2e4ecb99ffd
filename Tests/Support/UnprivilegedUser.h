#pragma once

#include <unistd.h>

#include "Support/Error.h"

namespace kelvane::testing {

/// For the length of its life the process has the rights of nobody in particular, so that permissions hold in a test
/// that the superuser runs. For anyone else it does nothing. All threads of the process are meant.
class UnprivilegedUser {
public:
    UnprivilegedUser() : wasSuperuser_(geteuid() == 0) {
        if (wasSuperuser_) check(seteuid(nobody) == 0, "the superuser's rights could not be laid down");
    }
    ~UnprivilegedUser() {
        if (wasSuperuser_) check(seteuid(0) == 0, "the superuser's rights could not be taken up again");
    }
    UnprivilegedUser(const UnprivilegedUser&) = delete;
    UnprivilegedUser& operator=(const UnprivilegedUser&) = delete;

private:
    static constexpr uid_t nobody = 65534;
    bool wasSuperuser_;
};

}  // namespace kelvane::testing
