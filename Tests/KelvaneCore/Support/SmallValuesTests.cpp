#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "Support/Error.h"
#include "Support/Geometry.h"
#include "Support/Text.h"
#include "Support/UUID.h"

namespace kelvane {
namespace {

TEST(UUID, ReadsBothCasesAndWritesEither) {
    const auto id = UUID::parse("8e7c6c0b-7E5B-4c0d-9D2D-0f1c7a6e1b11");
    ASSERT_TRUE(id);
    EXPECT_EQ(id->upper(), "8E7C6C0B-7E5B-4C0D-9D2D-0F1C7A6E1B11");
    EXPECT_EQ(id->lower(), "8e7c6c0b-7e5b-4c0d-9d2d-0f1c7a6e1b11");
    EXPECT_EQ(UUID::parse(id->upper()), id);
    std::string text = "id ";
    id->appendUpper(text);
    text += ' ';
    id->appendLower(text);
    EXPECT_EQ(text, "id " + id->upper() + " " + id->lower());
}

TEST(UUID, RefusesEveryOtherText) {
    for (const char* text :
         {"", "8E7C6C0B", "8E7C6C0B7E5B4C0D9D2D0F1C7A6E1B11", "{8E7C6C0B-7E5B-4C0D-9D2D-0F1C7A6E1B11}",
          "8E7C6C0B-7E5B-4C0D-9D2D-0F1C7A6E1B1", "8E7C6C0B-7E5B-4C0D-9D2D-0F1C7A6E1B111",
          "8E7C6C0B-7E5B-4C0D-9D2D-0F1C7A6E1B1G", "8E7C6C0B_7E5B-4C0D-9D2D-0F1C7A6E1B11",
          "8E7C6C0-B7E5B-4C0D-9D2D-0F1C7A6E1B11", " 8E7C6C0B-7E5B-4C0D-9D2D-0F1C7A6E1B1"}) {
        EXPECT_EQ(UUID::parse(text), std::nullopt) << text;
    }
}

TEST(UUID, ReadsUpperCaseAlone) {
    const auto id = UUID::parse("8e7c6c0b-7e5b-4c0d-9d2d-0f1c7a6e1b11");
    ASSERT_TRUE(id);
    EXPECT_EQ(UUID::parseUpper(id->upper()), id);
    for (const std::string& text : {id->lower(), id->upper().substr(1), std::string()})
        EXPECT_EQ(UUID::parseUpper(text), std::nullopt) << text;
}

TEST(UUID, RandomOnesAreOfVersionFourAndDiffer) {
    std::unordered_set<UUID> ids;
    for (int i = 0; i < 1000; ++i) {
        const UUID id = UUID::random();
        EXPECT_EQ(id.bytes[6] >> 4, 4);
        EXPECT_EQ(id.bytes[8] >> 6, 2);
        ids.insert(id);
    }
    EXPECT_EQ(ids.size(), 1000u);
}

TEST(Error, OfTheSystemIsASentence) {
    const Error error = Error::posix("“a.mov” could not be read", ENOENT);
    EXPECT_EQ(error.message, "“a.mov” could not be read: No such file or directory.");
    EXPECT_EQ(error.domain, "POSIX");
    EXPECT_EQ(error.code, ENOENT);
    EXPECT_FALSE(error.isCancelled());
    EXPECT_TRUE(Error::cancelled().isCancelled());
    EXPECT_EQ(Error::cancelled().message, "The operation was cancelled.");
}

TEST(ErrorDeathTest, AFailedCheckEndsTheProgramWithItsReason) {
    check(true, "never shown");
    EXPECT_DEATH(check(false, "the reason"), "Kelvane: internal fault: the reason");
}

TEST(AffineTransform, ThenAppliesTheSecondMapToTheFirstOnesResult) {
    const AffineTransform quarterTurn{0, 1, -1, 0, 0, 0};
    const auto map = quarterTurn.then(AffineTransform::scaling(2, 3)).then(AffineTransform::translation(5, 7));
    // (1, 2) turns to (-2, 1), scales to (-4, 3), moves to (1, 10).
    EXPECT_EQ(map, (AffineTransform{0, 3, -2, 0, 5, 7}));
    EXPECT_EQ(map.boundingRect({1, 2, 0, 0}), (Rect{1, 10, 0, 0}));
    EXPECT_EQ(map.determinant(), 6);
}

TEST(AffineTransform, TheInverseLeadsBack) {
    const AffineTransform map{0, 2, -4, 0, 10, 20};
    EXPECT_EQ(map.then(map.inverted()), AffineTransform());
    EXPECT_EQ((AffineTransform{1, 1, 1, 1, 3, 4}).inverted(), AffineTransform());
}

TEST(AffineTransform, TheBoundingRectangleOfATurnMayHaveANegativeOrigin) {
    const AffineTransform quarterTurn{0, 1, -1, 0, 0, 0};
    EXPECT_EQ(quarterTurn.boundingRect({0, 0, 1920, 1080}), (Rect{-1080, 0, 1080, 1920}));
    EXPECT_EQ((AffineTransform{-1, 0, 0, 1, 0, 0}).boundingRect({10, 20, 30, 40}), (Rect{-40, 20, 30, 40}));
}

TEST(TrimmedText, LosesWhiteSpaceAndLineBreaksAtBothEnds) {
    const struct {
        const char* text;
        const char* trimmed;
    } rows[] = {
        {"  A  ", "A"},
        {"   ", ""},
        {"", ""},
        {"\t\n\v\f\r A B \r\n", "A B"},
        {"\u00A0\u2003\u3000Ünïcode\u2028\u2029\u0085\u1680", "Ünïcode"},
        {"\u200AA\u202F\u205F", "A"},
        {"東京", "東京"},
        {"\u200B", "\u200B"},
        {"\x01", "\x01"},
    };
    for (const auto& row : rows) EXPECT_EQ(trimmedText(row.text), row.trimmed);
}

TEST(QuotedFileName, IsTheLastComponent) {
    EXPECT_EQ(quotedFileName("/a/b.mov"), "“b.mov”");
    EXPECT_EQ(quotedFileName("/a/b/"), "“b”");
    EXPECT_EQ(quotedFileName("b.mov"), "“b.mov”");
    EXPECT_EQ(quotedFileName("/"), "“/”");
}

TEST(Text, LowersTheLettersOfASCIIAlone) {
    EXPECT_EQ(lowered("AZaz09@[`{ÄÉ"), "azaz09@[`{ÄÉ");
    EXPECT_EQ(lowered(""), "");
}

TEST(Text, ReadsWholeDecimalNumbersInAnyLocale) {
    struct Row {
        std::string_view text;
        std::optional<double> number;
    };
    const std::string old = std::setlocale(LC_ALL, nullptr);
    for (const char* locale : {"C", "de_DE.UTF-8"}) {
        // Where the locale isn't installed the rows are read in the one before.
        std::setlocale(LC_ALL, locale);
        for (const auto& row : {
                 Row{"0", 0},
                 Row{"12", 12},
                 Row{"-0.5", -0.5},
                 Row{"+0.5", 0.5},
                 Row{".5", 0.5},
                 Row{"5.", 5},
                 Row{"1e-3", 0.001},
                 Row{"1E2", 100},
                 Row{"1e-999", 0},
                 Row{"1e999", std::nullopt},
                 Row{"-1e999", std::nullopt},
                 Row{"nan", std::nullopt},
                 Row{"inf", std::nullopt},
                 Row{"", std::nullopt},
                 Row{"+", std::nullopt},
                 Row{"+-1", std::nullopt},
                 Row{"++1", std::nullopt},
                 Row{" 1", std::nullopt},
                 Row{"1 ", std::nullopt},
                 Row{"1,5", std::nullopt},
                 Row{"0x10", std::nullopt},
                 Row{"-", std::nullopt},
                 Row{"abc", std::nullopt},
                 Row{"1x", std::nullopt},
                 Row{"1e", std::nullopt},
                 Row{"-infinity", std::nullopt},
                 Row{"-0x1p3", std::nullopt},
                 Row{"0X10", std::nullopt},
                 Row{"1.2.3", std::nullopt},
                 Row{std::string_view("1\0", 2), std::nullopt},
             }) {
            EXPECT_EQ(finiteNumber(row.text), row.number) << row.text;
        }
    }
    std::setlocale(LC_ALL, old.c_str());
}

}  // namespace
}  // namespace kelvane
