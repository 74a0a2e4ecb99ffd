#include <gmock/gmock.h>

#include <QQuickWindow>
#include <QTest>

#include "Platform/ImageEncoding.h"
#include "Support/App/WindowsFixture.h"
#include "Views/Home/CardPicture.h"
#include "Views/Home/CardPictures.h"

namespace kelvane::testing {
namespace {

/// A picture of one colour.
StillImagePtr still(int width, int height, QRgb color) {
    auto picture = std::make_shared<StillImage>();
    picture->width = width;
    picture->height = height;
    for (int i = 0; i < width * height; ++i)
        for (const int part : {qRed(color), qGreen(color), qBlue(color), 255})
            picture->pixels.push_back(static_cast<std::uint8_t>(part));
    return picture;
}

bool isNear(QRgb one, QRgb other) {
    return std::abs(qRed(one) - qRed(other)) + std::abs(qGreen(one) - qGreen(other)) +
               std::abs(qBlue(one) - qBlue(other)) <
           24;
}

/// The picture of one card in a window.
class CardPictureTests : public WindowsFixture {
protected:
    static constexpr QRgb red = qRgb(200, 20, 20);
    static constexpr QRgb blue = qRgb(20, 20, 200);

    CardPictureTests() {
        FakeFile file = FakeFile::video(10);
        file.picture = still(90, 160, red);
        media.addFileNamed("A.mov", file);
    }
    /// A project whose one clip shows red.
    LibraryProject redProject() {
        auto row = projectWithClip("A");
        FakeFile file = FakeFile::video(10);
        file.picture = still(90, 160, red);
        media.addFileNamed("A.mov", file);
        media.clearCalls();
        return row;
    }
    void store(const LibraryProject& row, QRgb color) const {
        folder.write("Projects/" + row.id.upper() + "/Thumbnail.jpg", *jpegData(*still(90, 160, color)));
    }
    std::unique_ptr<CardPicture> card(const LibraryProject& row) {
        auto made = std::make_unique<CardPicture>();
        made->setParentItem(window.contentItem());
        made->setSize({86, 152});
        made->setView(&home);
        made->setProjectID(QString::fromStdString(row.id.upper()));
        made->setStamp(row.modified);
        return made;
    }
    /// Lays the window out, so that what was asked for begins.
    void appear() {
        window.show();
        (void)window.grabWindow();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
    }
    void settle() {
        appear();
        context.settle();
    }
    static QRgb middle(const CardPicture& card) {
        return card.image().pixel(card.image().width() / 2, card.image().height() / 2);
    }
    [[nodiscard]] std::size_t openings() const { return media.count("openAsset"); }

    std::shared_ptr<Workspace> workspace = show(first);
    ProjectsHomeView home{*windows, workspace};
    QQuickWindow window;
};

TEST_F(CardPictureTests, AStoredPictureIsShownAndNothingElseIsRead) {
    const auto row = redProject();
    store(row, blue);
    const auto shown = card(row);
    EXPECT_FALSE(shown->filled());
    settle();
    ASSERT_TRUE(shown->filled());
    EXPECT_TRUE(isNear(middle(*shown), blue));
    EXPECT_EQ(openings(), 0U);
    EXPECT_EQ(windows->library().find(row.id), row) << "nothing was stored";
}

TEST_F(CardPictureTests, WithoutOneItIsMadeStoredAndReadTheNextTime) {
    const auto row = redProject();
    auto shown = card(row);
    appear();
    EXPECT_FALSE(shown->filled()) << "the placeholder first";
    context.settle();
    ASSERT_TRUE(shown->filled());
    EXPECT_TRUE(isNear(middle(*shown), red));
    EXPECT_EQ(openings(), 1U);
    EXPECT_TRUE(folder.exists("Projects/" + row.id.upper() + "/Thumbnail.jpg"));
    EXPECT_GT(windows->library().find(row.id)->modified, row.modified);
    shown = card(*windows->library().find(row.id));
    settle();
    EXPECT_TRUE(shown->filled());
    EXPECT_EQ(openings(), 1U) << "the next appearance reads the file";
}

TEST_F(CardPictureTests, OneThatCanNotBeReadIsMadeAnew) {
    const auto row = redProject();
    folder.write("Projects/" + row.id.upper() + "/Thumbnail.jpg", "no picture");
    const auto shown = card(row);
    settle();
    EXPECT_TRUE(isNear(middle(*shown), red));
}

TEST_F(CardPictureTests, AnEmptyTimelineShowsTheFirstAsset) {
    const auto source = folder.write("Sources/A.mov");
    Project contents;
    contents.assets = {{videoClip(2, source)}};
    const auto row = project("A", contents);
    const auto shown = card(row);
    settle();
    EXPECT_TRUE(isNear(middle(*shown), red));
}

TEST_F(CardPictureTests, ProjectsWithoutAPictureKeepThePlaceholder) {
    const auto empty = project("Empty");
    const auto broken = redProject();
    folder.write("Projects/" + broken.id.upper() + "/Project.kelvane", "{");
    const auto unreadable = projectWithClip("Unreadable");
    media.failOn("openAsset", "Amiss.");
    LibraryProject gone = empty;
    gone.id = UUID::random();
    for (const auto& row : {empty, broken, unreadable, gone}) {
        const auto shown = card(row);
        settle();
        EXPECT_FALSE(shown->filled()) << row.name;
    }
    EXPECT_FALSE(windows->error()) << "and nothing is told";
}

TEST_F(CardPictureTests, ACardThatGoesTakesItsWorkWithIt) {
    const auto row = redProject();
    auto shown = card(row);
    appear();
    context.runPosted();
    while (context.waitingInBackground(Lane::longWork) == 0) {
        ASSERT_TRUE(context.stepBackground());
        context.runPosted();
    }
    shown.reset();
    context.settle();
    EXPECT_EQ(openings(), 0U) << "it had not begun";
    EXPECT_FALSE(folder.exists("Projects/" + row.id.upper() + "/Thumbnail.jpg"));
    // In the middle of the decoding.
    shown = card(row);
    appear();
    media.setObserver([&shown](const std::string& call) {
        if (call.starts_with("openAsset")) shown.reset();
    });
    context.settle();
    EXPECT_EQ(openings(), 1U);
    EXPECT_FALSE(folder.exists("Projects/" + row.id.upper() + "/Thumbnail.jpg")) << "what nobody sees isn't stored";
}

TEST_F(CardPictureTests, ASavedProjectShowsItsNewPicture) {
    const auto row = redProject();
    store(row, blue);
    const auto shown = card(row);
    settle();
    store(row, red);
    shown->setStamp(row.modified + 1);
    EXPECT_TRUE(isNear(middle(*shown), blue)) << "until the new one is there";
    settle();
    EXPECT_TRUE(isNear(middle(*shown), red));
}

TEST_F(CardPictureTests, AnEmptiedProjectLosesItsPicture) {
    const auto row = project("A");
    store(row, blue);
    const auto shown = card(row);
    settle();
    ASSERT_TRUE(shown->filled());
    std::filesystem::remove(folder.path("Projects/" + row.id.upper() + "/Thumbnail.jpg"));
    shown->setStamp(row.modified + 1);
    settle();
    EXPECT_FALSE(shown->filled());
}

TEST_F(CardPictureTests, AnotherProjectsPictureIsNeverShown) {
    const auto row = redProject();
    store(row, blue);
    const auto empty = project("Empty");
    const auto shown = card(row);
    settle();
    shown->setProjectID(QString::fromStdString(empty.id.upper()));
    EXPECT_FALSE(shown->filled());
    settle();
    EXPECT_FALSE(shown->filled());
}

TEST_F(CardPictureTests, WhatCanNotBeStoredIsMadeOnceForACard) {
    const auto row = redProject();
    std::filesystem::create_directories(folder.path("Projects/" + row.id.upper() + "/Thumbnail.jpg/in the way"));
    const auto shown = card(row);
    settle();
    ASSERT_TRUE(shown->filled());
    for (int i = 0; i < 3; ++i) {
        shown->setStamp(windows->library().find(row.id)->modified + i);
        settle();
    }
    EXPECT_EQ(openings(), 1U);
    EXPECT_TRUE(shown->filled());
}

TEST_F(CardPictureTests, ThePictureCoversTheCardAndItsCornersAreRound) {
    const auto wide = still(160, 90, red);
    const QImage picture(wide->pixels.data(), 160, 90, 640, QImage::Format_RGBX8888);
    for (const double scale : {1.0, 1.5, 2.0}) {
        const QSize pixels(static_cast<int>(86 * scale), static_cast<int>(152 * scale));
        const QImage cut = CardPictures::cut(picture, pixels, scale);
        EXPECT_EQ(cut.size(), pixels);
        EXPECT_EQ(qAlpha(cut.pixel(0, 0)), 0);
        EXPECT_TRUE(isNear(cut.pixel(pixels.width() / 2, static_cast<int>(4 * scale)), red));
        EXPECT_TRUE(isNear(cut.pixel(pixels.width() / 2, pixels.height() - static_cast<int>(4 * scale)), red));
    }
    EXPECT_TRUE(CardPictures::cut({}, {86, 152}, 1).isNull());
    EXPECT_TRUE(CardPictures::cut(picture, {0, 0}, 1).isNull());
}

}  // namespace
}  // namespace kelvane::testing
