#include <gtest/gtest.h>

#include "Platform/ActivationLeave.h"

namespace kelvane::testing {
namespace {

/// The text that the pieces of a message carry, up to the first zero.
std::string joined(const std::vector<StartupMessagePiece>& pieces) {
    std::string text;
    for (const auto& piece : pieces) text.append(piece.data(), piece.size());
    return text.substr(0, text.find('\0'));
}

TEST(ActivationLeave, IsShortTextWithoutControlCharacters) {
    EXPECT_TRUE(isActivationText(""));
    EXPECT_TRUE(isActivationText("nautilus/kelvane/2214-0-höhle_TIME4711"));
    EXPECT_TRUE(isActivationText(std::string(1024, 'x')));
    EXPECT_FALSE(isActivationText(std::string(1025, 'x')));
    for (const char* text : {"a\nb", "a\tb", "\x7f", "\x01", "\xff", "\xc3", "\xed\xa0\x80"})
        EXPECT_FALSE(isActivationText(text)) << text;
    EXPECT_FALSE(isActivationText(std::string_view("a\0b", 3)));
}

TEST(ActivationLeave, AStartupIdTellsTheMomentOfItsAct) {
    EXPECT_EQ(startupTime("launcher/kelvane/7-0-desk_TIME4711"), 4711U);
    EXPECT_EQ(startupTime("_TIME1"), 1U);
    EXPECT_EQ(startupTime("of_TIME7_TIME4294967295"), 4294967295U) << "the last one counts";
    for (const char* id : {"", "launcher", "_TIME", "_TIME0", "_TIME-1", "_TIME+1", "_TIME 1", "_TIME1 ", "_TIME1x",
                           "_TIME4294967296", "_TIME99999999999999999999", "_time1", "_TIME1_TIME"})
        EXPECT_EQ(startupTime(id), std::nullopt) << id;
}

TEST(ActivationLeave, TheServersClockBeginsAnew) {
    EXPECT_TRUE(isLaterOnServer(2, 1));
    EXPECT_FALSE(isLaterOnServer(1, 1));
    EXPECT_FALSE(isLaterOnServer(1, 2));
    EXPECT_TRUE(isLaterOnServer(5, 4294967290U));
    EXPECT_FALSE(isLaterOnServer(4294967290U, 5));
}

TEST(ActivationLeave, TheEndOfAStartIsToldInPiecesOfWhichTheLastHasAZero) {
    EXPECT_EQ(joined(startupEndMessage("a_TIME1")), "remove: ID=\"a_TIME1\"");
    EXPECT_EQ(joined(startupEndMessage("a \"b\" \\c")), "remove: ID=\"a \\\"b\\\" \\\\c\"");
    for (std::size_t length = 0; length <= 60; ++length) {
        const auto pieces = startupEndMessage(std::string(length, 'x'));
        EXPECT_EQ(joined(pieces).size(), length + 13) << length;
        EXPECT_EQ(pieces.back().back(), '\0') << length;
        EXPECT_EQ(pieces.size(), (length + 13) / 20 + 1) << "no piece is empty but for its zero: " << length;
    }
}

}  // namespace
}  // namespace kelvane::testing
