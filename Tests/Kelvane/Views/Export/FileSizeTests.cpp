#include <gtest/gtest.h>

#include <vector>

#include "Views/Export/FileSize.h"

namespace kelvane::testing {
namespace {

TEST(FileSize, IsWrittenAsFileManagersDo) {
    const std::vector<std::pair<std::int64_t, std::string>> rows = {
        {-1, "Zero KB"},
        {0, "Zero KB"},
        {1, "1 byte"},
        {999, "999 bytes"},
        {1000, "1 KB"},
        {1499, "1 KB"},
        {12'345, "12 KB"},
        {999'499, "999 KB"},
        {999'500, "1 MB"},
        {1'000'000, "1 MB"},
        {48'200'000, "48.2 MB"},
        {48'249'999, "48.2 MB"},
        {999'940'000, "999.9 MB"},
        {999'950'000, "1 GB"},
        {1'250'000'000, "1.25 GB"},
        {1'500'000'000'000, "1.5 TB"},
        {INT64_MAX, "9223.37 PB"},
    };
    for (const auto& [bytes, text] : rows) EXPECT_EQ(fileSizeText(bytes), text) << bytes;
}

}  // namespace
}  // namespace kelvane::testing
