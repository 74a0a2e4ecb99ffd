#pragma once

#include <gmock/gmock.h>

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include "Support/App/WindowsFixture.h"
#include "Support/Patience.h"
#include "Views/Home/ProjectGrid.h"
#include "Views/Window/PanelHost.h"

namespace kelvane::testing {

/// The home of a library in a window of 1,060 × 760 points, below a head of 44 with the search and its buttons. Nothing
/// moves by itself.
class HomeWindowFixture : public WindowsFixture {
protected:
    ~HomeWindowFixture() override { EXPECT_EQ(warnings, std::vector<std::string>()); }

    /// To be called once the projects are there.
    void showWindow(QSize size = {1060, 760}) {
        QObject::connect(&engine, &QQmlEngine::warnings, [this](const QList<QQmlError>& found) {
            for (const auto& warning : found) warnings.push_back(warning.toString().toStdString());
        });
        registerWindowTypes();
        QQmlComponent component(&engine);
        component.setData(R"(
            import QtQuick
            import QtQuick.Controls.Basic
            import Kelvane
            import "Home"
            ApplicationWindow {
                id: window
                required property ProjectsHomeView view
                property int undone: 0
                title: "Kelvane"
                color: Theme.window
                font: Theme.bodyFont
                Shortcut { sequences: [StandardKey.Undo]; onActivated: ++window.undone }
                Shortcut { sequences: ["Del", "Backspace"]; enabled: false }
                HomeToolbar { id: bar; anchors.right: parent.right; anchors.rightMargin: 10; y: 7; view: window.view }
                HomeView { anchors.fill: parent; anchors.topMargin: 44; focus: true; view: window.view }
            }
        )",
                          QUrl("qrc:/Views/Test.qml"));
        QObject* made = component.createWithInitialProperties(
            {{"view", QVariant::fromValue(&home)}, {"width", size.width()}, {"height", size.height()}});
        window.reset(qobject_cast<QQuickWindow*>(made));
        check(window != nullptr, component.errorString().toStdString().c_str());
        window->show();
        check(QTest::qWaitForWindowActive(window.get(), static_cast<int>(patience.count())), "the window is in front");
        refresh();
    }
    /// Lets what was announced come through, and paints.
    void refresh() {
        context.runPosted();
        QCoreApplication::processEvents();
        (void)window->grabWindow();
        QCoreApplication::processEvents();
    }
    void finishWork() {
        context.settle();
        refresh();
    }
    [[nodiscard]] ProjectGrid& grid() const { return *window->findChild<ProjectGrid*>("projectGrid"); }
    [[nodiscard]] QQuickItem& cards() const { return *window->findChild<QQuickItem*>("projectCards"); }
    /// The card of a row; null where it isn't made.
    [[nodiscard]] QQuickItem* card(int row) const {
        for (auto* item : cards().property("contentItem").value<QQuickItem*>()->childItems())
            if (item->property("projectID").isValid() && item->property("index") == row && item->isVisible())
                return item;
        return nullptr;
    }
    /// Lets time pass until it is so.
    template <class Condition>
    static bool waitFor(Condition isSo) {
        return QTest::qWaitFor(isSo, static_cast<int>(patience.count()));
    }
    /// How many cards are made.
    [[nodiscard]] std::size_t madeCards() const {
        std::size_t count = 0;
        for (auto* item : cards().property("contentItem").value<QQuickItem*>()->childItems())
            if (item->property("projectID").isValid()) ++count;
        return count;
    }
    /// A visible item below `root` with this value of a property; null without one.
    static QQuickItem* find(QQuickItem* root, const char* property, const QVariant& value) {
        if (!root->isVisible()) return nullptr;
        if (root->property(property) == value) return root;
        for (auto* child : root->childItems())
            if (auto* found = find(child, property, value)) return found;
        return nullptr;
    }
    [[nodiscard]] QQuickItem* itemWithText(const QString& text) const {
        return find(window->contentItem(), "text", text);
    }
    [[nodiscard]] QQuickItem* named(const QString& name) const {
        return find(window->contentItem(), "objectName", name);
    }
    static QPoint middle(const QQuickItem& item) {
        return item.mapToScene({item.width() / 2, item.height() / 2}).toPoint();
    }
    [[nodiscard]] QPoint onCard(int row, QPointF place = {200, 80}) const {
        return grid().mapToScene(grid().frame(row).topLeft() + place).toPoint();
    }
    void click(QPoint place, Qt::MouseButton button = Qt::LeftButton) {
        QTest::mouseClick(window.get(), button, {}, place, 1000);
        finishWork();
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(window.get(), key, modifiers);
        finishWork();
    }
    void type(const char* text) {
        for (const char* letter = text; *letter != '\0'; ++letter) QTest::keyClick(window.get(), *letter);
        finishWork();
    }
    [[nodiscard]] std::vector<std::string> names() {
        std::vector<std::string> found;
        for (int row = 0; row < home.projects()->rowCount(); ++row) found.push_back(home.projects()->at(row)->name);
        return found;
    }
    /// Projects "P0" to the last, which is the newest; fast, as they hold nothing.
    void manyProjects(int count) {
        std::vector<LibraryProject> rows;
        for (int i = 0; i < count; ++i)
            rows.push_back({.id = UUID::random(),
                            .name = "P" + std::to_string(i),
                            .modified = i + 1.0,
                            .duration = 0,
                            .importedFrom = {}});
        std::ranges::reverse(rows);
        windows->library().replaceRows(rows, {});
    }

    std::shared_ptr<Workspace> workspace = show(first);
    ProjectsHomeView home{*windows, workspace};
    std::vector<std::string> warnings;
    QQmlEngine engine;
    std::unique_ptr<QQuickWindow> window;
};

}  // namespace kelvane::testing
