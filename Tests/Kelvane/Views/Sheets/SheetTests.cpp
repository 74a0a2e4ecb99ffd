#include <gmock/gmock.h>

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <memory>

#include "Kelvane/Views/Accessible/TreeReading.h"
#include "Support/Patience.h"
#include "Views/Window/PanelHost.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// A window with two buttons, over which a sheet and two alerts are shown as the properties say.
constexpr const char* source = R"(
import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "qrc:/Views/Controls"
import "qrc:/Views/Sheets"

ApplicationWindow {
    id: window
    width: 800
    height: 600
    property bool showsSheet: false
    property bool showsFirst: false
    property bool showsSecond: false
    property bool allows: true
    property string message: "It is what it is."
    property var log: []
    function note(what) { log.push(what) }

    KeyButton { objectName: "opener"; text: "Open"; onClicked: window.note("open") }
    KeyButton { objectName: "other"; x: 200; text: "Other"; onClicked: window.note("other") }
    Shortcut { sequence: "Ctrl+E"; onActivated: window.note("shortcut") }

    Sheet {
        objectName: "sheet"
        title: "A Sheet"
        shown: window.showsSheet
        defaultButton: accept
        cancelButton: decline
        SheetField { id: field; objectName: "field"; label: "Field" }
        SheetFoot {
            SheetButton { id: decline; objectName: "decline"; text: "Cancel"; enabled: window.allows; onClicked: window.note("cancel") }
            SheetButton { id: accept; objectName: "accept"; text: "Accept"; primary: true; enabled: window.allows; onClicked: window.note("accept") }
        }
    }
    Alert {
        objectName: "first"
        title: "First"
        symbol: "warning"
        message: window.message
        shown: window.showsFirst
        defaultButton: firstButton
        cancelButton: firstButton
        firstFocus: firstButton
        buttons: SheetButton { id: firstButton; objectName: "First"; text: "OK"; primary: true; onClicked: window.note("First") }
    }
    Alert {
        objectName: "second"
        title: "Second"
        symbol: "warning"
        message: window.message
        shown: window.showsSecond
        defaultButton: secondButton
        cancelButton: secondButton
        firstFocus: secondButton
        buttons: SheetButton { id: secondButton; objectName: "Second"; text: "Yes"; primary: true; onClicked: window.note("Second") }
    }
}
)";

class SheetTests : public ::testing::Test {
protected:
    SheetTests() {
        registerWindowTypes();
        QObject::connect(&engine, &QQmlEngine::warnings, [this](const QList<QQmlError>& found) {
            for (const auto& warning : found) warnings.push_back(warning.toString().toStdString());
        });
        QQmlComponent component(&engine);
        component.setData(source, QUrl("qrc:/Views/Test.qml"));
        window.reset(qobject_cast<QQuickWindow*>(component.create()));
        check(window != nullptr, qPrintable(component.errorString()));
        window->show();
        window->requestActivate();
        EXPECT_TRUE(QTest::qWaitForWindowActive(window.get(), static_cast<int>(patience.count())));
        item("opener")->forceActiveFocus(Qt::TabFocusReason);
    }
    ~SheetTests() override {
        window.reset();
        EXPECT_THAT(warnings, IsEmpty());
    }

    template <class Condition>
    static bool becomes(Condition isSo) {
        return QTest::qWaitFor(isSo, static_cast<int>(patience.count()));
    }
    [[nodiscard]] QObject* object(const char* name) const {
        auto* found = window->findChild<QObject*>(name);
        check(found != nullptr, name);
        return found;
    }
    [[nodiscard]] QQuickItem* item(const char* name) const { return qobject_cast<QQuickItem*>(object(name)); }
    [[nodiscard]] bool isOpen(const char* name) const { return object(name)->property("visible").toBool(); }
    /// Shows a sheet or an alert, until it stands.
    void show(const char* property, const char* name) {
        window->setProperty(property, true);
        EXPECT_TRUE(becomes([&] { return object(name)->property("opened").toBool(); })) << name;
    }
    void hide(const char* property, const char* name) {
        window->setProperty(property, false);
        EXPECT_TRUE(becomes([&] { return !isOpen(name); })) << name;
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(window.get(), key, modifiers); }
    void click(QPoint point) { QTest::mouseClick(window.get(), Qt::LeftButton, {}, point); }
    /// What was pressed, in order.
    [[nodiscard]] std::vector<std::string> log() const {
        std::vector<std::string> texts;
        for (const QVariant& entry : window->property("log").toList()) texts.push_back(entry.toString().toStdString());
        return texts;
    }
    [[nodiscard]] std::string focused() const {
        const auto* item = window->activeFocusItem();
        return item != nullptr ? item->objectName().toStdString() : "nothing";
    }

    std::vector<std::string> warnings;
    QQmlEngine engine;
    std::unique_ptr<QQuickWindow> window;
};

TEST_F(SheetTests, ReturnPressesTheDefaultButtonAndEscapeTheCancellingOne) {
    show("showsSheet", "sheet");
    press(Qt::Key_Return);
    press(Qt::Key_Enter);
    press(Qt::Key_Escape);
    item("field")->forceActiveFocus();
    press(Qt::Key_Return);
    press(Qt::Key_Escape);
    EXPECT_THAT(log(), ElementsAre("accept", "accept", "cancel", "accept", "cancel"));
    EXPECT_TRUE(isOpen("sheet")) << "closing it is the view's to say";
}

TEST_F(SheetTests, AFocusedButtonIsPressedItself) {
    show("showsSheet", "sheet");
    item("decline")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    press(Qt::Key_Space);
    EXPECT_THAT(log(), ElementsAre("cancel", "cancel"));
}

TEST_F(SheetTests, ADisabledButtonIsNotPressedByKeys) {
    window->setProperty("allows", false);
    show("showsSheet", "sheet");
    press(Qt::Key_Return);
    press(Qt::Key_Escape);
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_TRUE(isOpen("sheet"));
}

TEST_F(SheetTests, WhatIsBehindASheetCanNotBeReached) {
    show("showsSheet", "sheet");
    click({220, 10});
    click({5, 590});
    press(Qt::Key_E, Qt::ControlModifier);
    for (int stop = 0; stop < 7; ++stop) {
        press(Qt::Key_Tab);
        EXPECT_THAT((std::vector<std::string>{"field", "decline", "accept"}), ::testing::Contains(focused()));
    }
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_TRUE(isOpen("sheet")) << "a click beside it is nobody's";
    hide("showsSheet", "sheet");
    press(Qt::Key_E, Qt::ControlModifier);
    EXPECT_THAT(log(), ElementsAre("shortcut"));
}

TEST_F(SheetTests, TheFocusReturnsToWhatHadIt) {
    show("showsSheet", "sheet");
    EXPECT_NE(focused(), "opener");
    hide("showsSheet", "sheet");
    EXPECT_EQ(focused(), "opener");
    EXPECT_TRUE(item("opener")->property("visualFocus").toBool()) << "with its ring";
    item("other")->forceActiveFocus(Qt::MouseFocusReason);
    show("showsFirst", "first");
    EXPECT_EQ(focused(), "First");
    hide("showsFirst", "first");
    EXPECT_EQ(focused(), "other");
    EXPECT_FALSE(item("other")->property("visualFocus").toBool());
}

TEST_F(SheetTests, TheFocusReturnsBehindSeveralSheetsInARow) {
    show("showsSheet", "sheet");
    window->setProperty("showsSheet", false);
    show("showsFirst", "first");
    hide("showsFirst", "first");
    EXPECT_EQ(focused(), "opener");
    show("showsSheet", "sheet");
    item("field")->forceActiveFocus();
    show("showsSecond", "second");
    hide("showsSecond", "second");
    EXPECT_TRUE(becomes([this] { return focused() == "field"; })) << "of the sheet below";
    hide("showsSheet", "sheet");
    EXPECT_EQ(focused(), "opener");
}

TEST_F(SheetTests, AQuestionThatEndsWithItsAnswerReturnsTheFocusToTheSheetBelow) {
    show("showsSheet", "sheet");
    item("field")->forceActiveFocus(Qt::TabFocusReason);
    // As the window's questions are: made for one answer, and gone with it.
    QQmlComponent component(&engine);
    component.setData(R"(
        import "qrc:/Views/Sheets"
        Sheet { id: sheet; firstFocus: answer; SheetField { id: answer; objectName: "answer"; label: "Answer" } }
    )",
                      QUrl("qrc:/Views/Question.qml"));
    auto* question = component.createWithInitialProperties({{"parent", QVariant::fromValue(window->contentItem())}});
    ASSERT_NE(question, nullptr) << component.errorString().toStdString();
    QMetaObject::invokeMethod(question, "open");
    EXPECT_TRUE(becomes([this] { return focused() == "answer"; }));
    QMetaObject::invokeMethod(question, "close");
    question->deleteLater();
    EXPECT_TRUE(becomes([this] { return focused() == "field"; })) << focused();
    EXPECT_EQ(item("field")->property("focusReason").toInt(), Qt::TabFocusReason);
    press(Qt::Key_Escape);
    EXPECT_THAT(log(), ElementsAre("cancel"));
}

TEST_F(SheetTests, AControlThatCanNoLongerTakeTheFocusIsLeftAlone) {
    show("showsSheet", "sheet");
    item("opener")->setVisible(false);
    hide("showsSheet", "sheet");
    EXPECT_NE(focused(), "opener");
    delete item("opener");
    show("showsSheet", "sheet");
    hide("showsSheet", "sheet");
    EXPECT_NE(focused(), "opener");
}

TEST_F(SheetTests, AlertsStandOneAtATime) {
    show("showsFirst", "first");
    window->setProperty("showsSecond", true);
    EXPECT_FALSE(isOpen("second"));
    press(Qt::Key_Return);
    EXPECT_THAT(log(), ElementsAre("First"));
    window->setProperty("showsFirst", false);
    EXPECT_TRUE(becomes([this] { return object("second")->property("opened").toBool(); }));
    EXPECT_FALSE(isOpen("first"));
    press(Qt::Key_Escape);
    EXPECT_THAT(log(), ElementsAre("First", "Second"));
    hide("showsSecond", "second");
    EXPECT_EQ(focused(), "opener");
}

TEST_F(SheetTests, AnAlertThatIsNoLongerWantedIsNeverShown) {
    show("showsFirst", "first");
    window->setProperty("showsSecond", true);
    window->setProperty("showsSecond", false);
    hide("showsFirst", "first");
    EXPECT_FALSE(isOpen("second"));
    show("showsFirst", "first");
}

TEST_F(SheetTests, AnAlertStandsOverASheet) {
    show("showsSheet", "sheet");
    show("showsFirst", "first");
    press(Qt::Key_Return);
    EXPECT_THAT(log(), ElementsAre("First"));
    EXPECT_TRUE(isOpen("sheet"));
}

TEST_F(SheetTests, TheSafeButtonOfAnAlertHasTheFocusAndItsRing) {
    show("showsFirst", "first");
    EXPECT_EQ(focused(), "First");
    EXPECT_TRUE(item("First")->property("visualFocus").toBool());
}

TEST_F(SheetTests, TheTreeTellsWhatAnAlertIsAndSays) {
    show("showsFirst", "first");
    auto& root = treeRoot(*window);
    auto* alert = findNode(root, QAccessible::AlertMessage, "First");
    ASSERT_NE(alert, nullptr) << treeOf(root);
    EXPECT_EQ(treeOf(*alert),
              "alert \"First\"\n"
              "  label \"It is what it is.\"\n"
              "  button \"OK\" default\n");
    EXPECT_TRUE(alert->state().modal);
    EXPECT_THAT(faultsOf(*alert), IsEmpty());
    hide("showsFirst", "first");
    show("showsSheet", "sheet");
    auto* sheet = findNode(root, QAccessible::Dialog, "A Sheet");
    ASSERT_NE(sheet, nullptr) << treeOf(root);
    EXPECT_EQ(treeOf(*sheet),
              "dialog \"A Sheet\"\n"
              "  text \"Field\"\n"
              "  button \"Cancel\"\n"
              "  button \"Accept\" default\n");
}

TEST_F(SheetTests, TheMessageOfAnAlertCanBeSelectedAndCopied) {
    show("showsFirst", "first");
    auto* alert = findNode(treeRoot(*window), QAccessible::AlertMessage, "First");
    ASSERT_NE(alert, nullptr);
    auto* message = alert->child(0);
    ASSERT_NE(message, nullptr);
    ASSERT_NE(message->textInterface(), nullptr);
    EXPECT_EQ(message->editableTextInterface(), nullptr) << "but not changed";
    auto* words = qobject_cast<QQuickItem*>(message->object());
    const QRectF place = words->mapRectToScene({0, 0, words->width(), words->height()});
    QTest::mouseDClick(window.get(), Qt::LeftButton, {}, place.topLeft().toPoint() + QPoint(4, 6));
    EXPECT_EQ(words->property("selectedText"), "It");
    press(Qt::Key_Return);
    EXPECT_THAT(log(), ElementsAre("First")) << "Return is still the default button's";
}

TEST_F(SheetTests, ALongMessageScrollsAndLeavesTheButtonsInTheWindow) {
    window->setProperty("message", QString("A line of it.\n").repeated(200));
    show("showsFirst", "first");
    const auto* button = item("First");
    EXPECT_LT(button->mapRectToScene({0, 0, button->width(), button->height()}).bottom(), 560);
    EXPECT_GT(button->mapRectToScene({0, 0, 1, 1}).top(), 100);
}

TEST_F(SheetTests, AWindowThatEndsUnderASheetEndsItsSheets) {
    show("showsSheet", "sheet");
    show("showsFirst", "first");
    window->setProperty("showsSecond", true);
    window.reset();
    QCoreApplication::processEvents();
}

}  // namespace
}  // namespace kelvane::testing
