#include "ShellQuoting.h"

namespace kelvane {

std::string shellQuoted(std::string_view text) {
    std::string quoted = "'";
    for (const char character : text)
        if (character == '\'')
            quoted += R"('\'')";
        else
            quoted += character;
    quoted += '\'';
    return quoted;
}

}  // namespace kelvane
