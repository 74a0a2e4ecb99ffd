#include "ActivationLeave.h"

#include <QUtf8StringView>
#include <algorithm>
#include <charconv>

namespace kelvane {

namespace {

/// Ids and tokens of today's desktops have some 100; nobody needs to take a message of more than 4,096.
constexpr std::size_t maximumBytes = 1024;

bool isControl(char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f; }

}  // namespace

bool isActivationText(std::string_view text) {
    return text.size() <= maximumBytes && std::ranges::none_of(text, isControl) &&
           QUtf8StringView(text.data(), static_cast<qsizetype>(text.size())).isValidUtf8();
}

std::optional<std::uint32_t> startupTime(std::string_view startupID) {
    constexpr std::string_view mark = "_TIME";
    const auto at = startupID.rfind(mark);
    if (at == std::string_view::npos) return std::nullopt;
    const std::string_view digits = startupID.substr(at + mark.size());
    std::uint32_t time = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), time);
    // To the server zero is whatever time it is.
    if (error != std::errc() || end != digits.data() + digits.size() || time == 0) return std::nullopt;
    return time;
}

bool isLaterOnServer(std::uint32_t time, std::uint32_t other) { return static_cast<std::int32_t>(time - other) > 0; }

std::vector<StartupMessagePiece> startupEndMessage(std::string_view startupID) {
    std::string text = "remove: ID=\"";
    for (const char byte : startupID) {
        if (byte == '"' || byte == '\\') text += '\\';
        text += byte;
    }
    text += '"';
    std::vector<StartupMessagePiece> pieces(text.size() / StartupMessagePiece().size() + 1);
    for (std::size_t at = 0; at < text.size(); ++at)
        pieces[at / pieces.front().size()][at % pieces.front().size()] = text[at];
    return pieces;
}

}  // namespace kelvane
