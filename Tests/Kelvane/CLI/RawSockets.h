#pragma once

#include <sys/un.h>

#include <cstring>
#include <string>

namespace kelvane {

/// Bytes of the longest message.
inline constexpr std::size_t limit = 1'048'576;
inline const std::string notConnected =
    "Kelvane is not connected. Reopen the project in Kelvane and use --project <projectID> to discover its current "
    "connection.";

/// The sentence of a failure; empty for a success.
inline std::string messageOf(const auto& result) { return result ? std::string() : result.error().message; }

inline sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

}  // namespace kelvane
