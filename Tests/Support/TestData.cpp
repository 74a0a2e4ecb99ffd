#include "TestData.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace kelvane::testing {

std::string testDataPath(const std::string& name) { return KELVANE_TEST_DATA "/" + name; }

std::string testData(const std::string& name) {
    const std::ifstream file(testDataPath(name), std::ios::binary);
    EXPECT_TRUE(file) << name;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string mediaFolder() {
    const char* folder = std::getenv("KELVANE_MEDIA");
    return folder != nullptr && std::filesystem::exists(std::string(folder) + "/manifest.tsv") ? folder : "";
}

std::vector<MediaRow> mediaRows() {
    std::vector<MediaRow> rows;
    std::ifstream manifest(mediaFolder() + "/manifest.tsv");
    std::string line;
    std::getline(manifest, line);
    while (std::getline(manifest, line)) {
        std::vector<std::string> fields;
        std::istringstream text(line);
        for (std::string field; std::getline(text, field, '\t');) fields.push_back(field);
        EXPECT_GT(fields.size(), 5U) << line;
        if (fields.size() > 5) rows.push_back({fields[0], fields[3], fields[5]});
    }
    return rows;
}

}  // namespace kelvane::testing
