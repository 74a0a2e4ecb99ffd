#include <gmock/gmock.h>

#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <memory>

#include "Platform/TurnQueue.h"
#include "Support/App/FakeMainContext.h"
#include "Support/App/FinishTask.h"
#include "Views/Naming/ProjectNameTextField.h"

namespace kelvane::testing {
namespace {

using Click = ProjectNameTextField::Click;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The turn at a queue, which is free.
std::unique_ptr<TurnQueue::Turn> take(TurnQueue& queue) {
    std::unique_ptr<TurnQueue::Turn> taken;
    const auto ask = [](TurnQueue* turns, std::unique_ptr<TurnQueue::Turn>* place) -> QCoro::Task<void> {
        auto asked = turns->next();
        *place = std::make_unique<TurnQueue::Turn>(co_await asked);
    };
    ask(&queue, &taken);
    return taken;
}

/// A field over an edit of the name "Road trip", whose rename answers as the test says: at once, or when it does.
class ProjectNameTests : public ::testing::Test {
protected:
    ProjectNameTests() { field.setEditor(&editor); }
    ~ProjectNameTests() override { context.settle(); }

    static QCoro::Task<Result<void>> rename(ProjectNameTests* test, std::string name,
                                            std::function<Result<void>()> validate) {
        auto asked = test->turns.next();
        const auto turn = co_await asked;
        if (auto valid = validate(); !valid) co_return valid;
        if (name.empty()) co_return fail("Enter a project name.");
        if (test->failure) co_return fail(*test->failure);
        test->renamed.push_back(name);
        co_return Result<void>();
    }
    bool commit(bool relinquish = true) { return finish(context, field.commitEditing(relinquish, NameExit::key)); }
    [[nodiscard]] std::string error() const { return editor.error().toStdString(); }

    FakeMainContext context;
    TurnQueue turns{context};
    std::optional<std::string> failure;
    std::vector<std::string> renamed;
    std::vector<NameExit> exits;
    ProjectNameEditor editor{"Road trip",
                             [this](std::string name, std::function<Result<void>()> validate) {
                                 return rename(this, std::move(name), std::move(validate));
                             },
                             [this](NameExit exit) { exits.push_back(exit); }};
    ProjectNameTextField field;
};

TEST_F(ProjectNameTests, AnUnchangedNameEndsTheEditWithoutARename) {
    EXPECT_EQ(editor.draft(), "Road trip");
    field.textChanged("  Road trip\n");
    EXPECT_TRUE(commit());
    EXPECT_THAT(renamed, IsEmpty());
    EXPECT_THAT(exits, ElementsAre(NameExit::key));
    EXPECT_TRUE(field.finished());
}

TEST_F(ProjectNameTests, AnotherNameIsTakenWithoutTheWhiteSpaceAtItsEnds) {
    field.textChanged(" Coast \u00a0");
    EXPECT_TRUE(commit());
    EXPECT_THAT(renamed, ElementsAre("Coast"));
    EXPECT_THAT(exits, ElementsAre(NameExit::key));
}

TEST_F(ProjectNameTests, BlanksKeepTheFieldOpenWithTheReason) {
    field.textChanged("   ");
    EXPECT_FALSE(commit());
    EXPECT_EQ(error(), "Enter a project name.");
    EXPECT_THAT(exits, IsEmpty());
    EXPECT_FALSE(field.finished());
    EXPECT_FALSE(field.finishing());
    field.textChanged("Coast");
    EXPECT_TRUE(commit()) << "a failed attempt is followed by another";
    EXPECT_THAT(renamed, ElementsAre("Coast"));
}

TEST_F(ProjectNameTests, AFailedRenameKeepsTheFieldOpenWithItsSentence) {
    failure = "“Metadata.json” could not be written: No space left on device";
    field.textChanged("Coast");
    EXPECT_FALSE(commit());
    EXPECT_EQ(error(), *failure);
    EXPECT_FALSE(field.finished());
}

TEST_F(ProjectNameTests, EscapeBehindAFailedAttemptDropsTheDraft) {
    field.textChanged("");
    EXPECT_FALSE(commit());
    EXPECT_TRUE(field.pressKey(Qt::Key_Escape));
    EXPECT_THAT(exits, ElementsAre(NameExit::key));
    EXPECT_THAT(renamed, IsEmpty());
    EXPECT_TRUE(field.finished());
}

TEST_F(ProjectNameTests, KeysEndTheEditWhereTheyAreMeantTo) {
    struct Row {
        int key;
        bool isHandled;
        std::vector<NameExit> exits;
        std::vector<std::string> renamed;
    };
    const Row rows[] = {
        {Qt::Key_Return, true, {NameExit::key}, {"Coast"}},
        {Qt::Key_Enter, true, {NameExit::key}, {"Coast"}},
        {Qt::Key_Tab, true, {NameExit::forward}, {"Coast"}},
        {Qt::Key_Backtab, true, {NameExit::backward}, {"Coast"}},
        {Qt::Key_Escape, true, {NameExit::key}, {}},
        {Qt::Key_Backspace, false, {}, {}},
        {Qt::Key_A, false, {}, {}},
        {Qt::Key_Up, false, {}, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.key);
        std::vector<NameExit> exits;
        std::vector<std::string> names;
        const auto take = [&names](std::string name, const std::function<Result<void>()>&) {
            names.push_back(std::move(name));
            return []() -> QCoro::Task<Result<void>> { co_return Result<void>(); }();
        };
        ProjectNameEditor edited("Road trip", take, [&exits](NameExit exit) { exits.push_back(exit); });
        ProjectNameTextField pressed;
        pressed.setEditor(&edited);
        pressed.textChanged("Coast");
        EXPECT_EQ(pressed.pressKey(row.key), row.isHandled);
        EXPECT_EQ(exits, row.exits);
        EXPECT_EQ(names, row.renamed);
    }
}

TEST_F(ProjectNameTests, NothingFollowsOnTheEndOfAnEdit) {
    EXPECT_TRUE(commit());
    field.textChanged("Late");
    EXPECT_EQ(editor.draft(), "Road trip");
    EXPECT_TRUE(commit()) << "it has ended";
    EXPECT_TRUE(field.pressKey(Qt::Key_Escape));
    field.loseFocus();
    field.windowResigned();
    context.settle();
    EXPECT_THAT(renamed, IsEmpty());
    EXPECT_THAT(exits, ElementsAre(NameExit::key));
}

TEST_F(ProjectNameTests, AnAttemptBesideAnotherDoesNothing) {
    auto held = take(turns);
    field.textChanged("Coast");
    field.pressKey(Qt::Key_Return);
    context.runPosted();
    EXPECT_TRUE(field.finishing());
    // The focus goes, the window does, and Return is pressed again.
    field.loseFocus();
    field.windowResigned();
    field.pressKey(Qt::Key_Return);
    EXPECT_TRUE(commit()) << "as if it had ended";
    EXPECT_THAT(exits, IsEmpty());
    held.reset();
    context.settle();
    EXPECT_THAT(renamed, ElementsAre("Coast"));
    EXPECT_THAT(exits, ElementsAre(NameExit::key));
    EXPECT_TRUE(field.finished());
}

TEST_F(ProjectNameTests, EscapeTakesBackARenameThatWaits) {
    auto held = take(turns);
    field.textChanged("Coast");
    field.pressKey(Qt::Key_Return);
    field.pressKey(Qt::Key_Escape);
    held.reset();
    context.settle();
    EXPECT_THAT(renamed, IsEmpty());
    EXPECT_THAT(exits, ElementsAre(NameExit::key));
}

TEST_F(ProjectNameTests, AFieldWithoutACommitStaysOpen) {
    ProjectNameTextField bare;
    EXPECT_FALSE(finish(context, bare.commitEditing(true, NameExit::key)));
    EXPECT_FALSE(bare.finished());
}

/// The same with the field in a window of 400 × 300 points, at (100, 50), 200 × 18 points large.
class ProjectNameClickTests : public ProjectNameTests {
protected:
    ProjectNameClickTests() {
        window.resize(400, 300);
        item = new QQuickItem(window.contentItem());
        item->setPosition({100, 50});
        item->setSize({200, 18});
        field.setItem(item);
    }

    QQuickWindow window;
    QQuickWindow other;
    QQuickItem* item = nullptr;
};

TEST_F(ProjectNameClickTests, ClicksWithinTheGrownBoundsPass) {
    field.textChanged("Coast");
    for (const QPointF place : {QPointF(150, 59), QPointF(94, 47), QPointF(305.9, 70.9), QPointF(94, 70.9)}) {
        EXPECT_EQ(field.handleMouseDown(&window, place), Click::passed) << place.x() << " " << place.y();
        EXPECT_FALSE(field.finished()) << place.x() << " " << place.y();
    }
    EXPECT_THAT(renamed, IsEmpty());
}

TEST_F(ProjectNameClickTests, ClicksOutsideThemCommitAndPass) {
    for (const QPointF place : {QPointF(93, 59), QPointF(307, 59), QPointF(150, 46), QPointF(150, 72)}) {
        ProjectNameEditor edited("A", nullptr, nullptr);
        ProjectNameTextField clicked;
        clicked.setEditor(&edited);
        clicked.setItem(item);
        EXPECT_EQ(clicked.handleMouseDown(&window, place), Click::passed);
        EXPECT_TRUE(clicked.finished()) << place.x() << " " << place.y();
    }
}

TEST_F(ProjectNameClickTests, AClickThatCanNotCommitIsSwallowedInThisWindowAlone) {
    field.textChanged(" ");
    EXPECT_EQ(field.handleMouseDown(&window, {10, 10}), Click::swallowed);
    EXPECT_EQ(error(), "Enter a project name.");
    EXPECT_FALSE(field.finished());
    EXPECT_EQ(field.handleMouseDown(&other, {150, 59}), Click::passed);
    EXPECT_FALSE(field.finished());
}

TEST_F(ProjectNameClickTests, AClickInAnotherWindowCommits) {
    field.textChanged("Coast");
    EXPECT_EQ(field.handleMouseDown(&other, {150, 59}), Click::passed) << "its place counts in its own window";
    EXPECT_THAT(renamed, ElementsAre("Coast"));
    EXPECT_THAT(exits, ElementsAre(NameExit::pointer));
}

TEST_F(ProjectNameClickTests, WithoutAWindowClicksPass) {
    item->setParentItem(nullptr);
    field.textChanged(" ");
    EXPECT_EQ(field.handleMouseDown(&window, {10, 10}), Click::passed);
    EXPECT_FALSE(field.isMonitoring());
    EXPECT_EQ(error(), "");
}

TEST_F(ProjectNameClickTests, WatchingBeginsAndEndsWithTheWindow) {
    EXPECT_TRUE(field.isMonitoring());
    item->setParentItem(nullptr);
    EXPECT_FALSE(field.isMonitoring());
    item->setParentItem(other.contentItem());
    EXPECT_TRUE(field.isMonitoring());
    delete item;
    EXPECT_FALSE(field.isMonitoring());
}

TEST_F(ProjectNameClickTests, AWindowThatResignsCommits) {
    field.textChanged("Coast");
    field.windowResigned();
    EXPECT_THAT(renamed, ElementsAre("Coast"));
    EXPECT_THAT(exits, ElementsAre(NameExit::pointer));
    EXPECT_TRUE(field.finished());
}

/// What gets the clicks that pass.
struct Target final : QQuickItem {
    explicit Target(QQuickItem* parent) : QQuickItem(parent) {
        setAcceptedMouseButtons(Qt::AllButtons);
        setSize({50, 50});
    }
    void mousePressEvent(QMouseEvent* event) override {
        events.emplace_back("press " + std::to_string(static_cast<int>(event->position().x())));
    }
    void mouseReleaseEvent(QMouseEvent*) override { events.emplace_back("release"); }
    std::vector<std::string> events;
};

TEST_F(ProjectNameClickTests, AClickThatHasToWaitGoesItsWayOnceTheNameIsTaken) {
    window.show();
    auto* target = new Target(window.contentItem());
    auto held = take(turns);
    field.textChanged("Coast");
    QTest::mouseClick(&window, Qt::LeftButton, {}, {20, 20});
    EXPECT_THAT(target->events, IsEmpty());
    EXPECT_TRUE(field.finishing());
    held.reset();
    context.settle();
    EXPECT_THAT(renamed, ElementsAre("Coast"));
    EXPECT_THAT(target->events, ElementsAre("press 20", "release"));
}

TEST_F(ProjectNameClickTests, AClickThatHasToWaitGoesNowhereWhereTheNameIsNot) {
    window.show();
    auto* target = new Target(window.contentItem());
    auto held = take(turns);
    failure = "Amiss.";
    field.textChanged("Coast");
    QTest::mouseClick(&window, Qt::LeftButton, {}, {20, 20});
    held.reset();
    context.settle();
    EXPECT_THAT(target->events, IsEmpty());
    EXPECT_EQ(error(), "Amiss.");
    // The next one finds the field open still.
    failure.reset();
    QTest::mouseClick(&window, Qt::LeftButton, {}, {30, 20});
    EXPECT_THAT(renamed, ElementsAre("Coast"));
    EXPECT_THAT(target->events, ElementsAre("press 30", "release"));
}

}  // namespace
}  // namespace kelvane::testing
