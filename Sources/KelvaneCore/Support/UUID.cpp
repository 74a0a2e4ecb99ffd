#include "UUID.h"

#include <sys/random.h>

#include <cstring>

#include "Error.h"

namespace kelvane {

namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isHyphenPlace(std::size_t index) { return index == 8 || index == 13 || index == 18 || index == 23; }

void append(std::string& out, const std::array<std::uint8_t, 16>& bytes, const char* digits) {
    char text[36];
    std::size_t at = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (isHyphenPlace(at)) text[at++] = '-';
        text[at++] = digits[bytes[i] >> 4];
        text[at++] = digits[bytes[i] & 15];
    }
    out.append(text, sizeof text);
}

}  // namespace

UUID UUID::random() {
    UUID id;
    // Sixteen bytes come whole from the kernel's pool, or not at all.
    check(getrandom(id.bytes.data(), id.bytes.size(), 0) == 16, "no random bytes");
    id.bytes[6] = static_cast<std::uint8_t>((id.bytes[6] & 0x0F) | 0x40);
    id.bytes[8] = static_cast<std::uint8_t>((id.bytes[8] & 0x3F) | 0x80);
    return id;
}

std::optional<UUID> UUID::parse(std::string_view text) {
    if (text.size() != 36) return std::nullopt;
    UUID id;
    std::size_t nibble = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isHyphenPlace(i)) {
            if (text[i] != '-') return std::nullopt;
            continue;
        }
        const int value = hexValue(text[i]);
        if (value < 0) return std::nullopt;
        auto& byte = id.bytes[nibble / 2];
        byte = static_cast<std::uint8_t>((byte << 4) | value);
        ++nibble;
    }
    return id;
}

std::optional<UUID> UUID::parseUpper(std::string_view text) {
    auto id = parse(text);
    return id && id->upper() == text ? id : std::nullopt;
}

std::string UUID::upper() const {
    std::string out;
    appendUpper(out);
    return out;
}

std::string UUID::lower() const {
    std::string out;
    appendLower(out);
    return out;
}

void UUID::appendUpper(std::string& out) const { append(out, bytes, "0123456789ABCDEF"); }
void UUID::appendLower(std::string& out) const { append(out, bytes, "0123456789abcdef"); }

}  // namespace kelvane

std::size_t std::hash<kelvane::UUID>::operator()(const kelvane::UUID& id) const noexcept {
    std::size_t value;
    std::memcpy(&value, id.bytes.data(), sizeof value);
    std::size_t rest;
    std::memcpy(&rest, id.bytes.data() + 8, sizeof rest);
    return value ^ (rest * 0x9E3779B97F4A7C15ULL);
}
