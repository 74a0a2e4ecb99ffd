#include <gmock/gmock.h>

#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <QTimer>

#include "Support/App/FakeMainContext.h"
#include "Support/Patience.h"
#include "Support/TempFolder.h"
#include "Views/Window/PanelHost.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Two windows of an application that asks questions.
class PanelHostTests : public ::testing::Test {
protected:
    struct Window {
        Window(WindowPanels& panels, QQmlEngine& engine) : host(std::make_unique<PanelHost>(panels, engine, window)) {
            window.resize(800, 600);
        }
        ~Window() { host.reset(); }

        QQuickWindow window;
        std::unique_ptr<PanelHost> host;
    };

    PanelHostTests() {
        registerWindowTypes();
        QObject::connect(&panels, &WindowPanels::failed, &panels,
                         [this](const QString& sentence) { failures.push_back(sentence.toStdString()); });
        QObject::connect(&engine, &QQmlEngine::warnings, [this](const QList<QQmlError>& found) {
            for (const auto& warning : found) failures.push_back(warning.toString().toStdString());
        });
        first = std::make_unique<Window>(panels, engine);
        second = std::make_unique<Window>(panels, engine);
        activate(*first);
    }
    ~PanelHostTests() override { EXPECT_THAT(failures, IsEmpty()); }

    template <class Question>
    static bool becomes(Question isSo) {
        return QTest::qWaitFor(isSo, static_cast<int>(patience.count()));
    }
    static void activate(Window& shown) {
        shown.window.show();
        shown.window.requestActivate();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&shown.window, static_cast<int>(patience.count())));
        // What waits for the focus is in the queue behind it.
        QCoreApplication::processEvents();
    }
    void askName(const char* title) {
        panels.askName(title, "Untitled", "Create",
                       [this](const auto& name) { answers.push_back(name.value_or("cancelled")); });
    }
    void confirm() {
        panels.confirm("Sure?", "Really.", "No", "Yes", [this](bool yes) { answers.emplace_back(yes ? "yes" : "no"); });
    }
    /// Waits until a window asks the question whose turn it is.
    void expectShown(const Window& shown) {
        ASSERT_TRUE(becomes(
            [&] { return panels.question() != nullptr && panels.question()->stage() == PanelQuestion::Stage::shown; }));
        ASSERT_NE(shown.host->panel(), nullptr);
        EXPECT_TRUE(becomes([&] { return shown.host->panel()->property("opened").toBool(); }));
    }
    /// The button of the open panel with this text.
    static QQuickItem* button(const Window& shown, const QString& text) {
        for (auto* item : shown.host->panel()->findChildren<QQuickItem*>())
            if (item->inherits("QQuickAbstractButton") && item->property("text") == text) return item;
        return nullptr;
    }

    // A window that goes cancels its question, and is heard.
    std::vector<std::string> answers;
    std::vector<std::string> failures;
    FakeMainContext context;
    WindowPanels panels{true, context};
    QQmlEngine engine;
    std::unique_ptr<Window> first;
    std::unique_ptr<Window> second;
};

TEST_F(PanelHostTests, ANameIsTypedAndReturnAgrees) {
    askName("New Project");
    expectShown(*first);
    for (const char letter : std::string("film")) QTest::keyClick(&first->window, letter);
    QTest::keyClick(&first->window, Qt::Key_Return);
    EXPECT_THAT(answers, ElementsAre("film")) << "the proposed name was selected";
    EXPECT_TRUE(becomes([this] { return first->host->panel() == nullptr; }));
}

TEST_F(PanelHostTests, ANameIsTypedIntoAFieldOf300By24Points) {
    askName("New Project");
    expectShown(*first);
    const auto items = first->host->panel()->findChildren<QQuickItem*>();
    const auto field = std::ranges::find_if(items, [](auto* item) { return item->inherits("QQuickTextField"); });
    ASSERT_NE(field, items.end());
    EXPECT_EQ(QSizeF((*field)->width(), (*field)->height()), QSizeF(300, 24));
    EXPECT_GE((*field)->height(), (*field)->property("contentHeight").toDouble());
    EXPECT_EQ((*field)->property("selectedText"), "Untitled");
    QTest::keyClick(&first->window, Qt::Key_Escape);
}

TEST_F(PanelHostTests, EscapeDeclines) {
    askName("New Project");
    confirm();
    expectShown(*first);
    QTest::keyClick(&first->window, Qt::Key_Escape);
    expectShown(*first);
    QTest::keyClick(&first->window, Qt::Key_Escape);
    EXPECT_THAT(answers, ElementsAre("cancelled", "no"));
}

TEST_F(PanelHostTests, ReturnDoesNotConfirmWhatCanNotBeTakenBack) {
    confirm();
    expectShown(*first);
    QTest::keyClick(&first->window, Qt::Key_Return);
    EXPECT_THAT(answers, ElementsAre("no"));
    confirm();
    expectShown(*first);
    auto* yes = button(*first, "Yes");
    ASSERT_NE(yes, nullptr);
    QTest::mouseClick(&first->window, Qt::LeftButton, {}, yes->mapToScene(QPointF(yes->width() / 2, 5)).toPoint());
    EXPECT_THAT(answers, ElementsAre("no", "yes"));
}

TEST_F(PanelHostTests, OneWindowAsksAndKeepsTheQuestionWhenAnotherComesForward) {
    askName("New Project");
    expectShown(*first);
    activate(*second);
    EXPECT_EQ(second->host->panel(), nullptr);
    EXPECT_NE(first->host->panel(), nullptr);
    activate(*first);
    QTest::keyClick(&first->window, Qt::Key_Return);
    EXPECT_THAT(answers, ElementsAre("Untitled"));
}

TEST_F(PanelHostTests, AQuestionWaitsForAWindowInFront) {
    first.reset();
    askName("New Project");
    QCoreApplication::processEvents();
    EXPECT_EQ(panels.question()->stage(), PanelQuestion::Stage::waiting);
    activate(*second);
    expectShown(*second);
}

TEST_F(PanelHostTests, AWindowThatClosesCancelsItsQuestionAndTheNextIsAskedByAnother) {
    askName("1");
    askName("2");
    expectShown(*first);
    first.reset();
    EXPECT_THAT(answers, ElementsAre("cancelled"));
    activate(*second);
    expectShown(*second);
    EXPECT_EQ(panels.question()->title(), "2");
    QTest::keyClick(&second->window, Qt::Key_Return);
    EXPECT_THAT(answers, ElementsAre("cancelled", "Untitled"));
    EXPECT_EQ(panels.question(), nullptr);
}

TEST_F(PanelHostTests, AQuestionThatIsAnsweredElsewhereTakesItsPanelAlong) {
    confirm();
    expectShown(*first);
    panels.question()->cancel();
    EXPECT_TRUE(becomes([this] { return first->host->panel() == nullptr; }));
    askName("New Project");
    expectShown(*first);
    QTest::keyClick(&first->window, Qt::Key_Escape);
    EXPECT_THAT(answers, ElementsAre("no", "cancelled"));
}

TEST_F(PanelHostTests, APanelThatCanNotBeMadeIsToldAndCountsAsCancelled) {
    QQmlEngine bare;
    bare.setImportPathList({});
    first.reset();
    Window window(panels, bare);
    activate(window);
    std::size_t chosen = 1;
    panels.chooseFiles(PanelContent::media, "Choose", [&](const auto& files) { chosen = files.size(); });
    EXPECT_TRUE(becomes([&] { return panels.question() == nullptr; }));
    EXPECT_EQ(chosen, 0U);
    ASSERT_EQ(failures.size(), 1U);
    EXPECT_TRUE(failures.front().starts_with("The chooser of files can’t be shown: ")) << failures.front();
    failures.clear();
}

/// The chooser that the window draws itself.
class OwnChooserTests : public PanelHostTests {
protected:
    OwnChooserTests() {
        for (const char* name : {"a.mp4", "b c.mp4", "old.mp4", "sub/inner.mp4"}) folder.write(name);
        panels.beginNextIn(folder.path());
        // The disk is asked in the background.
        pump.setInterval(1);
        QObject::connect(&pump, &QTimer::timeout, [this] { context.settle(); });
        pump.start();
    }
    void chooseFiles() {
        panels.chooseFiles(PanelContent::media, "Choose videos.", [this](const auto& files) {
            answers.emplace_back("chosen");
            for (const auto& file : files) answers.push_back(file.path());
        });
        expectShown(*first);
    }
    void chooseDestination() {
        panels.chooseDestination(PanelContent::mp4Movie, "Film.mp4", "4K",
                                 [this](const auto& file) { answers.push_back(file ? file->path() : "cancelled"); });
        expectShown(*first);
    }
    void type(const std::string& text) {
        for (const char letter : text) QTest::keyClick(&first->window, letter);
        QTest::keyClick(&first->window, Qt::Key_Return);
    }
    [[nodiscard]] QQuickItem* field() const {
        for (auto* item : first->host->panel()->findChildren<QQuickItem*>())
            if (item->inherits("QQuickTextField")) return item;
        return nullptr;
    }
    bool isAnswered() {
        return becomes([this] { return !answers.empty(); });
    }

    TempFolder folder;
    QTimer pump;
};

TEST_F(OwnChooserTests, APathIsTypedIntoTheFieldAndReturnTakesIt) {
    chooseFiles();
    ASSERT_NE(field(), nullptr);
    EXPECT_TRUE(field()->hasActiveFocus());
    type("sub/inner.mp4");
    ASSERT_TRUE(isAnswered());
    EXPECT_THAT(answers, ElementsAre("chosen", folder.path("sub/inner.mp4")));
    EXPECT_TRUE(becomes([this] { return first->host->panel() == nullptr; }));
}

TEST_F(OwnChooserTests, SeveralFilesAreTypedInQuotes) {
    chooseFiles();
    type("\"a.mp4\" \"b c.mp4\"");
    ASSERT_TRUE(isAnswered());
    EXPECT_THAT(answers, ElementsAre("chosen", folder.path("a.mp4"), folder.path("b c.mp4")));
}

TEST_F(OwnChooserTests, WhatIsNotThereKeepsTheChooserOpenAndEscapeDeclines) {
    chooseFiles();
    type("gone.mp4");
    auto* browser = first->host->panel()->findChild<FileBrowser*>();
    ASSERT_NE(browser, nullptr);
    EXPECT_TRUE(becomes([&] { return browser->problem() == "“gone.mp4” can’t be found."; }));
    EXPECT_THAT(answers, IsEmpty());
    QTest::keyClick(&first->window, Qt::Key_Escape);
    EXPECT_THAT(answers, ElementsAre("chosen"));
}

TEST_F(OwnChooserTests, AnEmptyFieldTakesNothing) {
    chooseFiles();
    QTest::keyClick(&first->window, Qt::Key_Return);
    QCoreApplication::processEvents();
    EXPECT_THAT(answers, IsEmpty());
    EXPECT_NE(first->host->panel(), nullptr);
}

TEST_F(OwnChooserTests, TheProposedNameIsTakenByReturnAndReplacedByTypingUpToItsExtension) {
    chooseDestination();
    EXPECT_EQ(field()->property("text"), "Film.mp4");
    QTest::keyClick(&first->window, Qt::Key_Return);
    ASSERT_TRUE(isAnswered());
    chooseDestination();
    type("other");
    ASSERT_TRUE(becomes([this] { return answers.size() == 2; }));
    EXPECT_THAT(answers, ElementsAre(folder.path("Film.mp4"), folder.path("other.mp4")));
}

TEST_F(OwnChooserTests, AFileThatIsThereIsAskedAboutFirst) {
    chooseDestination();
    type("old");
    ASSERT_TRUE(becomes([this] { return qobject_cast<ConfirmQuestion*>(panels.question()) != nullptr; }));
    EXPECT_EQ(panels.question()->title(), "“old.mp4” already exists. Do you want to replace it?");
    expectShown(*first);
    QTest::keyClick(&first->window, Qt::Key_Return);
    ASSERT_TRUE(becomes([this] { return qobject_cast<DestinationQuestion*>(panels.question()) != nullptr; }))
        << "the safe button is the default one";
    expectShown(*first);
    ASSERT_NE(field(), nullptr);
    EXPECT_EQ(field()->property("text"), "old.mp4");
    EXPECT_TRUE(field()->hasActiveFocus());
    EXPECT_THAT(answers, IsEmpty());
    type("new");
    ASSERT_TRUE(isAnswered());
    EXPECT_THAT(answers, ElementsAre(folder.path("new.mp4")));
}

}  // namespace
}  // namespace kelvane::testing
