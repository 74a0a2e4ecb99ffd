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

}  // namespace kelvane::testing
