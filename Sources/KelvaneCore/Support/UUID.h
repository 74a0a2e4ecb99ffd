#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace kelvane {

/// A 128-bit universally unique identifier. A plain value; its canonical text has 36 characters.
struct UUID {
    std::array<std::uint8_t, 16> bytes{};

    /// A new random identifier (RFC 9562, version 4).
    static UUID random();
    /// Reads the canonical 8-4-4-4-12 form, in upper or lower case; anything else gives nothing.
    static std::optional<UUID> parse(std::string_view text);
    /// The same in upper case alone: what names a file or folder of the program's own.
    static std::optional<UUID> parseUpper(std::string_view text);

    /// Canonical text in upper case, the form of files, URLs and documents.
    [[nodiscard]] std::string upper() const;
    /// Canonical text in lower case, the form that a revision hashes.
    [[nodiscard]] std::string lower() const;
    /// Appends the canonical text to `out` without a temporary.
    void appendUpper(std::string& out) const;
    void appendLower(std::string& out) const;

    auto operator<=>(const UUID&) const = default;
};

}  // namespace kelvane

template <>
struct std::hash<kelvane::UUID> {
    std::size_t operator()(const kelvane::UUID& id) const noexcept;
};
