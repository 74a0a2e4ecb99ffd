#include <gtest/gtest.h>

#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QTest>
#include <cmath>
#include <map>

#include "Support/App/FakeMainContext.h"
#include "Support/App/FinishTask.h"
#include "Support/ClipBuilder.h"
#include "Support/Patience.h"
#include "Views/Waveform/AudioWaveformView.h"
#include "Views/Window/PanelHost.h"

namespace kelvane::testing {
namespace {

using Peaks = std::vector<float>;

// The accent over black, by the fixed opacities.
constexpr QRgb black = 0xff000000;
constexpr QRgb ownBackground = qRgb(14, 37, 33);
constexpr QRgb ownFill = qRgb(56, 146, 131);
constexpr QRgb overlayFill = qRgb(31, 82, 74);
constexpr QRgb record = qRgb(255, 90, 82);

bool isLike(QRgb one, QRgb other) {
    const auto near = [](int a, int b) { return std::abs(a - b) <= 2; };
    return near(qRed(one), qRed(other)) && near(qGreen(one), qGreen(other)) && near(qBlue(one), qBlue(other));
}

/// Two seconds, 60 peaks: loud, then softer by three quarters.
Peaks loudThenSoft() {
    Peaks peaks(60, 1);
    std::fill(peaks.begin() + 30, peaks.end(), 0.25F);
    return peaks;
}

Clip clipOf(const std::string& file) { return audioClip(1, "/media/" + file, 2); }

/// A waveform of 200 × 88 points in a black window, made by QML.
class AudioWaveformViewTests : public ::testing::Test {
protected:
    AudioWaveformViewTests() {
        QObject::connect(&engine, &QQmlEngine::warnings, [this](const QList<QQmlError>& found) {
            for (const auto& warning : found) warnings.push_back(warning.toString().toStdString());
        });
        registerWindowTypes();
        shareWaveforms(engine, *cache);
        window.resize(400, 200);
        window.setColor(Qt::black);
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window, static_cast<int>(patience.count())));
        setClip(clipOf("a"));
        engine.rootContext()->setContextProperty("live", QVariant());
    }
    ~AudioWaveformViewTests() override {
        view.reset();
        cache.reset();
        context.settle();
        EXPECT_EQ(warnings, std::vector<std::string>());
    }
    void setClip(const Clip& clip) { engine.rootContext()->setContextProperty("shownClip", QVariant::fromValue(clip)); }
    /// The window is not told before its next frame.
    AudioWaveformView& make(const char* properties = "") {
        QQmlComponent component(&engine);
        component.setData(QByteArray("import QtQuick\nimport Kelvane\nAudioWaveformView {\n"
                                     "width: 200; height: 88; clip: shownClip\n") +
                              properties + "\n}",
                          QUrl());
        view.reset(qobject_cast<AudioWaveformView*>(component.create()));
        check(view != nullptr, qPrintable(component.errorString()));
        view->setParentItem(window.contentItem());
        return *view;
    }
    /// One frame.
    QImage shown() { return window.grabWindow().convertToFormat(QImage::Format_RGB32); }
    /// Frames and decodes until nothing more comes.
    QImage settled() {
        (void)shown();
        context.settle();
        return shown();
    }
    /// Whether the pixels of a column are of one colour from `top` up to but not including `bottom`.
    static ::testing::AssertionResult isColumn(const QImage& image, int x, int top, int bottom, QRgb color) {
        for (int y = top; y < bottom; ++y)
            if (!isLike(image.pixel(x, y), color))
                return ::testing::AssertionFailure()
                       << "(" << x << ", " << y << ") is " << std::hex << image.pixel(x, y) << " and not " << color;
        return ::testing::AssertionSuccess();
    }

    FakeMainContext context;
    std::map<std::string, Result<Peaks>> files;
    std::vector<std::string> reads;
    std::unique_ptr<AudioWaveformCache> cache =
        std::make_unique<AudioWaveformCache>(context, [this](const FileURL& url, const std::stop_token&) {
            reads.push_back(url.fileName());
            const auto found = files.find(url.fileName());
            return found == files.end() ? Result<Peaks>(loudThenSoft()) : found->second;
        });
    std::vector<std::string> warnings;
    QQmlEngine engine;
    QQuickWindow window;
    std::unique_ptr<AudioWaveformView> view;
};

using Names = std::vector<std::string>;

TEST_F(AudioWaveformViewTests, ByItselfItFillsTheSoundOnAPaleGround) {
    make();
    const QImage image = settled();
    // Full scale is 60 points high, a quarter of it half as much.
    for (const int x : {1, 50, 98}) {
        EXPECT_TRUE(isColumn(image, x, 0, 22, ownBackground));
        EXPECT_TRUE(isColumn(image, x, 22, 82, ownFill));
        EXPECT_TRUE(isColumn(image, x, 82, 88, ownBackground));
    }
    for (const int x : {101, 150, 198}) {
        EXPECT_TRUE(isColumn(image, x, 0, 52, ownBackground));
        EXPECT_TRUE(isColumn(image, x, 52, 82, ownFill));
        EXPECT_TRUE(isColumn(image, x, 82, 88, ownBackground));
    }
    EXPECT_TRUE(isColumn(image, 50, 88, 200, black));
    EXPECT_TRUE(isColumn(image, 201, 0, 200, black));
}

TEST_F(AudioWaveformViewTests, AsAnOverlayItReachesDownAndHasALineAndNoGround) {
    make("overlay: true");
    const QImage image = settled();
    for (const auto& [x, top] : {std::pair(50, 28), std::pair(150, 58)}) {
        EXPECT_TRUE(isColumn(image, x, 0, top - 1, black));
        // The line is one point wide and lies half above the top.
        EXPECT_TRUE(isColumn(image, x, top - 1, top, qRgb(25, 67, 60)));
        EXPECT_TRUE(isColumn(image, x, top, top + 1, qRgb(46, 122, 110)));
        EXPECT_TRUE(isColumn(image, x, top + 1, 88, overlayFill));
        EXPECT_TRUE(isColumn(image, x, 88, 200, black));
    }
}

TEST_F(AudioWaveformViewTests, AMutedClipIsFlat) {
    Clip muted = clipOf("a");
    muted.volume = 0;
    setClip(muted);
    make();
    EXPECT_TRUE(isColumn(settled(), 50, 0, 88, ownBackground));
    view->setOverlay(true);
    const QImage image = shown();
    EXPECT_TRUE(isColumn(image, 50, 0, 87, black));
    EXPECT_TRUE(isColumn(image, 50, 87, 88, qRgb(25, 67, 60)));
}

TEST_F(AudioWaveformViewTests, AnotherStretchOrVolumeIsDrawnWithoutAnotherReading) {
    make();
    (void)settled();
    Clip late = clipOf("a");
    late.start = 1;
    late.volume = 0.5;
    setClip(late);
    const QImage image = shown();
    EXPECT_TRUE(isColumn(image, 50, 0, 67, ownBackground));
    EXPECT_TRUE(isColumn(image, 50, 67, 82, ownFill));
    context.settle();
    EXPECT_EQ(reads, Names{"a"});
}

TEST_F(AudioWaveformViewTests, ASurfaceOfAnotherSizeIsDrawnAnew) {
    make();
    (void)settled();
    view->setSize({100, 48});
    const QImage image = shown();
    EXPECT_TRUE(isColumn(image, 25, 0, 22, ownBackground));
    EXPECT_TRUE(isColumn(image, 25, 22, 42, ownFill));
    EXPECT_TRUE(isColumn(image, 75, 32, 42, ownFill));
    EXPECT_TRUE(isColumn(image, 101, 0, 88, black));
}

TEST_F(AudioWaveformViewTests, WithoutPeaksOnlyTheGroundIsThere) {
    files.insert_or_assign("a", Peaks());
    make();
    EXPECT_TRUE(isColumn(settled(), 50, 0, 88, ownBackground));
    view->setOverlay(true);
    EXPECT_TRUE(isColumn(shown(), 50, 0, 88, black));
}

TEST_F(AudioWaveformViewTests, WhileItIsRecordedARedPointLiesOverIt) {
    make("overlay: true; isRecording: true; livePeaks: []");
    const QImage image = settled();
    EXPECT_TRUE(isColumn(image, 8, 7, 11, record));
    EXPECT_TRUE(isColumn(image, 9, 7, 11, record));
    EXPECT_TRUE(isColumn(image, 9, 0, 6, black));
    EXPECT_TRUE(isColumn(image, 9, 12, 88, black));
    EXPECT_TRUE(isColumn(image, 5, 0, 88, black));
    EXPECT_TRUE(isColumn(image, 12, 0, 88, black));
    view->setIsRecording(false);
    EXPECT_TRUE(isColumn(shown(), 9, 0, 88, black));
}

TEST_F(AudioWaveformViewTests, TheFileIsAskedForOnceItIsShown) {
    make();
    EXPECT_FALSE(context.hasWork());
    EXPECT_TRUE(isColumn(shown(), 50, 0, 88, ownBackground));
    EXPECT_EQ(context.waitingInBackground(), 1u);
    context.settle();
    EXPECT_TRUE(isColumn(shown(), 50, 22, 82, ownFill));
    EXPECT_EQ(reads, Names{"a"});
    // A second one has its peaks in its first frame.
    view.reset();
    make();
    EXPECT_TRUE(isColumn(shown(), 50, 22, 82, ownFill));
    EXPECT_EQ(reads, Names{"a"});
}

TEST_F(AudioWaveformViewTests, AnotherFileEmptiesItAndIsAskedFor) {
    files.insert_or_assign("b", Peaks(60, 0.25F));
    make();
    (void)settled();
    setClip(clipOf("b"));
    EXPECT_TRUE(isColumn(shown(), 50, 0, 88, ownBackground));
    EXPECT_TRUE(view->peaks().empty());
    context.settle();
    EXPECT_TRUE(isColumn(shown(), 50, 52, 82, ownFill));
    EXPECT_EQ(reads, (Names{"a", "b"}));
}

TEST_F(AudioWaveformViewTests, WhatComesForAFormerFileIsDropped) {
    files.insert_or_assign("b", Peaks(60, 0.25F));
    make();
    (void)shown();
    ASSERT_TRUE(context.stepBackground());
    setClip(clipOf("b"));
    (void)shown();
    // The answer for "a" arrives.
    context.runPosted();
    EXPECT_EQ(reads, Names{"a"});
    EXPECT_TRUE(view->peaks().empty());
    EXPECT_TRUE(isColumn(shown(), 50, 0, 88, ownBackground));
    context.settle();
    EXPECT_EQ(view->peaks()[0], 0.25F);
    // It was kept all the same.
    setClip(clipOf("a"));
    (void)shown();
    EXPECT_EQ(view->peaks()[0], 1);
    EXPECT_EQ(reads, (Names{"a", "b"}));
}

TEST_F(AudioWaveformViewTests, AFileThatIsShownAgainBeforeItsAnswerGetsIt) {
    make();
    (void)shown();
    setClip(clipOf("b"));
    (void)shown();
    setClip(clipOf("a"));
    (void)shown();
    context.settle();
    EXPECT_EQ(view->peaks().size(), 60u);
    EXPECT_EQ(reads, (Names{"a", "b"}));
}

TEST_F(AudioWaveformViewTests, AFailureLeavesItEmptyInSilence) {
    files.insert_or_assign("a", fail("It broke."));
    make();
    EXPECT_TRUE(isColumn(settled(), 50, 0, 88, ownBackground));
    EXPECT_TRUE(view->peaks().empty());
    // Nobody asks again and again.
    (void)settled();
    EXPECT_EQ(reads, Names{"a"});
}

TEST_F(AudioWaveformViewTests, AFileThatFailedIsReadAgainOnceItIsShownAgain) {
    files.insert_or_assign("a", fail("It broke."));
    make();
    (void)settled();
    files.clear();
    view->setVisible(false);
    (void)settled();
    EXPECT_EQ(reads, Names{"a"});
    view->setVisible(true);
    EXPECT_TRUE(isColumn(settled(), 50, 22, 82, ownFill));
    EXPECT_EQ(reads, (Names{"a", "a"}));
    view->setVisible(false);
    view->setVisible(true);
    EXPECT_TRUE(isColumn(shown(), 50, 22, 82, ownFill));
    EXPECT_EQ(reads, (Names{"a", "a"}));
}

TEST_F(AudioWaveformViewTests, TheDecodeGoesOnWhenTheViewGoes) {
    make();
    (void)shown();
    view.reset();
    context.settle();
    EXPECT_EQ(reads, Names{"a"});
    const auto kept = finish(context, cache->peaks(clipOf("a").url));
    ASSERT_TRUE(kept);
    EXPECT_EQ(reads, Names{"a"});
}

TEST_F(AudioWaveformViewTests, LivePeaksAreDrawnAndNoFileIsRead) {
    engine.rootContext()->setContextProperty("live", QVariant::fromValue(QList<float>(60, 0.25F)));
    make("livePeaks: live");
    EXPECT_TRUE(isColumn(settled(), 50, 52, 82, ownFill));
    engine.rootContext()->setContextProperty("live", QVariant::fromValue(QList<float>(60, 1)));
    EXPECT_TRUE(isColumn(shown(), 50, 22, 82, ownFill));
    engine.rootContext()->setContextProperty("live", QVariant::fromValue(QList<float>()));
    EXPECT_TRUE(isColumn(shown(), 50, 0, 88, ownBackground));
    context.settle();
    EXPECT_EQ(reads, Names());
}

TEST_F(AudioWaveformViewTests, LivePeaksThatComeWithAnotherFileKeepItFromBeingRead) {
    make("livePeaks: live");
    (void)settled();
    setClip(clipOf("take"));
    engine.rootContext()->setContextProperty("live", QVariant::fromValue(QList<float>(60, 0.25F)));
    EXPECT_TRUE(isColumn(settled(), 50, 52, 82, ownFill));
    EXPECT_TRUE(view->peaks().empty());
    EXPECT_EQ(reads, Names{"a"});
}

TEST_F(AudioWaveformViewTests, TheFileIsReadOnceThereAreNoLivePeaks) {
    engine.rootContext()->setContextProperty("live", QVariant::fromValue(QList<float>(60, 0.25F)));
    make("livePeaks: live");
    (void)settled();
    engine.rootContext()->setContextProperty("live", QVariant());
    EXPECT_TRUE(isColumn(settled(), 50, 22, 82, ownFill));
    EXPECT_EQ(reads, Names{"a"});
}

TEST_F(AudioWaveformViewTests, AnHourWideItemShowsThePlaceThatIsSeen) {
    // Half an hour of silence, and as much of full scale.
    Peaks peaks(108'000, 1);
    std::fill(peaks.begin(), peaks.begin() + 54'000, 0);
    files.insert_or_assign("hour", std::move(peaks));
    Clip hour = audioClip(1, "/media/hour", 3600);
    setClip(hour);
    make("x: -345600 + 200");
    view->setWidth(691'200);
    QImage image = settled();
    // A column is 169 points wide.
    EXPECT_TRUE(isColumn(image, 10, 0, 88, ownBackground));
    EXPECT_TRUE(isColumn(image, 390, 22, 82, ownFill));
    view->setX(-345'600 - 2000);
    EXPECT_TRUE(isColumn(shown(), 200, 22, 82, ownFill));
    view->setX(-345'600 + 2000);
    EXPECT_TRUE(isColumn(shown(), 200, 0, 88, ownBackground));
    view->setX(400 - 691'200);
    image = shown();
    EXPECT_TRUE(isColumn(image, 100, 22, 82, ownFill));
    view->setX(0);
    image = shown();
    EXPECT_TRUE(isColumn(image, 0, 0, 88, ownBackground));
    EXPECT_TRUE(isColumn(image, 399, 0, 88, ownBackground));
}

TEST_F(AudioWaveformViewTests, WhatChangedOutOfSightIsDrawnOnceItIsSeen) {
    make("x: 1000");
    (void)settled();
    Clip muted = clipOf("a");
    muted.volume = 0;
    view->setX(0);
    EXPECT_TRUE(isColumn(shown(), 50, 22, 82, ownFill));
    view->setX(1000);
    (void)shown();
    setClip(muted);
    (void)shown();
    view->setX(0);
    EXPECT_TRUE(isColumn(shown(), 50, 0, 88, ownBackground));
}

TEST_F(AudioWaveformViewTests, WithoutTheCacheOnlyLivePeaksAreDrawn) {
    QQmlEngine bare;
    QQmlComponent component(&bare);
    component.setData("import Kelvane\nAudioWaveformView { width: 200; height: 88 }", QUrl());
    view.reset(qobject_cast<AudioWaveformView*>(component.create()));
    ASSERT_TRUE(view);
    view->setParentItem(window.contentItem());
    view->setClip(clipOf("a"));
    EXPECT_TRUE(isColumn(settled(), 50, 0, 88, ownBackground));
    view->setLivePeaks(QList<float>(60, 1));
    EXPECT_TRUE(isColumn(shown(), 50, 22, 82, ownFill));
    EXPECT_EQ(reads, Names());
    view.reset();
}

}  // namespace
}  // namespace kelvane::testing
