#include <gtest/gtest.h>

#include "Assistant/AIDesktopAssistant.h"

namespace kelvane {
namespace {

std::string repeated(std::string_view text, int count) {
    std::string out;
    for (int i = 0; i < count; ++i) out += text;
    return out;
}

TEST(AIDesktopAssistant, WorkspaceNameIsASafeFolderName) {
    // One family of four people, joined: a single character of 25 bytes.
    const std::string family = "👨‍👩‍👧‍👦";
    // "é" as one scalar of two bytes, which decomposes into three.
    const std::string composed = "\u00E9";
    const std::string decomposed = "e\u0301";
    struct Row {
        std::string name;
        std::string kept;
    };
    for (const Row& row : {
             Row{"Holiday", "Holiday"},
             Row{"", "Untitled"},
             Row{"   ", "Untitled"},
             Row{"\u00A0\u2028\u3000", "Untitled"},
             Row{"A/B:C\\D", "A-B-C-D"},
             Row{"a\tb", "a-b"},
             Row{"\n", "-"},
             Row{"a\r\nb", "a-b"},
             Row{std::string("a\0b", 3), "a-b"},
             Row{"a\u007F\u0085", "a--"},
             Row{"  two  words \u00A0", "two  words"},
             Row{"..", ".."},
             Row{"a/\u0338b", "a-b"},
             Row{"=\u0338", "=\u0338"},
             Row{family, family},
             Row{"bad\xFF"
                 "byte",
                 "bad\uFFFD"
                 "byte"},
             Row{repeated("x", 150), repeated("x", 100)},
             Row{repeated("x", 99) + " y", repeated("x", 99) + " "},
             Row{repeated("€", 100), repeated("€", 81)},
             // 245 bytes hold 81 letters of three, although the letters kept have two.
             Row{repeated(composed, 100), repeated(composed, 81)},
             Row{repeated(decomposed, 100), repeated(decomposed, 81)},
             // The family has seven scalars and costs 25 bytes: nine fit, 20 bytes stay unused although "x" would fit.
             Row{repeated(family, 10) + "x", repeated(family, 9)},
             Row{repeated("€", 81) + "xxx", repeated("€", 81) + "xx"},
         }) {
        EXPECT_EQ(AIDesktopAssistant::workspaceName(row.name), "Kelvane - " + row.kept) << row.name;
    }
}

TEST(AIDesktopAssistant, SessionFolderLiesBesideTheProject) {
    EXPECT_EQ(AIDesktopAssistant::sessionFolder(FileURL::fromPath("/library/1B5C/Project.kelvane"), "Holiday").path(),
              "/library/1B5C/AI/Kelvane - Holiday");
    EXPECT_EQ(AIDesktopAssistant::sessionFolder(FileURL::fromPath("/Trip.kelvane"), "a/../b").path(),
              "/AI/Kelvane - a-..-b");
}

}  // namespace
}  // namespace kelvane
