#include <gmock/gmock.h>

#include <QObject>
#include <filesystem>

#include "Assistant/KelvaneProjectLink.h"
#include "SessionFixture.h"
#include "Support/AtomicFile.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* chatGPTID = "com.openai.codex";
constexpr const char* claudeID = "com.anthropic.claudefordesktop";

/// A project whose assistants a person chooses from. What is served stands in folders of the test's own.
class AIAssistantSessionLaunchTests : public SessionFixture {
protected:
    AIAssistantSessionLaunchTests() {
        desktop.install(chatGPTID);
        desktop.install(claudeID);
        follow();
    }

    /// Counts what the present editor's session announces, and keeps its traces together.
    void follow() {
        session().registryPath = places.path("Registry");
        session().socketFolders = places.path();
        QObject::connect(&session(), &AIAssistantSession::sheetChanged, [this] { ++announced; });
    }
    /// Lets a launch go on up to where the assistant is about to be opened, or further.
    void launch(AIDesktopAssistant assistant = AIDesktopAssistant::chatGPT) {
        session().launch(assistant);
        context.settle();
    }
    /// The state as a sheet shows it: shown, launching, message.
    [[nodiscard]] std::string sheet() const {
        std::string text = session().showSheet() ? "shown" : "closed";
        if (session().launching()) text += ", launching";
        return session().message() ? text + ", " + *session().message() : text;
    }
    [[nodiscard]] FileURL sessionFolder() const { return library().appending("AI").appending("Kelvane - Trailer"); }

    TempFolder places;
    int announced = 0;
};

TEST_F(AIAssistantSessionLaunchTests, StartingShowsTheInstalledAssistantsInOrder) {
    session().start();
    EXPECT_EQ(sheet(), "shown");
    EXPECT_THAT(session().assistants(), ElementsAre(AIDesktopAssistant::chatGPT, AIDesktopAssistant::claude));
    EXPECT_EQ(announced, 1);
    EXPECT_FALSE(session().isConnected()) << "nothing is served before a launch";
    desktop.applications.erase(chatGPTID);
    EXPECT_THAT(session().assistants(), ElementsAre(AIDesktopAssistant::chatGPT, AIDesktopAssistant::claude))
        << "the list stays while the sheet is open";
    session().dismissSheet();
    EXPECT_EQ(sheet(), "closed");
    session().start();
    EXPECT_THAT(session().assistants(), ElementsAre(AIDesktopAssistant::claude));
}

TEST_F(AIAssistantSessionLaunchTests, WithoutAnAssistantTheSheetOpensAllTheSame) {
    desktop.applications.clear();
    session().start();
    EXPECT_EQ(sheet(), "shown");
    EXPECT_THAT(session().assistants(), IsEmpty());
}

TEST_F(AIAssistantSessionLaunchTests, StartingNeedsAssetsAndNoClips) {
    const auto assets = editor->assets();
    load({}, assets);
    follow();
    session().start();
    EXPECT_EQ(sheet(), "shown") << "an empty timeline";
    makeUnsaved();
    session().start();
    EXPECT_EQ(sheet(), "closed") << "no assets";
}

TEST_F(AIAssistantSessionLaunchTests, ABusyEditorNeitherStartsNorLaunches) {
    session().start();
    beBusy();
    session().launch(AIDesktopAssistant::claude);
    EXPECT_EQ(sheet(), "shown");
    session().dismissSheet();
    session().start();
    EXPECT_EQ(sheet(), "closed");
    context.settle();
    EXPECT_THAT(desktop.opened, IsEmpty());
    session().start();
    EXPECT_EQ(sheet(), "shown");
}

TEST_F(AIAssistantSessionLaunchTests, WithoutItsEditorNothingHappens) {
    const auto session = editor->ai().shared_from_this();
    session->start();
    editor.reset();
    session->dismissSheet();
    session->start();
    EXPECT_FALSE(session->showSheet());
    session->launch(AIDesktopAssistant::claude);
    EXPECT_FALSE(session->launching());
}

TEST_F(AIAssistantSessionLaunchTests, StartingAndLaunchingEndAGesture) {
    editor->beginInteraction();
    session().start();
    EXPECT_FALSE(editor->interactionSnapshot());
    editor->beginInteraction();
    session().launch(AIDesktopAssistant::claude);
    EXPECT_FALSE(editor->interactionSnapshot());
    context.settle();
}

TEST_F(AIAssistantSessionLaunchTests, ALaunchOpensTheAssistantOnTheSessionFolderAndClosesTheSheet) {
    session().start();
    session().launch(AIDesktopAssistant::chatGPT);
    EXPECT_EQ(sheet(), "shown, launching");
    session().dismissSheet();
    EXPECT_EQ(sheet(), "shown, launching") << "it stays during a launch";
    context.settle();
    EXPECT_EQ(sheet(), "closed");
    EXPECT_TRUE(session().isConnected());
    const std::string prompt =
        "Help me edit “Kelvane - Trailer”. Ask what montage I want, then edit the timeline directly.";
    const std::string url = AIDesktopAssistant(AIDesktopAssistant::chatGPT).taskURL(sessionFolder(), prompt);
    EXPECT_THAT(desktop.opened, ElementsAre(FakeDesktopServices::Opened{url, chatGPTID}));
    EXPECT_THAT(entries(sessionFolder()), ElementsAre("AGENTS.md"));
    const auto instructions = readFile(sessionFolder().appending("AGENTS.md").path());
    ASSERT_TRUE(instructions);
    EXPECT_THAT(*instructions, HasSubstr("cli --project '" + editor->id().upper() + "' project"));
    EXPECT_THAT(*instructions, HasSubstr(KelvaneProjectLink::runningExecutable().path()));
}

TEST_F(AIAssistantSessionLaunchTests, ASecondClickDuringALaunchHasNoEffect) {
    session().start();
    session().launch(AIDesktopAssistant::chatGPT);
    session().launch(AIDesktopAssistant::claude);
    session().start();
    context.settle();
    EXPECT_EQ(desktop.opened.size(), 1U);
    EXPECT_EQ(desktop.opened.front().application, chatGPTID);
    EXPECT_EQ(sheet(), "closed");
}

TEST_F(AIAssistantSessionLaunchTests, TheProjectIsSavedBeforeTheAssistantIsOpened) {
    std::vector<std::string> happened;
    session().flush = [&]() -> QCoro::Task<bool> {
        happened.push_back("saved with " + std::to_string(desktop.opened.size()) + " opened");
        co_return true;
    };
    session().start();
    launch(AIDesktopAssistant::claude);
    EXPECT_THAT(happened, ElementsAre("saved with 0 opened"));
    EXPECT_EQ(desktop.opened.size(), 1U);
}

TEST_F(AIAssistantSessionLaunchTests, AProjectThatCanNotBeSavedKeepsTheSheetWithTheEditorsWords) {
    session().flush = []() -> QCoro::Task<bool> { co_return false; };
    session().start();
    launch();
    EXPECT_EQ(sheet(), "shown, Save the project before starting AI editing.");
    editor->setError("Your changes could not be saved: the disk is full");
    launch();
    EXPECT_EQ(sheet(), "shown, Your changes could not be saved: the disk is full");
    EXPECT_FALSE(session().isConnected());
    EXPECT_THAT(desktop.opened, IsEmpty());
    session().flush = []() -> QCoro::Task<bool> { co_return true; };
    session().launch(AIDesktopAssistant::chatGPT);
    EXPECT_EQ(sheet(), "shown, launching") << "a new launch clears the message";
    context.settle();
    EXPECT_EQ(sheet(), "closed");
}

TEST_F(AIAssistantSessionLaunchTests, AProjectWithoutAFileIsToBeSavedFirst) {
    makeEditor(false);
    const auto film = makeSource("loose.mov", FakeFile::video(4));
    editor->importURLs({film});
    context.settle();
    follow();
    session().start();
    ASSERT_EQ(sheet(), "shown");
    launch();
    EXPECT_EQ(sheet(), "shown, Save the project before starting AI editing.");
    editor->setError("It is the editor’s own.");
    launch();
    EXPECT_EQ(sheet(), "shown, It is the editor’s own.");
}

TEST_F(AIAssistantSessionLaunchTests, AFolderThatCanNotBeWrittenIsToldInTheSystemsWords) {
    ASSERT_TRUE(writeFileAtomically(library().appending("AI").path(), "in the way"));
    session().start();
    launch();
    EXPECT_EQ(sheet(), "shown, The folder “Kelvane - Trailer” could not be made: Not a directory.");
    EXPECT_TRUE(session().isConnected()) << "a later try finds the connection in place";
    EXPECT_THAT(desktop.opened, IsEmpty());
    std::filesystem::remove(library().appending("AI").path());
    launch();
    EXPECT_EQ(sheet(), "closed");
}

TEST_F(AIAssistantSessionLaunchTests, AnIncompleteSectionOfInstructionsIsTold) {
    std::filesystem::create_directories(sessionFolder().path());
    const auto file = sessionFolder().appending("AGENTS.md").path();
    ASSERT_TRUE(writeFileAtomically(file, "<!-- Kelvane CLI: begin -->\nno end"));
    session().start();
    launch();
    EXPECT_EQ(sheet(), "shown, Could not update Kelvane instructions in AGENTS.md: incomplete managed section.");
    EXPECT_EQ(readFile(file).value_or(""), "<!-- Kelvane CLI: begin -->\nno end");
    launch(AIDesktopAssistant::claude);
    EXPECT_EQ(sheet(), "closed") << "the other assistant has a file of its own";
}

TEST_F(AIAssistantSessionLaunchTests, AnAssistantThatWasRemovedMeanwhileIsTold) {
    session().start();
    desktop.applications.erase(chatGPTID);
    launch();
    EXPECT_EQ(sheet(), "shown, ChatGPT is no longer installed.");
    EXPECT_EQ(session().assistants().size(), 2U) << "the list stays until the next start";
    session().start();
    EXPECT_EQ(sheet(), "shown");
    EXPECT_THAT(session().assistants(), ElementsAre(AIDesktopAssistant::claude));
}

TEST_F(AIAssistantSessionLaunchTests, ADesktopThatRefusesIsToldInItsWords) {
    desktop.refusal = Error("“ChatGPT” could not be opened: it ended at once.");
    session().start();
    launch();
    EXPECT_EQ(sheet(), "shown, “ChatGPT” could not be opened: it ended at once.");
    EXPECT_THAT(entries(sessionFolder()), ElementsAre("AGENTS.md")) << "what was written stays";
}

TEST_F(AIAssistantSessionLaunchTests, APromptQuotesTheCleanedName) {
    editor->setLibraryName("A/B: C");
    session().start();
    launch(AIDesktopAssistant::claude);
    ASSERT_EQ(desktop.opened.size(), 1U);
    const std::string prompt =
        "Help me edit “Kelvane - A-B- C”. Ask what montage I want, then edit the timeline directly.";
    const auto folder = library().appending("AI").appending("Kelvane - A-B- C");
    EXPECT_EQ(desktop.opened.front().url, AIDesktopAssistant(AIDesktopAssistant::claude).taskURL(folder, prompt));
}

TEST_F(AIAssistantSessionLaunchTests, AProjectThatIsLeftDuringALaunchOpensNothingAndLeavesTheSheetAlone) {
    // Wherever the launch is just then.
    for (int steps = 0;; ++steps) {
        session().start();
        session().launch(AIDesktopAssistant::claude);
        const auto before = desktop.opened.size();
        for (int step = 0; step < steps && session().launching(); ++step) {
            context.stepBackground();
            context.runPosted();
        }
        if (!session().launching()) break;
        session().suspend();
        context.settle();
        EXPECT_EQ(sheet(), "shown") << steps << " steps";
        EXPECT_EQ(desktop.opened.size(), before) << steps << " steps";
        EXPECT_FALSE(session().isConnected()) << steps << " steps";
        ASSERT_LT(steps, 100);
    }
    EXPECT_EQ(sheet(), "closed");
}

TEST_F(AIAssistantSessionLaunchTests, ALaunchDoesNotKeepAClosedProject) {
    session().start();
    session().launch(AIDesktopAssistant::claude);
    const std::weak_ptr<Editor> closed = editor;
    editor.reset();
    EXPECT_TRUE(closed.expired());
    context.settle();
    EXPECT_THAT(desktop.opened, IsEmpty());
}

}  // namespace
}  // namespace kelvane::testing
