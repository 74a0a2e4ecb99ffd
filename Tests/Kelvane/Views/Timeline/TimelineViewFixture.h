#pragma once

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Support/App/EditorFixture.h"
#include "Views/Timeline/TimelineMetrics.h"
#include "Views/Timeline/TimelineView.h"

namespace kelvane::testing {

/// The timeline of a window 1000 points wide, on a real editor over fakes. At zoom 1 a second has 32 points, and the
/// playhead stands at x 500.
class TimelineViewFixture : public EditorFixture {
protected:
    TimelineViewFixture() : workspace(std::make_shared<Workspace>(UUID::random(), editor)) { makeView(); }
    ~TimelineViewFixture() override {
        view.reset();
        workspace.reset();
    }

    void makeView() {
        view.reset();
        view = std::make_unique<TimelineView>(workspace, context, [this] { return reducedMotion; });
        view->setViewportWidth(1000);
    }
    /// A new clip of a source of `source` seconds that is trimmed to the stretch from `start` to `end`.
    Clip videoClip(double source, double start, double end) {
        Clip clip = video(file("video.mov", FakeFile::video(1000)), source);
        clip.start = start;
        clip.end = end;
        return clip;
    }
    Clip videoClip(double seconds) { return videoClip(seconds, 0, seconds); }
    /// A new sound at `position` of the timeline, in a lane of its own.
    Clip audioClip(double seconds, double position) {
        return audio(file("sound.wav", FakeFile::audio(1000)), seconds, position);
    }
    /// Loads these clips and builds the preview; the first of them is selected.
    void fill(std::vector<Clip> clips) {
        load(std::move(clips));
        settlePreview();
        ASSERT_FALSE(editor->isBuilding());
        ASSERT_TRUE(editor->undoStack().empty());
    }
    /// Runs what was posted: the editor's signals arrive.
    void tell() { context.runPosted(); }
    void advance(std::chrono::milliseconds time) { context.advance(time); }

    /// Where a moment of the timeline is in the viewport, at a height of the content.
    [[nodiscard]] QPointF at(double seconds, double contentY) const {
        return {seconds * view->pointsPerSecond() - view->visibleOrigin().x() + view->viewportWidth() / 2,
                contentY - view->visibleOrigin().y()};
    }
    /// A height in the body of a clip of that row, off its volume line.
    static double row(int index) {
        return TimelineMetrics::trackTop + TimelineMetrics::trackStride * index + TimelineMetrics::trackHeight / 2;
    }
    /// Height of the volume line of a clip in that row.
    static double volumeLine(int index, double volume) {
        return TimelineMetrics::trackTop + TimelineMetrics::trackStride * index + (1 - volume) * 62 + 12;
    }
    void click(QPointF point, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        view->press(point, modifiers);
        view->release(point, modifiers);
        tell();
    }
    /// Presses at `from` and moves by `by`, in two steps; the gesture goes on.
    void beginDrag(QPointF from, QPointF by, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        view->press(from, modifiers);
        view->drag(from + by / 2, modifiers);
        view->drag(from + by, modifiers);
        tell();
    }
    void dragBy(QPointF from, QPointF by, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        beginDrag(from, by, modifiers);
        view->release(from + by, modifiers);
        tell();
    }
    bool press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        const bool handled = view->pressKey(key, modifiers);
        tell();
        return handled;
    }
    /// Goes to a moment of the timeline; the track follows.
    void goTo(double seconds) {
        editor->seekPreview(seconds);
        tell();
        ASSERT_DOUBLE_EQ(editor->playhead(), seconds);
    }
    [[nodiscard]] std::vector<UUID> order() const { return ids(editor->clips()); }
    [[nodiscard]] const Clip& clip(std::size_t index) const { return editor->clips().at(index); }
    [[nodiscard]] std::size_t undoSteps() const { return editor->undoStack().size(); }

    /// The array as a change of the clip at `index` leaves it.
    template <class Change>
    std::vector<Clip> changed(std::size_t index, Change change) const {
        std::vector<Clip> clips = editor->clips();
        change(clips.at(index));
        return clips;
    }
    /// The array is this one, one step of history away from what it was.
    void expectOneStep(const std::vector<Clip>& expected, const std::vector<Clip>& before) {
        EXPECT_EQ(editor->clips(), expected);
        ASSERT_EQ(undoSteps(), 1u);
        EXPECT_FALSE(editor->interactionSnapshot());
        editor->undo();
        EXPECT_EQ(editor->clips(), before);
    }
    /// Nothing of a gesture is left, and nothing has changed.
    void expectNothing(const std::vector<Clip>& before) {
        EXPECT_EQ(editor->clips(), before);
        EXPECT_EQ(undoSteps(), 0u);
        EXPECT_FALSE(editor->interactionSnapshot());
        EXPECT_FALSE(view->isEditingClip());
        EXPECT_FALSE(view->insertionPreview() || view->snapTime() || view->trimDraft() || view->volumeDraft());
        EXPECT_EQ(view->displayedClips(), before);
        view->leave();
        EXPECT_EQ(view->cursor(), Qt::ArrowCursor);
        EXPECT_EQ(context.pendingTimers(), 0u);
    }
    /// Where the end of the clip at `index` can be taken hold of, and its start.
    [[nodiscard]] QPointF endOf(std::size_t index) const {
        const QRectF frame = view->drawnFrame(index);
        return at(0, 0) + QPointF(frame.right() - 1, frame.center().y());
    }
    [[nodiscard]] QPointF startOf(std::size_t index) const {
        const QRectF frame = view->drawnFrame(index);
        return at(0, 0) + QPointF(frame.left() + 1, frame.center().y());
    }

    bool reducedMotion = false;
    std::shared_ptr<Workspace> workspace;
    std::unique_ptr<TimelineView> view;

private:
    FileURL file(const std::string& name, FakeFile described) {
        const auto found = files_.find(name);
        if (found != files_.end()) return found->second;
        return files_.emplace(name, makeManaged(name, std::move(described))).first->second;
    }
    std::map<std::string, FileURL> files_;
};

}  // namespace kelvane::testing
