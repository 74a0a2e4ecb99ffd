#include <gmock/gmock.h>

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QTest>

#include "Kelvane/Views/Timeline/TimelineViewFixture.h"
#include "Support/Patience.h"
#include "TreeReading.h"
#include "Views/Accessible/TimelineAccessible.h"
#include "Views/Window/PanelHost.h"

namespace kelvane::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;
using Kind = TimelineNode::Kind;

/// A timeline of 1000 × 348 points, alone in its window, read by somebody. The ruler is 22 points high.
class TimelineAccessibleTests : public TimelineViewFixture {
protected:
    TimelineAccessibleTests() {
        registerWindowTypes();
        QQmlComponent component(&engine);
        component.setData(R"(
            import QtQuick
            import Kelvane
            Window {
                id: window
                required property TimelineView view
                width: 1000; height: 348; visible: true; title: "Scene"
                TimelineSurface {
                    objectName: "surface"
                    anchors.fill: parent
                    view: window.view
                    Accessible.role: Accessible.Grouping
                    Accessible.name: "Timeline viewport"
                }
            })",
                          QUrl("scene.qml"));
        scene.reset(component.createWithInitialProperties({{"view", QVariant::fromValue(view.get())}}));
        EXPECT_TRUE(scene) << component.errorString().toStdString();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window(), static_cast<int>(patience.count())));
    }
    ~TimelineAccessibleTests() override { scene.reset(); }

    [[nodiscard]] QQuickWindow& window() const { return *qobject_cast<QQuickWindow*>(scene.get()); }
    [[nodiscard]] QQuickItem& surface() const { return *scene->findChild<QQuickItem*>("surface"); }
    [[nodiscard]] TimelineAccessible& timeline() const {
        treeRoot(*scene);
        return *dynamic_cast<TimelineAccessible*>(QAccessible::queryAccessibleInterface(&surface()));
    }
    [[nodiscard]] std::string tree() const { return treeOf(timeline()); }
    [[nodiscard]] QAccessibleInterface& clipNode(std::size_t index) const {
        return *timeline().interfaceOf({Kind::clip, 0, clip(index).id});
    }
    [[nodiscard]] QAccessibleInterface& ruler() const { return *timeline().interfaceOf({Kind::ruler}); }
    void act(QAccessibleInterface& node, const QString& action) {
        node.actionInterface()->doAction(action);
        tell();
    }
    /// Three clips: 3 s and 5 s of video, and 4 s of sound from 2 s on.
    void fillThree() { fill({videoClip(3), videoClip(5), audioClip(4, 2)}); }

    QQmlEngine engine;
    std::unique_ptr<QObject> scene;
};

TEST_F(TimelineAccessibleTests, WhatIsDrawnStandsInTheTreeRowByRow) {
    fillThree();
    EXPECT_EQ(tree(),
              "panel \"Timeline viewport\"\n"
              "  slider \"Seek\" (Timeline ruler. Use left and right arrow keys to seek, or Enter to return to "
              "the beginning.)\n"
              "  label \"00:00\"\n"
              "  label \"00:05\"\n"
              "  image \"Playhead\"\n"
              "  list \"Tracks\"\n"
              "    list \"Video\"\n"
              "      list item \"video\" (Volume 100 percent) selected\n"
              "      list item \"video\" (Volume 100 percent)\n"
              "    list \"Audio 1\"\n"
              "      list item \"sound\" (Volume 100 percent)\n");
    EXPECT_THAT(faultsOf(timeline()), IsEmpty());
    EXPECT_EQ(timeline().rect(), QRect(window().mapToGlobal(QPoint()), QSize(1000, 348)));
    EXPECT_EQ(clipNode(1).text(QAccessible::Help), "5.0 seconds");
}

TEST_F(TimelineAccessibleTests, AnEmptyTrackSaysWhatBelongsThere) {
    fill({});
    EXPECT_THAT(tree(), HasSubstr("  label \"Drag assets here\"\n"));
    EXPECT_THAT(tree(), HasSubstr("slider \"Seek\""));
    EXPECT_TRUE(ruler().state().disabled);
    EXPECT_THAT(faultsOf(timeline()), IsEmpty());
}

TEST_F(TimelineAccessibleTests, ClipsHaveTheExtentsOfTheirFramesAsTheyAreScrolled) {
    fillThree();
    const auto corner = window().mapToGlobal(QPoint());
    // 3 s of 32 points, less 3 at both ends, right of the playhead at 500.
    EXPECT_EQ(clipNode(0).rect(), QRect(corner + QPoint(503, 22), QSize(90, 86)));
    EXPECT_EQ(clipNode(2).rect(), QRect(corner + QPoint(567, 116), QSize(122, 86)));
    goTo(1);
    EXPECT_EQ(clipNode(0).rect(), QRect(corner + QPoint(471, 22), QSize(90, 86)));
    EXPECT_EQ(timeline().interfaceOf({Kind::playhead})->rect(), QRect(corner + QPoint(499, 0), QSize(2, 348)));
    // The label of 5 s stands a point behind its tick, five below the top.
    EXPECT_EQ(timeline().interfaceOf({Kind::tick, 1, {}})->rect().topLeft(), corner + QPoint(500 + 4 * 32 + 1, 5));
}

TEST_F(TimelineAccessibleTests, WhatIsScrolledOutStaysAndIsOutOfSight) {
    fill({videoClip(30), videoClip(30)});
    EXPECT_FALSE(clipNode(0).state().offscreen);
    EXPECT_TRUE(clipNode(1).state().offscreen);
    goTo(59);
    EXPECT_TRUE(clipNode(0).state().offscreen);
    EXPECT_FALSE(clipNode(1).state().offscreen);
    EXPECT_FALSE(clipNode(0).state().invisible);
    EXPECT_THAT(tree(), HasSubstr("list item \"video\" (Volume 100 percent) selected out of sight\n"));
}

TEST_F(TimelineAccessibleTests, TheVolumeOfAClipIsStepped) {
    fill({videoClip(3), audioClip(4, 2)});
    auto& node = clipNode(1);
    EXPECT_THAT(node.actionInterface()->actionNames(),
                ElementsAre(QAccessibleActionInterface::pressAction(), "Increase Volume", "Decrease Volume",
                            QAccessibleActionInterface::setFocusAction()));
    act(node, "Decrease Volume");
    act(node, "Decrease Volume");
    EXPECT_NEAR(clip(1).volume, 0.9, 1e-9);
    EXPECT_EQ(node.text(QAccessible::Description), "Volume 90 percent");
    EXPECT_EQ(undoSteps(), 2u);
    for (int i = 0; i < 5; ++i) act(node, "Increase Volume");
    EXPECT_EQ(clip(1).volume, 1);
    beBusy();
    tell();
    EXPECT_TRUE(node.state().disabled);
    act(node, "Decrease Volume");
    EXPECT_EQ(clip(1).volume, 1);
}

TEST_F(TimelineAccessibleTests, APressSelectsAClipAsAClickDoes) {
    fillThree();
    act(clipNode(2), QAccessibleActionInterface::pressAction());
    EXPECT_THAT(editor->selectedClipIDs(), ElementsAre(clip(2).id));
    EXPECT_TRUE(clipNode(2).state().selected);
    EXPECT_FALSE(clipNode(0).state().selected);
    EXPECT_TRUE(surface().hasActiveFocus());
    EXPECT_TRUE(clipNode(2).state().focused);
    EXPECT_EQ(timeline().focusChild(), &clipNode(2));
}

TEST_F(TimelineAccessibleTests, TheRulerTellsThePlayheadAndMovesIt) {
    fillThree();
    auto* value = ruler().valueInterface();
    EXPECT_EQ(value->minimumValue().toDouble(), 0);
    EXPECT_EQ(value->maximumValue().toDouble(), 8);
    EXPECT_EQ(value->minimumStepSize().toDouble(), 1);
    value->setCurrentValue(4.5);
    tell();
    EXPECT_EQ(editor->playhead(), 4.5);
    EXPECT_EQ(value->currentValue().toDouble(), 4.5);
    act(ruler(), QAccessibleActionInterface::increaseAction());
    EXPECT_EQ(editor->playhead(), 5.5);
    act(ruler(), QAccessibleActionInterface::decreaseAction());
    EXPECT_EQ(editor->playhead(), 4.5);
    value->setCurrentValue(99);
    value->setCurrentValue("soon");
    value->setCurrentValue(qQNaN());
    tell();
    EXPECT_EQ(editor->playhead(), 8);
}

TEST_F(TimelineAccessibleTests, MarksStandInTheTreeWhileTheyAreDrawn) {
    fillThree();
    const auto before = tree();
    // From the empty part of the track over the first clip.
    beginDrag(at(-2, 150), QPointF(90, -60));
    EXPECT_THAT(tree(), HasSubstr("  image \"Selection\"\n"));
    view->release(at(-2, 150) + QPointF(90, -60), Qt::NoModifier);
    tell();
    EXPECT_THAT(tree(), Not(HasSubstr("\"Selection\"")));
    // The first clip behind the second.
    beginDrag(at(1, row(0)), QPointF(32 * 6, 0));
    EXPECT_THAT(tree(), HasSubstr("  image \"Insertion marker\"\n"));
    EXPECT_THAT(faultsOf(timeline()), IsEmpty());
    view->cancelGesture();
    tell();
    EXPECT_THAT(tree(), Not(HasSubstr("Insertion marker")));
    // The end of the first clip to the playhead.
    goTo(2);
    beginDrag(endOf(0), QPointF(-32, 0));
    EXPECT_THAT(tree(), HasSubstr("  image \"Snap line\"\n"));
    view->cancelGesture();
    tell();
    EXPECT_THAT(tree(), Not(HasSubstr("Snap line")));
}

TEST_F(TimelineAccessibleTests, TheLengthOfAClipStandsBelowItWhileItIsShown) {
    fillThree();
    view->hover(at(1, row(0) - 20));
    EXPECT_THAT(tree(), HasSubstr("list item \"video\" (Volume 100 percent) selected\n        label \"00:03.0\"\n"));
    EXPECT_THAT(faultsOf(timeline()), IsEmpty());
    view->leave();
    EXPECT_THAT(tree(), Not(HasSubstr("00:03.0")));
}

TEST_F(TimelineAccessibleTests, AThousandClipsCostNothingUntilSomebodyAsks) {
    std::vector<Clip> clips;
    for (int i = 0; i < 1000; ++i) clips.push_back(i % 3 == 0 ? audioClip(1, i) : videoClip(1));
    fill(clips);
    auto& read = timeline();
    goTo(100);
    editor->selectTimelineClips({clips[3].id, clips[700].id});
    tell();
    EXPECT_EQ(read.interfaceCount(), 0u);
    auto* tracks = read.interfaceOf({Kind::rows});
    EXPECT_EQ(tracks->child(0)->childCount(), 666);
    auto* last = tracks->child(0)->child(665);
    EXPECT_EQ(tracks->child(0)->indexOfChild(last), 665);
    EXPECT_EQ(read.interfaceCount(), 3u) << "the list, its row and the clip";
}

TEST_F(TimelineAccessibleTests, InterfacesEndWithTheirClips) {
    fillThree();
    (void)tree();
    const auto gone = QAccessible::uniqueId(&clipNode(0));
    const auto kept = QAccessible::uniqueId(&clipNode(1));
    editor->setSelection(clip(0).id);
    editor->deleteSelection();
    tell();
    EXPECT_EQ(QAccessible::accessibleInterface(gone), nullptr);
    ASSERT_NE(QAccessible::accessibleInterface(kept), nullptr);
    EXPECT_EQ(QAccessible::accessibleInterface(kept), &clipNode(0)) << "by its id, not by its place";
    scene.reset();
    EXPECT_EQ(QAccessible::accessibleInterface(kept), nullptr);
}

TEST_F(TimelineAccessibleTests, APointFindsWhatIsDrawnThere) {
    fillThree();
    const auto corner = window().mapToGlobal(QPoint());
    const auto at = [&](int x, int y) { return timeline().childAt(corner.x() + x, corner.y() + y); };
    EXPECT_EQ(at(520, 60), &clipNode(0));
    EXPECT_EQ(at(600, 150), &clipNode(2));
    EXPECT_EQ(at(900, 10), &ruler());
    EXPECT_EQ(treeRoot(*scene).childAt(corner.x() + 520, corner.y() + 60), &clipNode(0));
}

// What is told.

TEST_F(TimelineAccessibleTests, SelectionAndFocusAreToldOfEachClip) {
    fillThree();
    (void)tree();
    surface().forceActiveFocus();
    tell();
    const EventWatch watch;
    editor->selectTimelineClip(clip(1).id, {.command = true});
    tell();
    EXPECT_THAT(watch.told(), ElementsAre("list item \"video\": selected", "list item \"video\": focus"));
    editor->selectTimelineClips({});
    tell();
    EXPECT_THAT(watch.told(), ElementsAre("list item \"video\": deselected", "list item \"video\": deselected"));
    editor->selectTimelineClip(clip(2).id, {});
    tell();
    EXPECT_THAT(watch.told(), ElementsAre("list item \"sound\": selected", "list item \"sound\": focus"));
    surface().setFocus(false);
    surface().forceActiveFocus();
    EXPECT_THAT(watch.told(), Contains("list item \"sound\": focus")) << "as the timeline gets the keyboard";
}

TEST_F(TimelineAccessibleTests, ClipsThatComeAndGoAndTheirVolumesAreTold) {
    fillThree();
    (void)tree();
    const EventWatch watch;
    editor->update(clip(2).id, [](Clip& clip) { clip.volume = 0.5; });
    tell();
    EXPECT_THAT(watch.told(), Contains("list item \"sound\": description"));
    editor->setSelection(clip(2).id);
    editor->deleteSelection();
    tell();
    EXPECT_THAT(watch.told(), Contains("list item \"\": destroyed"));
    editor->undo();
    tell();
    EXPECT_THAT(watch.told(), Contains("list item \"sound\": created"));
}

TEST_F(TimelineAccessibleTests, MarksAndTheLengthAreToldAsTheyComeAndGo) {
    fill({videoClip(10), videoClip(5)});
    (void)tree();
    goTo(8);
    const EventWatch watch;
    beginDrag(endOf(0), QPointF(-64, 0));
    EXPECT_THAT(watch.told(), IsSupersetOf({"label \"00:09.0\": created", "label \"00:08.0\": name",
                                            "image \"Snap line\": created"}));
    view->drag(endOf(0) - QPointF(40, 0), Qt::NoModifier);
    EXPECT_THAT(watch.told(), IsSupersetOf({"label \"00:06.8\": name", "image \"Snap line\": destroyed"}));
    view->cancelGesture();
    tell();
    EXPECT_THAT(watch.told(), Contains("label \"00:10.0\": destroyed"));
}

TEST_F(TimelineAccessibleTests, ThePlayheadAndWhatComesIntoSightAreToldOnceTheyRest) {
    fill({videoClip(30), videoClip(30)});
    (void)tree();
    advance(std::chrono::seconds(1));
    const EventWatch watch;
    goTo(50);
    goTo(59);
    advance(std::chrono::milliseconds(299));
    EXPECT_THAT(watch.told(), Not(Contains("slider \"Seek\": value")));
    advance(std::chrono::milliseconds(1));
    EXPECT_THAT(watch.told(), ::testing::UnorderedElementsAre("slider \"Seek\": value", "list item \"video\": hidden",
                                                              "list item \"video\": shown"));
    editor->togglePlayback();
    player->playTo(59.5);
    advance(std::chrono::seconds(1));
    EXPECT_THAT(watch.told(), Not(Contains("slider \"Seek\": value"))) << "never while it plays";
}

}  // namespace
}  // namespace kelvane::testing
