#include <filesystem>

#include "SessionFixture.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;

constexpr const char* importText = "--json requires 1...64 absolute file paths (max 1 MiB).";
constexpr const char* exportText = "--path requires an absolute .mp4 or .mov path.";

class AIAssistantSessionTransfers : public SessionFixture {
protected:
    static std::string paths(std::initializer_list<FileURL> files) {
        json list = json::array();
        for (const auto& file : files) list.push_back(file.path());
        return list.dump();
    }
    [[nodiscard]] std::string movie(const std::string& name = "out.mp4") const {
        return folder().appending(name).path();
    }
};

TEST_F(AIAssistantSessionTransfers, ImportAnswersTheStateAndTheIDsInOrder) {
    const auto first = makeSource("first.mov", FakeFile::video(5));
    const auto second = makeSource("second.wav", FakeFile::audio(6));
    json reply = document(write("import", {{"json", paths({second, film, first, second})}}));
    ASSERT_EQ(editor->assets().size(), 4U);
    EXPECT_EQ(reply["imported"], json::array({assetID(2), assetID(0), assetID(3), assetID(2)}));
    EXPECT_EQ(reply["assets"][2]["name"], "second");
    EXPECT_EQ(reply["assets"][2]["mediaType"], "audio");
    reply.erase("imported");
    EXPECT_EQ(reply, state());
    EXPECT_EQ(reply["canUndo"], true);
    EXPECT_EQ(editor->undoStack().size(), 1U);
}

TEST_F(AIAssistantSessionTransfers, ImportChangesTheRevisionAndUndoBringsItBack) {
    const auto before = revision();
    const auto file = makeSource("first.mov", FakeFile::video(5));
    EXPECT_NE(document(write("import", {{"json", paths({file})}}))["revision"], before);
    EXPECT_EQ(document(write("undo"))["revision"], before);
}

TEST_F(AIAssistantSessionTransfers, ImportStandardisesPaths) {
    const auto file = makeSource("first.mov", FakeFile::video(5));
    const std::string detour = sources().path() + "/../Sources//./first.mov";
    const auto ids = document(write("import", {{"json", json::array({detour, file.path()}).dump()}}))["imported"];
    EXPECT_EQ(ids[0], ids[1]);
    EXPECT_EQ(editor->assets().size(), 3U);
}

TEST_F(AIAssistantSessionTransfers, ImportRefusesOtherTexts) {
    json many = json::array();
    for (int i = 0; i < 65; ++i) many.push_back("/media/a.mov");
    for (const std::string& text :
         {std::string("["), std::string("{}"), std::string("\"/a.mov\""), std::string("[]"), std::string("[1]"),
          std::string("[null]"), std::string(R"(["a.mov"])"), std::string(R"([""])"), std::string(R"(["~/a.mov"])"),
          std::string(R"(["file:///a.mov"])"), std::string(R"(["/a\u0000.mov"])"), std::string(R"(["/a.mov",2])"),
          std::string(R"(["/a.mov","b.mov"])"), many.dump(), "[\"/" + std::string(1'048'576, 'a') + "\"]"}) {
        EXPECT_EQ(refusal(write("import", {{"json", text}})), importText) << text.substr(0, 40);
    }
    EXPECT_EQ(media.count("openAsset"), 0U);
    EXPECT_FALSE(editor->busy());
}

TEST_F(AIAssistantSessionTransfers, ImportTakesSixtyFourPaths) {
    const auto file = makeSource("first.mov", FakeFile::video(5));
    json many = json::array();
    for (int i = 0; i < 64; ++i) many.push_back(file.path());
    const json reply = document(write("import", {{"json", many.dump()}}));
    EXPECT_EQ(reply["imported"].size(), 64U);
    EXPECT_EQ(editor->assets().size(), 3U);
}

TEST_F(AIAssistantSessionTransfers, AnImportThatFailsChangesNothing) {
    const auto good = makeSource("good.mov", FakeFile::video(5));
    const auto bad = makeSource("bad.txt", FakeFile::neither());
    const auto before = state();
    EXPECT_NE(refusal(write("import", {{"json", paths({good, bad})}})), "done");
    EXPECT_EQ(state(), before);
}

TEST_F(AIAssistantSessionTransfers, UndoWaitsWhileAnImportRuns) {
    const auto file = makeSource("first.mov", FakeFile::video(5));
    editor->update(clip(0).id, [](Clip& changed) { changed.volume = 0.5; });
    settlePreview();
    const auto import = startWrite("import", {{"json", paths({file})}});
    const auto undo = startWrite("undo");
    EXPECT_EQ(refusal(undo->value()), busyText);
    editor->undo();
    EXPECT_EQ(clip(0).volume, 0.5);
    EXPECT_EQ(refusal(finish(import)), "done");
    EXPECT_EQ(editor->assets().size(), 3U);
    EXPECT_EQ(editor->undoStack().size(), 2U);
}

TEST_F(AIAssistantSessionTransfers, AProjectLoadedAnewDuringAnImportMakesItStale) {
    const auto file = makeSource("first.mov", FakeFile::video(5));
    const auto reply = startWrite("import", {{"json", paths({file})}});
    load({video(film, 10)}, std::vector<Clip>{video(film, 10)});
    const auto assets = editor->assets();
    EXPECT_EQ(refusal(finish(reply)), changedText);
    EXPECT_EQ(editor->assets(), assets);
    EXPECT_FALSE(editor->busy());
    EXPECT_TRUE(editor->undoStack().empty());
}

TEST_F(AIAssistantSessionTransfers, TheEndOfTheSessionDuringAnImportRefusesIt) {
    const auto file = makeSource("first.mov", FakeFile::video(5));
    const auto files = mediaFiles();
    const auto reply = startWrite("import", {{"json", paths({file})}});
    session().suspend();
    EXPECT_EQ(refusal(finish(reply)), sessionClosedText);
    EXPECT_EQ(editor->assets().size(), 2U);
    EXPECT_EQ(mediaFiles(), files);
}

TEST_F(AIAssistantSessionTransfers, ExportAnswersPathRevisionAndStale) {
    const auto quoted = revision();
    const auto reply = startWrite("export", {{"path", movie()}});
    EXPECT_TRUE(editor->busy());
    EXPECT_EQ(document(start("project")->value())["busy"], true);
    EXPECT_EQ(document(finish(reply)), (json{{"path", movie()}, {"revision", quoted}, {"stale", false}}));
    EXPECT_TRUE(std::filesystem::exists(movie()));
    EXPECT_EQ(revision(), quoted);
}

TEST_F(AIAssistantSessionTransfers, TheEndOfTheSessionTakesNothingFromAMovieThatHasItsName) {
    const auto quoted = revision();
    const auto reply = startWrite("export", {{"path", movie()}});
    while (!std::filesystem::exists(movie())) {
        ASSERT_TRUE(context.stepBackground());
        context.runPosted();
    }
    ASSERT_FALSE(reply->has_value()) << "the folder is still to be synced";
    session().suspend();
    EXPECT_EQ(document(finish(reply)), (json{{"path", movie()}, {"revision", quoted}, {"stale", false}}));
    EXPECT_EQ(editor->exportedURL(), FileURL::fromPath(movie()));
    EXPECT_TRUE(std::filesystem::exists(movie()));
}

TEST_F(AIAssistantSessionTransfers, ExportStandardisesItsPathAndTakesAnyCase) {
    const std::string detour = folder().path() + "/Sources/.././clip.MP4";
    EXPECT_EQ(document(write("export", {{"path", detour}}))["path"], movie("clip.MP4"));
    EXPECT_EQ(document(write("export", {{"path", movie("clip.Mov")}}))["path"], movie("clip.Mov"));
    ASSERT_EQ(media.exportRecords().size(), 2U);
    EXPECT_EQ(media.exportRecords()[0].container, ExportContainer::mp4);
    EXPECT_EQ(media.exportRecords()[1].container, ExportContainer::mov);
}

TEST_F(AIAssistantSessionTransfers, ExportRefusesOtherPaths) {
    for (const std::string& path :
         {std::string("a.mp4"), std::string("./a.mp4"), std::string("~/a.mp4"), std::string("/a/b.mkv"),
          std::string("/a/b"), std::string("/a/.mp4"), std::string("/a/mp4"), std::string("/a/b.mp4.txt"),
          std::string("/"), std::string("/a/b.mp4\0.mp4", 13), std::string("file:///a/b.mp4")}) {
        EXPECT_EQ(refusal(write("export", {{"path", path}})), exportText) << path;
    }
    EXPECT_EQ(media.count("makeExportSession"), 0U);
}

TEST_F(AIAssistantSessionTransfers, ExportTakesItsWordsAndItsFlag) {
    EXPECT_EQ(refusal(write("export", {{"path", movie()}, {"resolution", "720p"}, {"fps", "25"}})), "done");
    const auto records = media.exportRecords();
    ASSERT_EQ(records.size(), 1U);
    ASSERT_TRUE(records[0].videoComposition.has_value());
    EXPECT_EQ(records[0].videoComposition->renderSize, (Size{720, 1280}));

    EXPECT_EQ(refusal(write("export", {{"path", movie()}})), "Output exists; use --overwrite.");
    EXPECT_EQ(refusal(write("export", {{"path", movie()}, {"overwrite", "true"}})), "done");
    EXPECT_EQ(refusal(write("export", {{"path", movie()}, {"resolution", "8k"}})),
              "--resolution must be auto, 4k, 1440p, 1080p or 720p.");
    EXPECT_EQ(refusal(write("export", {{"path", movie()}, {"fps", "24.0"}})),
              "--fps must be auto, 24, 25, 30, 50 or 60.");
    EXPECT_EQ(refusal(write("export", {{"path", film.path()}, {"overwrite", "true"}})),
              "Output cannot replace project or source media.");
}

TEST_F(AIAssistantSessionTransfers, WritesWaitWhileAnExportRuns) {
    const auto reply = startWrite("export", {{"path", movie()}});
    const auto edit = startWrite("timeline", {{"json", "[]"}});
    EXPECT_EQ(refusal(edit->value()), busyText);
    const auto second = startWrite("export", {{"path", movie("second.mp4")}});
    EXPECT_EQ(refusal(second->value()), busyText);
    EXPECT_EQ(refusal(finish(reply)), "done");
}

TEST_F(AIAssistantSessionTransfers, AnExportWhoseProjectChangedPublishesNothing) {
    const auto reply = startWrite("export", {{"path", movie()}});
    load({video(film, 10)}, std::vector<Clip>{video(film, 10)});
    EXPECT_EQ(refusal(finish(reply)), changedText);
    EXPECT_EQ(entries(folder()), (std::vector<std::string>{"Library", "Sources"}));
    EXPECT_FALSE(editor->busy());
}

TEST_F(AIAssistantSessionTransfers, AnExportWhoseSessionEndedPublishesNothing) {
    const auto reply = startWrite("export", {{"path", movie()}});
    session().suspend();
    EXPECT_EQ(refusal(finish(reply)), sessionClosedText);
    EXPECT_EQ(entries(folder()), (std::vector<std::string>{"Library", "Sources"}));
}

TEST_F(AIAssistantSessionTransfers, AnExportThatIsCancelledSaysSo) {
    const auto reply = startWrite("export", {{"path", movie()}});
    editor->cancelExport();
    EXPECT_EQ(refusal(finish(reply)), "The operation was cancelled.");
    EXPECT_FALSE(std::filesystem::exists(movie()));
}

}  // namespace
}  // namespace kelvane::testing
