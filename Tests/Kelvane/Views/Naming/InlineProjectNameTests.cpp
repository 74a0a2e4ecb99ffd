#include <gmock/gmock.h>

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include "Support/App/WindowsFixture.h"
#include "Support/Patience.h"
#include "Views/Naming/InlineProjectNameView.h"
#include "Views/Window/PanelHost.h"

namespace kelvane::testing {
namespace {

/// The name of a project as the head of a window shows it, beside a button of 100 × 30 points at (300, 0).
class InlineProjectNameTests : public WindowsFixture {
protected:
    InlineProjectNameTests() {
        QObject::connect(&engine, &QQmlEngine::warnings, [this](const QList<QQmlError>& found) {
            for (const auto& warning : found) warnings.push_back(warning.toString().toStdString());
        });
        registerWindowTypes();
        QQmlComponent component(&engine);
        component.setData(R"(
            import QtQuick
            import QtQuick.Controls.Basic
            import Kelvane
            import "Naming"
            ApplicationWindow {
                id: window
                required property InlineProjectNameView view
                property int pressed: 0
                property int undone: 0
                property int selected: 0
                width: 500; height: 200
                Shortcut { sequences: [StandardKey.Undo]; onActivated: ++window.undone }
                Shortcut { sequence: "Ctrl+A"; onActivated: ++window.selected }
                Shortcut { sequence: "Backspace"; onActivated: ++window.selected }
                Shortcut { sequence: "Escape"; onActivated: ++window.selected }
                InlineProjectName { id: name; objectName: "name"; x: 20; y: 5; view: window.view }
                Button { objectName: "other"; x: 300; width: 100; height: 30; text: "Other"; onClicked: ++window.pressed }
            }
        )",
                          QUrl("qrc:/Views/Test.qml"));
        QObject* made = component.createWithInitialProperties({{"view", QVariant::fromValue(&view)}});
        window.reset(qobject_cast<QQuickWindow*>(made));
        check(window != nullptr, component.errorString().toStdString().c_str());
        editor = open(row, workspace, false);
        context.settle();
        window->show();
        check(QTest::qWaitForWindowActive(window.get(), static_cast<int>(patience.count())), "the window is in front");
        refresh();
    }
    ~InlineProjectNameTests() override { EXPECT_EQ(warnings, std::vector<std::string>()); }

    void refresh() {
        context.runPosted();
        QCoreApplication::processEvents();
        (void)window->grabWindow();
    }
    [[nodiscard]] QQuickItem* item(const char* name) const {
        // A field that was let go stays an object for a while.
        for (auto* found : window->findChildren<QQuickItem*>(name))
            if (found->window() == window.get() && found->isVisible()) return found;
        return nullptr;
    }
    [[nodiscard]] bool isEditing() const { return item("projectNameField") != nullptr; }
    [[nodiscard]] std::string problem() const {
        const auto* shown = item("projectNameProblem");
        return shown ? shown->property("text").toString().toStdString() : "";
    }
    [[nodiscard]] int count(const char* name) const { return window->property(name).toInt(); }
    void click(QPoint place) {
        QTest::mouseClick(window.get(), Qt::LeftButton, {}, place, 1000);
        finishWork();
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(window.get(), key, modifiers);
        finishWork();
    }
    void type(const char* text) {
        press(Qt::Key_A, Qt::ControlModifier);
        for (const char* letter = text; *letter != '\0'; ++letter) QTest::keyClick(window.get(), *letter);
        if (*text == '\0') press(Qt::Key_Backspace);
    }
    void finishWork() {
        context.settle();
        refresh();
    }
    void begin() {
        click({30, 20});
        ASSERT_TRUE(isEditing());
    }

    LibraryProject row = project("Road trip");
    std::shared_ptr<Workspace> workspace = show(first);
    InlineProjectNameView view{workspace};
    std::vector<std::string> warnings;
    QQmlEngine engine;
    std::unique_ptr<QQuickWindow> window;
    std::shared_ptr<Editor> editor;
};

TEST_F(InlineProjectNameTests, ShowsTheTitleAsAButton) {
    EXPECT_EQ(view.title(), "Road trip");
    EXPECT_EQ(view.label(), "Project name: Road trip. Rename project");
    EXPECT_FALSE(isEditing());
    editor->setLibraryName(std::string(10'000, 'm'));
    refresh();
    EXPECT_EQ(item("projectNameButton")->width(), 220);
    editor->setLibraryName("a\nb\u2028c");
    refresh();
    EXPECT_EQ(view.title(), "a b c");
}

TEST_F(InlineProjectNameTests, ReturnRenamesAndTheButtonHasTheFocus) {
    begin();
    type("Coast");
    press(Qt::Key_Return);
    EXPECT_FALSE(isEditing());
    EXPECT_EQ(view.title(), "Coast");
    EXPECT_EQ(windows->library().find(row.id)->name, "Coast");
    EXPECT_EQ(window->activeFocusItem(), item("projectNameButton"));
    EXPECT_TRUE(item("projectNameButton")->property("visualFocus").toBool());
}

TEST_F(InlineProjectNameTests, BlanksKeepTheFieldOpenAndEscapeDropsThem) {
    begin();
    type("   ");
    press(Qt::Key_Return);
    EXPECT_TRUE(isEditing());
    EXPECT_EQ(problem(), "Enter a project name.");
    press(Qt::Key_Escape);
    EXPECT_FALSE(isEditing());
    EXPECT_EQ(view.title(), "Road trip");
    EXPECT_EQ(count("selected"), 0) << "Escape was the field's";
}

TEST_F(InlineProjectNameTests, AClickElsewhereCommitsAndDoesItsWork) {
    begin();
    type("Coast");
    click({350, 15});
    EXPECT_FALSE(isEditing());
    EXPECT_EQ(view.title(), "Coast");
    EXPECT_EQ(count("pressed"), 1);
}

TEST_F(InlineProjectNameTests, AClickElsewhereIsSwallowedWhileTheNameIsEmpty) {
    begin();
    type("");
    click({350, 15});
    EXPECT_TRUE(isEditing());
    EXPECT_EQ(problem(), "Enter a project name.");
    EXPECT_EQ(count("pressed"), 0);
    EXPECT_EQ(window->activeFocusItem(), item("projectNameField"));
}

TEST_F(InlineProjectNameTests, AClickIntoTheFieldKeepsTheEdit) {
    begin();
    type("Coast");
    click({40, 17});
    EXPECT_TRUE(isEditing());
    EXPECT_EQ(view.title(), "Road trip");
}

TEST_F(InlineProjectNameTests, TabCommitsAndGoesOn) {
    begin();
    type("Coast");
    press(Qt::Key_Tab);
    EXPECT_EQ(view.title(), "Coast");
    EXPECT_EQ(window->activeFocusItem(), item("other"));
    press(Qt::Key_Backtab);
    EXPECT_EQ(window->activeFocusItem(), item("projectNameButton"));
}

TEST_F(InlineProjectNameTests, AFocusThatGoesCommitsOrComesBack) {
    begin();
    type("");
    item("other")->forceActiveFocus();
    finishWork();
    EXPECT_TRUE(isEditing());
    EXPECT_EQ(window->activeFocusItem(), item("projectNameField"));
    type("Coast");
    item("other")->forceActiveFocus();
    finishWork();
    EXPECT_FALSE(isEditing());
    EXPECT_EQ(view.title(), "Coast");
    EXPECT_EQ(window->activeFocusItem(), item("other"));
}

TEST_F(InlineProjectNameTests, AWindowThatIsLeftCommits) {
    begin();
    type("Coast");
    QQuickWindow another;
    another.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&another, static_cast<int>(patience.count())));
    finishWork();
    EXPECT_FALSE(isEditing());
    EXPECT_EQ(view.title(), "Coast");
}

TEST_F(InlineProjectNameTests, TheFieldKeepsItsKeysForItself) {
    begin();
    QTest::keyClick(window.get(), 'x');
    EXPECT_EQ(item("projectNameField")->property("text"), "x") << "all was selected";
    press(Qt::Key_Z, Qt::ControlModifier);
    press(Qt::Key_A, Qt::ControlModifier);
    press(Qt::Key_Backspace);
    EXPECT_EQ(item("projectNameField")->property("text"), "");
    EXPECT_EQ(count("undone"), 0);
    EXPECT_EQ(count("selected"), 0);
}

TEST_F(InlineProjectNameTests, AProjectOutsideTheLibraryCanNotBeRenamed) {
    editor->onRenameProject = nullptr;
    begin();
    type("Coast");
    press(Qt::Key_Return);
    EXPECT_TRUE(isEditing());
    EXPECT_EQ(problem(), "Open a library project before renaming it.");
}

TEST_F(InlineProjectNameTests, AnotherProjectEndsTheEditAndTheNameIsTaken) {
    begin();
    type("Coast");
    showHome(workspace);
    finishWork();
    EXPECT_FALSE(isEditing());
    EXPECT_EQ(windows->library().find(row.id)->name, "Coast");
    EXPECT_EQ(view.title(), "");
}

TEST_F(InlineProjectNameTests, ADiskThatCanNotBeWrittenKeepsTheFieldOpen) {
    const auto folderPath = windows->library().store().folder(row.id).path();
    std::filesystem::remove_all(folderPath);
    begin();
    type("Coast");
    click({350, 15});
    EXPECT_TRUE(isEditing());
    EXPECT_NE(problem(), "");
    EXPECT_EQ(count("pressed"), 0) << "the click waited for the disk, and goes nowhere";
    press(Qt::Key_Escape);
    EXPECT_EQ(view.title(), "Road trip");
}

TEST_F(InlineProjectNameTests, TextFromTheRightIsShownAsItIs) {
    begin();
    type("");
    item("projectNameField")->setProperty("text", QStringLiteral("مشروع البحر"));
    press(Qt::Key_Return);
    EXPECT_EQ(view.title(), QStringLiteral("مشروع البحر"));
}

}  // namespace
}  // namespace kelvane::testing
