#include <gtest/gtest.h>

#include <limits>

#include "Storage/LibraryProject.h"
#include "Support/AtomicFile.h"
#include "Support/TestData.h"

namespace kelvane {
namespace {

const LibraryProject goldenRow{*UUID::parse("2F3A9B57-5C57-4C57-A8F2-4E6A1B2C3D4E"), "Grüße / \"Trailer\"",
                               804508800.123456, 12.5, FileURL::fromPath("/Users/me/Trailer.kelvane")};

TEST(LibraryProject, IsWrittenAsTheGoldenFileAndReadsBack) {
    const std::string data = testing::testData("Metadata.json");
    EXPECT_EQ(encodeLibraryProject(goldenRow), data);
    EXPECT_EQ(decodeLibraryProject(data), goldenRow);
    LibraryProject row = goldenRow;
    row.importedFrom.reset();
    row.modified = -1;
    EXPECT_EQ(encodeLibraryProject(row)->find("importedFrom"), std::string::npos);
    EXPECT_EQ(decodeLibraryProject(*encodeLibraryProject(row)), row);
    row.duration = std::numeric_limits<double>::infinity();
    EXPECT_EQ(encodeLibraryProject(row).error().message, "duration must be a finite number.");
}

TEST(LibraryProject, NeedsEveryKeyButOne) {
    const struct {
        const char* json;
        const char* sentence;
    } rows[] = {
        {R"({"name":"A","modified":1,"duration":1})", "id is missing."},
        {R"({"id":"2F3A9B57-5C57-4C57-A8F2-4E6A1B2C3D4E","modified":1,"duration":1})", "name is missing."},
        {R"({"id":"2F3A9B57-5C57-4C57-A8F2-4E6A1B2C3D4E","name":"A","duration":1})", "modified is missing."},
        {R"({"id":"2F3A9B57-5C57-4C57-A8F2-4E6A1B2C3D4E","name":"A","modified":1})", "duration is missing."},
        {R"({"id":"x","name":"A","modified":1,"duration":1})", "id must be a UUID."},
        {R"({"id":"2F3A9B57-5C57-4C57-A8F2-4E6A1B2C3D4E","name":1,"modified":1,"duration":1})",
         "name must be a string."},
        {R"({"id":"2F3A9B57-5C57-4C57-A8F2-4E6A1B2C3D4E","name":"A","modified":"1","duration":1})",
         "modified must be a number."},
        {R"({"id":"2F3A9B57-5C57-4C57-A8F2-4E6A1B2C3D4E","name":"A","modified":1,"duration":1,"importedFrom":""})",
         "importedFrom must be a URL."},
        {"[]", "The project's metadata must be an object."},
        {"", "The JSON ends too early, at line 1, column 1."},
    };
    for (const auto& row : rows) EXPECT_EQ(decodeLibraryProject(row.json).error().message, row.sentence);
    EXPECT_TRUE(decodeLibraryProject(
        R"({"id":"2F3A9B57-5C57-4C57-A8F2-4E6A1B2C3D4E","name":"A","modified":1,"duration":1,"importedFrom":null,"x":1})"));
}

}  // namespace
}  // namespace kelvane
