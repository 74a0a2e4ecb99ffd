#include <gmock/gmock.h>

#include <QImage>
#include <filesystem>
#include <set>

#include "Screens/ScreenList.h"

namespace kelvane::testing {
namespace {

namespace fs = std::filesystem;

const fs::path folder = KELVANE_SCREENS;

TEST(Screens, EachStateHasItsPicturesInTheDocuments) {
    std::set<std::string> wanted;
    for (const auto& [file, state, size, scale] : screenPictures()) {
        EXPECT_TRUE(wanted.insert(file).second) << file;
        const QImage picture(QString::fromStdString((folder / file).string()));
        EXPECT_FALSE(picture.isNull()) << file << " is missing; Tools/screens " << state << " makes it";
        if (!picture.isNull()) EXPECT_EQ(picture.size(), (QSizeF(size) * scale).toSize()) << file;
    }
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder)) found.insert(entry.path().filename());
    EXPECT_EQ(found, wanted) << "what no state makes is out of date";
}

TEST(Screens, ThePicturesTogetherStaySmall) {
    std::uintmax_t bytes = 0;
    for (const auto& entry : fs::directory_iterator(folder)) bytes += entry.file_size();
    EXPECT_LT(bytes, 9'000'000U);
}

TEST(Screens, NoPictureIsEmpty) {
    for (const auto& [file, state, size, scale] : screenPictures()) {
        const QImage picture(QString::fromStdString((folder / file).string()));
        std::set<QRgb> colors;
        for (int y = 0; y < picture.height(); y += 7)
            for (int x = 0; x < picture.width(); x += 7) colors.insert(picture.pixel(x, y));
        EXPECT_GT(colors.size(), 8U) << file;
    }
}

}  // namespace
}  // namespace kelvane::testing
