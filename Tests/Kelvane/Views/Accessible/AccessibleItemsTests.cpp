#include <gmock/gmock.h>

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <memory>

#include "Support/Error.h"
#include "Support/Patience.h"
#include "TreeReading.h"
#include "Views/Accessible/ItemAccessible.h"

namespace kelvane::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A window of 400 × 600 points whose content is a piece of QML.
class AccessibleItemsTests : public ::testing::Test {
protected:
    AccessibleItemsTests() {
        installAccessibleInterfaces();
        QObject::connect(&engine, &QQmlEngine::warnings, [this](const QList<QQmlError>& found) {
            for (const auto& warning : found) warnings.push_back(warning.toString().toStdString());
        });
    }
    ~AccessibleItemsTests() override { EXPECT_EQ(warnings, std::vector<std::string>()); }

    void show(const QByteArray& content) {
        QQmlComponent component(&engine);
        component.setData(
            "import QtQuick\nimport QtQuick.Controls.Basic\nimport QtQuick.Layouts\n"
            "ApplicationWindow { id: window; width: 400; height: 600; title: \"Scene\"\n"
            "property int counted: 0; property string noted\n" +
                content + "\n}",
            QUrl("scene.qml"));
        scene.reset(component.create());
        ASSERT_TRUE(scene) << component.errorString().toStdString();
        window().show();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window(), static_cast<int>(patience.count())));
    }
    [[nodiscard]] QQuickWindow& window() const { return *qobject_cast<QQuickWindow*>(scene.get()); }
    [[nodiscard]] QAccessibleInterface& root() const { return treeRoot(*scene); }
    [[nodiscard]] std::string tree() const { return treeOf(root()); }
    [[nodiscard]] QAccessibleInterface& node(QAccessible::Role role, const std::string& name) const {
        auto* found = findNode(root(), role, name);
        if (found == nullptr) ADD_FAILURE() << name << " isn't in " << tree();
        check(found != nullptr, "the tree has the node");
        return *found;
    }
    [[nodiscard]] QObject& item(const char* name) const { return *scene->findChild<QObject*>(name); }
    [[nodiscard]] int counted() const { return scene->property("counted").toInt(); }
    [[nodiscard]] std::string noted() const { return scene->property("noted").toString().toStdString(); }
    static void act(QAccessibleInterface& node, const QString& action) { node.actionInterface()->doAction(action); }
    static void press(QAccessibleInterface& node) { act(node, QAccessibleActionInterface::pressAction()); }

    std::vector<std::string> warnings;
    QQmlEngine engine;
    std::unique_ptr<QObject> scene;
};

TEST_F(AccessibleItemsTests, OnlyWhatIsShownIsInTheTree) {
    show(R"(
        Column {
            Button { text: "Shown" }
            Button { text: "Hidden"; visible: false }
            Button { text: "Transparent"; opacity: 0 }
            Button { text: "Empty"; width: 0; height: 0 }
            Item { objectName: "group"; visible: false; width: 50; height: 50; Button { text: "In a hidden group" } }
            Item { opacity: 0; width: 50; height: 50; Button { text: "In a transparent group" } }
            Label { text: "" }
        })");
    EXPECT_EQ(tree(),
              "window \"Scene\"\n"
              "  button \"Shown\"\n");
    item("group").setProperty("visible", true);
    EXPECT_EQ(tree(),
              "window \"Scene\"\n"
              "  button \"Shown\"\n"
              "  button \"In a hidden group\"\n");
    EXPECT_THAT(faultsOf(root()), IsEmpty());
}

TEST_F(AccessibleItemsTests, AHiddenWindowShowsNothing) {
    show(R"(Button { text: "Shown" })");
    auto& button = node(QAccessible::PushButton, "Shown");
    EXPECT_FALSE(button.state().invisible);
    window().hide();
    EXPECT_EQ(tree(), "window \"Scene\"\n");
    EXPECT_TRUE(root().state().invisible);
    EXPECT_TRUE(button.state().invisible);
}

TEST_F(AccessibleItemsTests, TextsAreLabelsOnceEach) {
    show(R"(
        Column {
            Label { text: "Plain" }
            Label { text: "<b>Bold</b> face"; textFormat: Text.RichText }
            Label { text: "3"; Accessible.name: "Three" }
            Text { text: "Not of a control" }
            Button { text: "Its own" }
            Button { id: custom; text: "Own drawing"; contentItem: Label { text: custom.text } }
            ItemDelegate {
                Accessible.name: "Open project"
                Accessible.description: "Harbour"
                contentItem: Row { Label { text: "Harbour" } Label { text: "0:42" } Button { text: "Actions" } }
            }
        })");
    EXPECT_EQ(tree(),
              "window \"Scene\"\n"
              "  label \"Plain\"\n"
              "  label \"Bold face\"\n"
              "  label \"Three\"\n"
              "  label \"Not of a control\"\n"
              "  button \"Its own\"\n"
              "  button \"Own drawing\"\n"
              "  list item \"Open project\" (Harbour)\n"
              "    label \"Harbour\"\n"
              "    label \"0:42\"\n"
              "    button \"Actions\"\n");
    auto* text = node(QAccessible::StaticText, "Plain").textInterface();
    ASSERT_TRUE(text);
    EXPECT_EQ(text->text(0, text->characterCount()), "Plain");
}

TEST_F(AccessibleItemsTests, ATextThatSaysSomethingElseTellsIt) {
    show(R"(Column { Text { objectName: "plain"; text: "7 clips" } Label { objectName: "label"; text: "Saved" } })");
    (void)tree();
    const EventWatch watch;
    item("plain").setProperty("text", "6 clips");
    EXPECT_THAT(watch.told(), Contains("label \"6 clips\": name"));
    item("label").setProperty("text", "Saving…");
    EXPECT_THAT(watch.told(), Contains("label \"Saving…\": name"));
}

TEST_F(AccessibleItemsTests, StatesAreThoseOfTheControl) {
    show(R"(
        Column {
            Button { text: "Off"; enabled: false }
            Item { objectName: "group"; enabled: false; width: 90; height: 40; Button { text: "In a group that is off" } }
            Button { text: "Kept down"; checkable: true; checked: true }
            CheckBox { text: "Chosen"; checked: true }
            RadioButton { text: "One"; checked: true }
            Button { text: "Best"; highlighted: true }
            Button { objectName: "focused"; text: "Focused" }
            Rectangle { width: 90; height: 20; Accessible.role: Accessible.ListItem; Accessible.name: "Row"
                        Accessible.selectable: true; Accessible.selected: true }
            Rectangle { width: 90; height: 20; property bool expanded: true
                        Accessible.role: Accessible.Button; Accessible.name: "More" }
        })");
    EXPECT_EQ(tree(),
              "window \"Scene\"\n"
              "  button \"Off\" disabled\n"
              "  button \"In a group that is off\" disabled\n"
              "  button \"Kept down\" checked\n"
              "  check box \"Chosen\" checked\n"
              "  radio button \"One\" checked\n"
              "  button \"Best\" default\n"
              "  button \"Focused\"\n"
              "  list item \"Row\" selected\n"
              "  button \"More\" expanded\n");
    EXPECT_TRUE(node(QAccessible::PushButton, "Kept down").state().checkable);
    EXPECT_FALSE(node(QAccessible::PushButton, "Off").state().focusable);
    auto& focused = node(QAccessible::PushButton, "Focused");
    EXPECT_TRUE(focused.state().focusable);
    EXPECT_FALSE(focused.state().focused);
    act(focused, QAccessibleActionInterface::setFocusAction());
    EXPECT_TRUE(focused.state().focused);
    EXPECT_EQ(root().focusChild(), &focused);
    EXPECT_TRUE(root().state().active);
    item("group").setProperty("enabled", true);
    EXPECT_FALSE(node(QAccessible::PushButton, "In a group that is off").state().disabled);
}

TEST_F(AccessibleItemsTests, HelpIsTheDescription) {
    show(R"(
        Column {
            Button { text: "One"; Accessible.description: "Said" ; ToolTip.text: "Shown" }
            Button { text: "Other"; ToolTip.text: "Shown" }
        })");
    EXPECT_EQ(tree(),
              "window \"Scene\"\n"
              "  button \"One\" (Said)\n"
              "  button \"Other\" (Shown)\n");
}

TEST_F(AccessibleItemsTests, APressIsAClick) {
    show(R"(
        Column {
            Button { text: "Count"; onClicked: window.counted += 1 }
            Button { text: "Off"; enabled: false; onClicked: window.counted += 100 }
            Button { text: "Toggle"; checkable: true; onToggled: window.noted += "t" + checked; onClicked: window.noted += "c" + checked }
            RadioButton { text: "One"; checked: true; onClicked: window.noted += "1" + checked }
            RadioButton { text: "Two"; onClicked: window.noted += "2" + checked }
            Rectangle { width: 90; height: 20; Accessible.role: Accessible.Button; Accessible.name: "Own"
                        Accessible.onPressAction: window.counted += 10 }
            Rectangle { width: 90; height: 20; Accessible.role: Accessible.Button; Accessible.name: "Idle" }
            Button { id: acting; action: Action { text: "&Act"; onTriggered: window.counted += 1000 } }
        })");
    auto& count = node(QAccessible::PushButton, "Count");
    EXPECT_EQ(count.actionInterface()->actionNames().first(), QAccessibleActionInterface::pressAction());
    press(count);
    press(count);
    EXPECT_EQ(counted(), 2);
    press(node(QAccessible::PushButton, "Off"));
    EXPECT_EQ(counted(), 2);
    press(node(QAccessible::PushButton, "Own"));
    EXPECT_EQ(counted(), 12);
    press(node(QAccessible::PushButton, "Act"));
    EXPECT_EQ(counted(), 1012);
    EXPECT_THAT(node(QAccessible::PushButton, "Idle").actionInterface()->actionNames(), IsEmpty());
    press(node(QAccessible::PushButton, "Toggle"));
    EXPECT_EQ(noted(), "ttruectrue");
    scene->setProperty("noted", "");
    press(node(QAccessible::RadioButton, "Two"));
    press(node(QAccessible::RadioButton, "Two"));
    EXPECT_EQ(noted(), "2true2true");
    EXPECT_FALSE(node(QAccessible::RadioButton, "One").state().checked);
}

TEST_F(AccessibleItemsTests, APressMayEndTheButton) {
    show(R"(
        Loader { id: loader; sourceComponent: Button { text: "Last"; checkable: true; onClicked: loader.active = false } })");
    press(node(QAccessible::PushButton, "Last"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(tree(), "window \"Scene\"\n");
}

TEST_F(AccessibleItemsTests, ASliderHasItsRangeAndIsSetAndStepped) {
    show(R"(
        Column {
            Slider { objectName: "zoom"; from: 1; to: 3; value: 1.5; stepSize: 0.25; Accessible.name: "Zoom"
                     onMoved: window.noted += value + " " }
            Slider { from: 0; to: 10; value: 4; enabled: false; Accessible.name: "Off"; onMoved: window.counted += 1 }
            ProgressBar { from: 0; to: 1; value: 0.5; Accessible.name: "Export" }
            SpinBox { from: 2; to: 8; value: 5; stepSize: 2; Accessible.name: "Number"; onValueModified: window.noted += value }
        })");
    auto& zoom = node(QAccessible::Slider, "Zoom");
    auto* value = zoom.valueInterface();
    ASSERT_TRUE(value);
    EXPECT_EQ(value->minimumValue().toDouble(), 1);
    EXPECT_EQ(value->maximumValue().toDouble(), 3);
    EXPECT_EQ(value->minimumStepSize().toDouble(), 0.25);
    EXPECT_EQ(value->currentValue().toDouble(), 1.5);
    value->setCurrentValue(2.5);
    act(zoom, QAccessibleActionInterface::increaseAction());
    act(zoom, QAccessibleActionInterface::increaseAction());
    act(zoom, QAccessibleActionInterface::increaseAction());
    act(zoom, QAccessibleActionInterface::decreaseAction());
    value->setCurrentValue(-7);
    value->setCurrentValue("much");
    value->setCurrentValue(qQNaN());
    EXPECT_EQ(noted(), "2.5 2.75 3 2.75 1 ");
    EXPECT_EQ(item("zoom").property("value").toDouble(), 1);
    auto& off = node(QAccessible::Slider, "Off");
    off.valueInterface()->setCurrentValue(9);
    act(off, QAccessibleActionInterface::increaseAction());
    EXPECT_EQ(off.valueInterface()->currentValue().toDouble(), 4);
    EXPECT_EQ(counted(), 0);
    auto& progress = node(QAccessible::ProgressBar, "Export");
    progress.valueInterface()->setCurrentValue(1);
    EXPECT_EQ(progress.valueInterface()->currentValue().toDouble(), 0.5);
    EXPECT_THAT(progress.actionInterface()->actionNames(), IsEmpty());
    scene->setProperty("noted", "");
    act(node(QAccessible::SpinBox, "Number"), QAccessibleActionInterface::decreaseAction());
    EXPECT_EQ(noted(), "3");
    EXPECT_THAT(faultsOf(root()), IsEmpty());
}

TEST_F(AccessibleItemsTests, ExtentsAreThoseDrawn) {
    show(R"(
        Item {
            x: 30; y: 40; scale: 2; transformOrigin: Item.TopLeft; width: 200; height: 200
            Button { text: "Doubled"; x: 10; y: 5; width: 50; height: 20 }
        }
        Flickable {
            x: 200; width: 100; height: 100; clip: true; contentHeight: 1000
            Button { text: "In sight"; y: 80; width: 60; height: 40 }
            Button { text: "Below"; y: 120; width: 60; height: 40 }
        })");
    const auto corner = window().mapToGlobal(QPoint());
    EXPECT_EQ(node(QAccessible::PushButton, "Doubled").rect(), QRect(corner + QPoint(50, 50), QSize(100, 40)));
    EXPECT_EQ(root().rect(), QRect(corner, QSize(400, 600)));
    EXPECT_EQ(tree(),
              "window \"Scene\"\n"
              "  button \"Doubled\"\n"
              "  button \"In sight\"\n"
              "  button \"Below\" out of sight\n");
    const auto at = [&](int x, int y) { return root().childAt(corner.x() + x, corner.y() + y); };
    EXPECT_EQ(at(60, 60), &node(QAccessible::PushButton, "Doubled"));
    EXPECT_EQ(at(210, 90), &node(QAccessible::PushButton, "In sight"));
    EXPECT_EQ(at(5, 5), nullptr);
}

TEST_F(AccessibleItemsTests, RowsOfAListStandInTheirOrder) {
    show(R"(
        ListView {
            objectName: "list"; width: 100; height: 300; spacing: 4; currentIndex: -1
            Accessible.role: Accessible.List; Accessible.name: "Projects"
            model: ListModel { id: rows; ListElement { name: "B" } ListElement { name: "C" } }
            delegate: ItemDelegate { required property string name; width: 90; height: 30; text: name }
            Component.onCompleted: rows.insert(0, { name: "A" })
        })");
    QMetaObject::invokeMethod(&item("list"), "forceLayout");
    EXPECT_EQ(tree(),
              "window \"Scene\"\n"
              "  list \"Projects\"\n"
              "    list item \"A\"\n"
              "    list item \"B\"\n"
              "    list item \"C\"\n");
}

TEST_F(AccessibleItemsTests, AFieldIsReadAndTypedInto) {
    show(R"(
        Column {
            TextField { objectName: "field"; placeholderText: "Name"; text: "Harbour"; onTextEdited: window.counted += 1 }
            TextField { text: "Fixed"; readOnly: true; Accessible.name: "Fixed field" }
        })");
    auto& field = node(QAccessible::EditableText, "Name");
    auto* text = field.textInterface();
    ASSERT_TRUE(text);
    EXPECT_EQ(text->text(0, text->characterCount()), "Harbour");
    EXPECT_EQ(field.text(QAccessible::Value), "Harbour");
    text->setSelection(0, 0, 4);
    int start = -1;
    int end = -1;
    text->selection(0, &start, &end);
    EXPECT_EQ(std::pair(start, end), std::pair(0, 4));
    text->setCursorPosition(7);
    EXPECT_EQ(text->cursorPosition(), 7);
    field.editableTextInterface()->replaceText(0, 7, "Night");
    field.editableTextInterface()->insertText(5, "!");
    EXPECT_EQ(item("field").property("text"), "Night!");
    EXPECT_GT(counted(), 0) << "as typing tells";
    EXPECT_TRUE(field.rect().contains(text->characterRect(1)));
    auto& fixed = node(QAccessible::EditableText, "Fixed field");
    EXPECT_TRUE(fixed.state().readOnly);
    EXPECT_FALSE(fixed.editableTextInterface()) << "nothing can be typed there";
    EXPECT_EQ(fixed.text(QAccessible::Value), "Fixed");
}

TEST_F(AccessibleItemsTests, DialogsAndMenusSayWhatTheyAre) {
    show(R"(
        Dialog {
            objectName: "alert"; property bool alert: true
            title: "Unable to Complete"; modal: true; standardButtons: Dialog.Ok
            Label { text: "The disk is full." }
        }
        Dialog { objectName: "sheet"; title: "Export"; Label { text: "Format" } }
        Menu {
            objectName: "menu"; title: "Clip"
            MenuItem { text: "&Mute"; onTriggered: window.counted += 1 }
            MenuSeparator {}
            Action { text: "Reset"; shortcut: "Ctrl+R" }
        })");
    EXPECT_EQ(tree(), "window \"Scene\"\n");
    const auto open = [&](const char* name) { QMetaObject::invokeMethod(&item(name), "open"); };
    const auto close = [&](const char* name) {
        QMetaObject::invokeMethod(&item(name), "close");
        ASSERT_TRUE(QTest::qWaitFor([&] { return !item(name).property("visible").toBool(); },
                                    static_cast<int>(patience.count())));
    };
    open("alert");
    EXPECT_EQ(tree(),
              "window \"Scene\"\n"
              "  alert \"Unable to Complete\"\n"
              "    label \"The disk is full.\"\n"
              "    button \"OK\"\n");
    close("alert");
    open("sheet");
    EXPECT_THAT(tree(), ::testing::HasSubstr("  dialog \"Export\"\n    label \"Format\"\n"));
    close("sheet");
    open("menu");
    EXPECT_EQ(tree(),
              "window \"Scene\"\n"
              "  menu \"Clip\"\n"
              "    menu item \"Mute\"\n"
              "    menu item \"Reset\"\n");
    auto& reset = node(QAccessible::MenuItem, "Reset");
    EXPECT_EQ(reset.text(QAccessible::Accelerator), "Ctrl+R");
    EXPECT_THAT(reset.actionInterface()->keyBindingsForAction(QAccessibleActionInterface::pressAction()),
                ElementsAre("Ctrl+R"));
    press(node(QAccessible::MenuItem, "Mute"));
    EXPECT_EQ(counted(), 1);
}

TEST_F(AccessibleItemsTests, AListThatOpensIsPressedOpen) {
    show(R"(ComboBox { model: ["Best", "Small"]; Accessible.name: "Resolution" })");
    auto& box = node(QAccessible::ComboBox, "Resolution");
    EXPECT_TRUE(box.state().expandable);
    EXPECT_FALSE(box.state().expanded);
    press(box);
    EXPECT_TRUE(box.state().expanded);
    EXPECT_THAT(tree(), ::testing::HasSubstr("list item \"Best\""));
    press(box);
    EXPECT_FALSE(box.state().expanded);
}

}  // namespace
}  // namespace kelvane::testing
