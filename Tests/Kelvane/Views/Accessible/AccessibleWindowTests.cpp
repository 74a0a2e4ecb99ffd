#include <gmock/gmock.h>

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QTest>

#include "Support/App/WindowsFixture.h"
#include "Support/Patience.h"
#include "TreeReading.h"
#include "Views/Window/PanelHost.h"
#include "Views/Window/ProjectWindowView.h"

namespace kelvane::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// The window as it is, read by somebody.
class AccessibleWindowTests : public WindowsFixture {
protected:
    AccessibleWindowTests() : workspace(show(first)), view(*windows, workspace) {
        registerWindowTypes();
        QQmlComponent component(&engine, QUrl("qrc:/Views/Window/ProjectWindow.qml"));
        surface.reset(component.createWithInitialProperties({{"view", QVariant::fromValue(&view)}}));
        EXPECT_TRUE(surface) << component.errorString().toStdString();
        auto* window = qobject_cast<QQuickWindow*>(surface.get());
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window, static_cast<int>(patience.count())));
        const auto isWhole = [window] { return window->property("whole").toBool(); };
        EXPECT_TRUE(QTest::qWaitFor(isWhole, static_cast<int>(patience.count())));
    }
    std::shared_ptr<Editor> openClip() {
        auto editor = open(projectWithClip("Harbour"), workspace, false);
        context.settle();
        advance(std::chrono::milliseconds(180));
        return editor;
    }
    [[nodiscard]] QAccessibleInterface& root() const { return treeRoot(*surface); }
    [[nodiscard]] bool isDisabled(const std::string& button) const {
        auto* found = findNode(root(), QAccessible::PushButton, button);
        if (!found) ADD_FAILURE() << button << " isn't in " << tree();
        return found && found->state().disabled;
    }
    [[nodiscard]] std::string tree() const { return treeOf(root()); }

    std::shared_ptr<Workspace> workspace;
    ProjectWindowView view;
    QQmlEngine engine;
    std::unique_ptr<QObject> surface;
};

TEST_F(AccessibleWindowTests, TheHomeIsReadableToTheLastControl) {
    project("Holidays");
    project("Harbour");
    QTest::qWait(0);
    EXPECT_THAT(faultsOf(root()), IsEmpty()) << tree();
    EXPECT_FALSE(isDisabled("New Project"));
    EXPECT_THAT(tree(), HasSubstr("label \"Harbour\"\n"));
    EXPECT_THAT(tree(), Not(HasSubstr("Seek"))) << "what belongs to a project isn't shown";
}

TEST_F(AccessibleWindowTests, AProjectIsReadableToTheLastControl) {
    const auto editor = openClip();
    EXPECT_THAT(faultsOf(root()), IsEmpty()) << tree();
    EXPECT_THAT(tree(), HasSubstr("image \"Vertical video preview\"\n"));
    EXPECT_THAT(tree(), HasSubstr("split pane \"Assets pane width\" (Resize assets)\n"));
    EXPECT_FALSE(isDisabled("Export"));
    EXPECT_THAT(tree(), Not(HasSubstr("New Project")));
    beginImport(*editor);
    context.runPosted();
    EXPECT_TRUE(isDisabled("Export"));
    context.settle();
}

TEST_F(AccessibleWindowTests, AnAlertIsPartOfTheTreeWhileItIsShown) {
    windows->setError("The disk is full.");
    const auto isShown = [this] {
        return findNode(root(), QAccessible::AlertMessage, "Unable to Complete") != nullptr;
    };
    ASSERT_TRUE(QTest::qWaitFor(isShown, static_cast<int>(patience.count()))) << "it fades in";
    EXPECT_THAT(tree(), HasSubstr("alert \"Unable to Complete\"\n"));
    EXPECT_THAT(tree(), HasSubstr("label \"The disk is full.\"\n"));
    EXPECT_THAT(faultsOf(root()), IsEmpty()) << tree();
    findNode(root(), QAccessible::PushButton, "OK")
        ->actionInterface()
        ->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(view.error().isEmpty());
}

}  // namespace
}  // namespace kelvane::testing
