#include "CLI/KelvaneCLI.h"
#include "Platform/TurnQueue.h"
#include "SessionFixture.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;

class AIAssistantSessionCommands : public SessionFixture {
protected:
    /// An import that has begun and waits for its file to be opened.
    Reply startImport() {
        const auto file = makeSource("new.mov", FakeFile::video(5));
        return startWrite("import", {{"json", json::array({file.path()}).dump()}});
    }
};

TEST_F(AIAssistantSessionCommands, TheTableIsAskedFirst) {
    struct Row {
        std::string command;
        Options options;
        std::string words;
    };
    for (const Row& row : {
             Row{"fly", {}, "Unknown command: fly. Run Kelvane cli help."},
             Row{"", {}, "Unknown command: . Run Kelvane cli help."},
             Row{"undo",
                 {{"revision", "x"}, {"compact", "false"}},
                 "Unknown or invalid option: --compact. Run Kelvane cli help."},
             Row{"project", {{"compact", "true"}}, "Unknown or invalid option: --compact. Run Kelvane cli help."},
             Row{"undo", {}, "Missing --revision. Run Kelvane cli help."},
             Row{"timeline", {{"revision", "x"}, {"json", ""}}, "Missing --json. Run Kelvane cli help."},
         }) {
        EXPECT_EQ(refusal(perform(row.command, row.options)), row.words);
        // Before the token, too.
        EXPECT_EQ(refusal(finish(start(row.command, row.options, UUID::random()))), row.words);
    }
}

TEST_F(AIAssistantSessionCommands, ARequestOfAnEndedPeriodIsRefused) {
    const UUID before = session().generation();
    EXPECT_EQ(refusal(finish(start("project", {}, before))), "done");
    session().suspend();
    EXPECT_NE(session().generation(), before);
    for (const char* command : {"project", "frames", "undo"}) {
        Options options;
        if (std::string_view(command) == "frames") options = {{"asset", assetID(0)}};
        if (std::string_view(command) == "undo") options = {{"revision", "stale"}};
        EXPECT_EQ(refusal(finish(start(command, options, before))), startNewText) << command;
    }
    EXPECT_EQ(refusal(finish(start("project", {}, session().generation()))), "done");
    // Without a token the present period counts.
    EXPECT_EQ(refusal(perform("project")), "done");
}

TEST_F(AIAssistantSessionCommands, ARequestForAClosedProjectIsRefused) {
    const auto kept = session().shared_from_this();
    editor.reset();
    context.settle();
    auto task = kept->perform(CLIRequest{"project", {}, {}}, std::nullopt);
    EXPECT_EQ(refusal(QCoro::waitFor(task)), startNewText);
    EXPECT_EQ(kept->checkWrite("x", kept->generation()).error().message, sessionClosedText);
    EXPECT_EQ(kept->checkSnapshot("x", kept->generation()).error().message, sessionClosedText);
}

TEST_F(AIAssistantSessionCommands, ChecksAnswerInOrder) {
    const UUID epoch = session().generation();
    const auto words = [&](const Result<void>& checked) { return checked ? "passed" : checked.error().message; };
    EXPECT_EQ(words(session().checkWrite(revision(), epoch)), "passed");
    EXPECT_EQ(words(session().checkWrite("stale", epoch)), changedText);
    EXPECT_EQ(words(session().checkWrite(revision() + " ", epoch)), changedText);
    EXPECT_EQ(words(session().checkWrite("stale", UUID::random())), sessionClosedText);
    EXPECT_EQ(words(session().checkSnapshot("stale", UUID::random())), sessionClosedText);

    editor->beginInteraction();
    EXPECT_EQ(words(session().checkWrite("stale", UUID::random())), sessionClosedText);
    EXPECT_EQ(words(session().checkWrite("stale", epoch)), busyText);
    EXPECT_EQ(words(session().checkSnapshot("stale", epoch)), changedText);
    EXPECT_EQ(words(session().checkSnapshot(revision(), epoch)), "passed");
    editor->endInteraction();

    const auto import = startImport();
    EXPECT_EQ(words(session().checkWrite(revision(), epoch)), busyText);
    EXPECT_EQ(words(session().checkSnapshot(revision(), epoch)), "passed");
    EXPECT_EQ(refusal(finish(import)), "done");
}

TEST_F(AIAssistantSessionCommands, ProjectIsTheFullStateAndCapabilitiesOnRequest) {
    json expected = state();
    EXPECT_EQ(document(perform("project")), expected);
    expected["capabilities"] = json::parse(KelvaneCLI::capabilities());
    EXPECT_EQ(document(perform("project", {{"include-capabilities", "true"}})), expected);
}

TEST_F(AIAssistantSessionCommands, ProjectAnswersWhileAnImportRunsAndWritesDoNot) {
    const auto import = startImport();
    EXPECT_EQ(document(start("project")->value())["busy"], true);
    EXPECT_EQ(refusal(startWrite("rename", {{"name", "New"}})->value()), busyText);
    EXPECT_EQ(refusal(start("undo", {{"revision", "stale"}})->value()), busyText);
    EXPECT_EQ(refusal(finish(import)), "done");
    EXPECT_EQ(document(perform("project"))["busy"], false);
    EXPECT_EQ(refusal(perform("undo", {{"revision", "stale"}})), changedText);
}

QCoro::Task<Result<void>> answering(Result<void> answer) { co_return answer; }

TEST_F(AIAssistantSessionCommands, RenamePassesTheNameOnAndKeepsTheRevision) {
    std::vector<std::string> names;
    editor->onRenameProject = [&](const std::string& name, const std::function<Result<void>()>& validate) {
        EXPECT_TRUE(validate());
        names.push_back(name);
        if (name == " ") return answering(fail("Name your project."));
        editor->setLibraryName("Renamed");
        return answering({});
    };
    const auto before = revision();
    const json reply = document(write("rename", {{"name", "  New name "}}));
    EXPECT_EQ(names, std::vector<std::string>{"  New name "});
    EXPECT_EQ(reply, state());
    EXPECT_EQ(reply["name"], "Renamed");
    EXPECT_EQ(reply["revision"], before);
    EXPECT_EQ(reply["canUndo"], false);

    EXPECT_EQ(refusal(write("rename", {{"name", " "}})), "Name your project.");
    EXPECT_EQ(refusal(perform("rename", {{"name", "x"}, {"revision", "stale"}})), changedText);
    EXPECT_EQ(names.size(), 2U);
}

/// Renames in turns, behind whatever waits for the project's files.
QCoro::Task<Result<void>> renamingInTurn(TurnQueue* turns, std::weak_ptr<Editor> editor, std::string name,
                                         std::function<Result<void>()> validate) {
    auto asked = turns->next();
    const auto turn = co_await asked;
    if (Result<void> valid = validate(); !valid) co_return valid;
    editor.lock()->setLibraryName(name);
    co_return Result<void>();
}

QCoro::Task<void> hold(TurnQueue* turns, std::optional<TurnQueue::Turn>* place) {
    auto asked = turns->next();
    auto turn = co_await asked;
    place->emplace(std::move(turn));
}

/// A rename that waits for its turn until `outcome`.
class WaitingRename : public AIAssistantSessionCommands {
protected:
    WaitingRename() {
        editor->setLibraryName("Old");
        editor->onRenameProject = [this, weak = std::weak_ptr(editor)](std::string name,
                                                                       std::function<Result<void>()> validate) {
            return renamingInTurn(&turns, weak, std::move(name), std::move(validate));
        };
        const auto holding = hold(&turns, &held);
    }
    Reply renamed(const std::string& name) {
        const auto reply = startWrite("rename", {{"name", name}});
        context.settle();
        EXPECT_FALSE(reply->has_value()) << "it waits for its turn";
        return reply;
    }
    std::string outcome(const Reply& reply) {
        held.reset();
        return refusal(finish(reply));
    }

    TurnQueue turns{context};
    std::optional<TurnQueue::Turn> held;
};

TEST_F(WaitingRename, IsRefusedWhereTheSessionEndsMeanwhile) {
    const auto reply = renamed("New");
    session().suspend();
    EXPECT_EQ(outcome(reply), sessionClosedText);
    EXPECT_EQ(editor->title(), "Old");
}

TEST_F(WaitingRename, IsRefusedWhereTheProjectEndsMeanwhile) {
    const auto reply = renamed("New");
    const std::weak_ptr<Editor> closed = editor;
    editor.reset();
    EXPECT_TRUE(closed.expired()) << "a request keeps no project alive";
    EXPECT_EQ(outcome(reply), sessionClosedText);
}

TEST_F(WaitingRename, IsRefusedWhereAnExportBeginsMeanwhile) {
    const auto reply = renamed("New");
    const auto exporting = startWrite("export", {{"path", folder().appending("out.mp4").path()}});
    EXPECT_EQ(outcome(reply), busyText);
    EXPECT_EQ(refusal(finish(exporting)), "done");
    EXPECT_EQ(editor->title(), "Old");
}

TEST_F(WaitingRename, IsRefusedWhereTheTimelineChangesMeanwhile) {
    const auto reply = renamed("New");
    editor->update(clip(0).id, [](Clip& changed) { changed.volume = 0.5; });
    EXPECT_EQ(outcome(reply), changedText);
    EXPECT_EQ(editor->title(), "Old");
}

TEST_F(WaitingRename, ComesBeforeTheNextOne) {
    const auto first = renamed("New");
    const auto second = renamed("Newer");
    EXPECT_EQ(outcome(first), "done");
    EXPECT_EQ(refusal(finish(second)), "done") << "a name is no part of the revision";
    EXPECT_EQ(editor->title(), "Newer");
}

TEST_F(AIAssistantSessionCommands, RenameNeedsALibraryProject) {
    EXPECT_EQ(refusal(write("rename", {{"name", "New"}})), "Open a library project before renaming it.");
}

TEST_F(AIAssistantSessionCommands, UndoAndRedoGoThroughHistory) {
    const auto before = revision();
    EXPECT_EQ(refusal(perform("undo", {{"revision", "stale"}})), changedText);
    EXPECT_EQ(refusal(perform("redo", {{"revision", "stale"}})), changedText);
    EXPECT_EQ(document(write("undo")), state());
    EXPECT_EQ(document(write("redo", {{"compact", "true"}})), state(true));
    EXPECT_EQ(revision(), before);

    EXPECT_EQ(refusal(write("remove", {{"id", clipID(0)}})), "done");
    const auto after = revision();
    EXPECT_EQ(refusal(perform("undo", {{"revision", before}})), changedText);

    const json undone = document(write("undo"));
    EXPECT_EQ(undone["revision"], before);
    EXPECT_EQ(undone["canUndo"], false);
    EXPECT_EQ(undone["canRedo"], true);
    const json redone = document(write("redo"));
    EXPECT_EQ(redone["revision"], after);
    EXPECT_EQ(redone["canUndo"], true);
    EXPECT_EQ(redone["canRedo"], false);
}

}  // namespace
}  // namespace kelvane::testing
