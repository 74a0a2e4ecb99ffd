#include <gtest/gtest.h>

#include <QUrl>

#include "Support/TempFolder.h"
#include "Views/Window/WindowPanels.h"

namespace kelvane::testing {
namespace {

QVariantList urls(const TempFolder& folder, const char* name) {
    return {QUrl::fromLocalFile(QString::fromStdString(folder.path(name)))};
}

TEST(WindowPanels, WithoutADisplayEveryQuestionIsCancelledAtOnce) {
    WindowPanels panels(false);
    int answers = 0;
    panels.chooseFiles(PanelContent::media, "Choose", [&](const auto& files) { answers += files.empty(); });
    panels.chooseDestination(PanelContent::mp4Movie, "a.mp4", "", [&](const auto& file) { answers += !file; });
    panels.askName("New", "Untitled", "Create", [&](const auto& name) { answers += !name; });
    panels.confirm("Sure?", "", "Cancel", "OK", [&](bool yes) { answers += !yes; });
    EXPECT_EQ(answers, 4);
    EXPECT_TRUE(panels.question().isEmpty());
}

TEST(WindowPanels, QuestionsComeOneAfterTheOther) {
    WindowPanels panels(true);
    std::optional<std::string> name;
    bool sure = false;
    panels.askName("New", "Untitled", "Create", [&](const auto& given) { name = given; });
    panels.confirm("Sure?", "Really.", "No", "Yes", [&](bool yes) { sure = yes; });
    EXPECT_EQ(panels.question()["kind"], "name");
    panels.answerText("Film");
    EXPECT_EQ(name, "Film");
    EXPECT_EQ(panels.question()["title"], "Sure?");
    EXPECT_EQ(panels.question()["accept"], "Yes");
    panels.answerYes();
    EXPECT_TRUE(sure);
    EXPECT_TRUE(panels.question().isEmpty());
    panels.cancel();
}

TEST(WindowPanels, AFileThatExistsIsOnlyReplacedWhenAPersonSaysSo) {
    TempFolder folder;
    folder.write("old.mp4");
    WindowPanels panels(true);
    std::vector<std::optional<FileURL>> answers;
    const auto choose = [&](const char* name) {
        panels.chooseDestination(PanelContent::mp4Movie, "x.mp4", "",
                                 [&](const auto& file) { answers.push_back(file); });
        panels.answerFiles(urls(folder, name));
    };
    choose("new.mp4");
    choose("old.mp4");
    EXPECT_EQ(panels.question()["title"], "“old.mp4” already exists. Do you want to replace it?");
    panels.cancel();
    choose("old.mp4");
    panels.answerYes();
    EXPECT_EQ(answers,
              (std::vector<std::optional<FileURL>>{folder.url("new.mp4"), std::nullopt, folder.url("old.mp4")}));
}

TEST(WindowPanels, TheChooserShowsFilesThatCamerasName) {
    WindowPanels panels(true);
    panels.chooseFiles(PanelContent::media, "Choose videos or audio files.", [](const auto&) {});
    const auto filter = panels.question()["filters"].toStringList().first();
    for (const char* pattern : {"*.MOV", "*.mp4", "*.MTS", "*.wav"}) EXPECT_TRUE(filter.contains(pattern)) << pattern;
}

}  // namespace
}  // namespace kelvane::testing
