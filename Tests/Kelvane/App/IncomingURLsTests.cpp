#include "App/IncomingURLs.h"

#include <gtest/gtest.h>

namespace kelvane::testing {
namespace {

std::vector<std::string> texts(const std::vector<std::string>& arguments) {
    std::vector<std::string> out;
    for (const auto& url : incomingURLs(arguments)) {
        out.push_back(url.absoluteString());
    }
    return out;
}

TEST(IncomingURLs, LinksAndProjectPathsCountInTheirOrder) {
    const auto here = FileURL::fromPath("Trailer.kelvane").absoluteString();
    EXPECT_EQ(texts({"/a/My film.kelvane", "kelvane://project/1B5C", "Trailer.kelvane"}),
              (std::vector<std::string>{"file:///a/My%20film.kelvane", "kelvane://project/1B5C", here}));
}

TEST(IncomingURLs, UpperCaseSchemesExtensionsAndFileURLsCount) {
    EXPECT_EQ(texts({"KELVANE://PROJECT/x", "/a/B.KELVANE", "file:///a/My%20film.kelvane", "/a/x/../y.kelvane"}),
              (std::vector<std::string>{"KELVANE://PROJECT/x", "file:///a/B.KELVANE", "file:///a/My%20film.kelvane",
                                        "file:///a/y.kelvane"}));
}

TEST(IncomingURLs, OtherArgumentsAreIgnored) {
    EXPECT_EQ(texts({"", "--help", "/a/film.mp4", "https://example.invalid/", "kelvane", "kelvane://a b"}),
              std::vector<std::string>{});
}

}  // namespace
}  // namespace kelvane::testing
