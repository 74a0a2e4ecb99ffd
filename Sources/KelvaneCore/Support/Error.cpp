#include "Error.h"

#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace kelvane {

Error Error::cancelled() {
    Error error("The operation was cancelled.");
    error.kind = ErrorKind::cancelled;
    return error;
}

Error Error::posix(const std::string& what, int number) {
    return Error(what + ": " + std::generic_category().message(number) + ".", "POSIX", number);
}

void check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "Kelvane: internal fault: %s\n", what);
    std::abort();
}

}  // namespace kelvane
