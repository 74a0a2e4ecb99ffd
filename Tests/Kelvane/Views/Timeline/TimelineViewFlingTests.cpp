#include <cmath>

#include "TimelineViewFixture.h"

namespace kelvane::testing {
namespace {

/// A track that goes on by itself once fingers have let go of it.
class TimelineFling : public TimelineViewFixture {
protected:
    /// Fingers come along by 60 points in 50 ms, and are still there.
    void swipe() {
        for (int i = 0; i < 6; ++i) {
            if (i > 0) advance(std::chrono::milliseconds(10));
            view->scrollBy({10, 0});
        }
    }
};

TEST_F(TimelineFling, ATrackThatIsLetGoOfGoesOnSlowerAndSlower) {
    fill({videoClip(100)});
    swipe();
    EXPECT_DOUBLE_EQ(view->visibleOrigin().x(), 60);
    view->releaseScrolling();
    // 1,000 points a second, of which a third is left after 0.325 s.
    advance(std::chrono::milliseconds(104));
    EXPECT_NEAR(view->visibleOrigin().x(), 60 + 325 * (1 - std::exp(-104.0 / 325)), 1e-6);
    EXPECT_NEAR(editor->playhead() * 32, view->visibleOrigin().x(), 1e-9);
    advance(std::chrono::seconds(3));
    EXPECT_NEAR(view->visibleOrigin().x(), 60 + 325, 15);
    EXPECT_EQ(context.pendingTimers(), 0u);
    goTo(1);
    EXPECT_EQ(view->visibleOrigin().x(), 32) << "the track is the playhead's again";
}

TEST_F(TimelineFling, ATrackThatGoesOnEndsAtTheContentsEnd) {
    fill({videoClip(4)});
    swipe();
    view->releaseScrolling();
    advance(std::chrono::seconds(1));
    EXPECT_EQ(editor->playhead(), 4);
    EXPECT_EQ(context.pendingTimers(), 0u);
}

TEST_F(TimelineFling, FingersThatRestedAndReducedMotionStopAtOnce) {
    fill({videoClip(100)});
    swipe();
    advance(std::chrono::milliseconds(51));
    view->releaseScrolling();
    EXPECT_EQ(context.pendingTimers(), 0u);
    reducedMotion = true;
    swipe();
    view->releaseScrolling();
    EXPECT_EQ(context.pendingTimers(), 0u);
    EXPECT_EQ(view->visibleOrigin().x(), 120);
}

TEST_F(TimelineFling, WhateverElseMovesOrPlaysEndsATrackThatGoesOn) {
    fill({videoClip(100)});
    const std::vector<std::function<void()>> acts = {
        [this] { view->press(at(50, row(0)), Qt::NoModifier), (void)view->cancelGesture(); },
        [this] { view->wheel({0, -120}, false, Qt::NoModifier), advance(std::chrono::milliseconds(150)); },
        [this] { view->zoomBy(1); },
        [this] { view->seekOnClick(view->position()); },
        [this] { press(Qt::Key_Right); },
        [this] { view->beginPinch(), view->endPinch(); },
        [this] { view->resetGesture(); },
        [this] { editor->togglePlayback(), advance(std::chrono::milliseconds(8)); },
        [this] { editor->rebuildPreview(), advance(std::chrono::milliseconds(8)), settlePreview(); },
        [this] { beBusy(); },
    };
    for (std::size_t i = 0; i < acts.size(); ++i) {
        editor->seekPreview(1);
        tell();
        swipe();
        view->releaseScrolling();
        advance(std::chrono::milliseconds(16));
        ASSERT_EQ(context.pendingTimers(), 1u) << i;
        acts[i]();
        tell();
        const double x = view->visibleOrigin().x();
        advance(std::chrono::milliseconds(400));
        EXPECT_EQ(view->visibleOrigin().x(), x) << i;
        EXPECT_EQ(context.pendingTimers(), 0u) << i;
    }
}

}  // namespace
}  // namespace kelvane::testing
