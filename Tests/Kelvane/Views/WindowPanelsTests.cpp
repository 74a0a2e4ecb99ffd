#include <gmock/gmock.h>

#include <QUrl>

#include "Support/App/FakeMainContext.h"
#include "Support/TempFolder.h"
#include "Views/Window/WindowPanels.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;

QUrl url(const TempFolder& folder, const char* name) {
    return QUrl::fromLocalFile(QString::fromStdString(folder.path(name)));
}

/// The question whose turn it is, as one of its kind; ends the program where it is of another.
template <class Kind>
Kind& asked(const WindowPanels& panels) {
    auto* question = qobject_cast<Kind*>(panels.question());
    check(question != nullptr, "a question of the kind that the test waits for");
    return *question;
}

TEST(WindowPanels, WithoutADisplayEveryQuestionIsCancelledAtOnce) {
    FakeMainContext context;
    WindowPanels panels(false, context);
    int answers = 0;
    panels.chooseFiles(PanelContent::media, "Choose", [&](const auto& files) { answers += files.empty(); });
    panels.chooseDestination(PanelContent::mp4Movie, "a.mp4", "", [&](const auto& file) { answers += !file; });
    panels.askName("New", "Untitled", "Create", [&](const auto& name) { answers += !name; });
    panels.confirm("Sure?", "", "Cancel", "OK", [&](bool yes) { answers += !yes; });
    EXPECT_EQ(answers, 4);
    EXPECT_EQ(panels.question(), nullptr);
}

TEST(WindowPanels, EachKindOfQuestionTellsWhatIsAskedAndTakesWhatIsAnswered) {
    TempFolder folder;
    FakeMainContext context;
    WindowPanels panels(true, context);
    std::vector<FileURL> files;
    panels.chooseFiles(PanelContent::project, "Choose projects.", [&](auto given) { files = std::move(given); });
    EXPECT_EQ(asked<FilesQuestion>(panels).title(), "Choose projects.");
    EXPECT_EQ(asked<FilesQuestion>(panels).filters(), QStringList("Kelvane projects (*.kelvane)"));
    asked<FilesQuestion>(panels).answer({url(folder, "a.kelvane"), url(folder, "b c.kelvane")});
    EXPECT_THAT(files, ElementsAre(folder.url("a.kelvane"), folder.url("b c.kelvane")));

    std::optional<FileURL> file;
    panels.chooseDestination(PanelContent::quickTimeMovie, "Film.mov", "4K", [&](auto given) { file = given; });
    EXPECT_EQ(asked<DestinationQuestion>(panels).title(), "4K");
    EXPECT_EQ(asked<DestinationQuestion>(panels).initial(), "Film.mov");
    EXPECT_EQ(asked<DestinationQuestion>(panels).suffix(), "mov");
    EXPECT_EQ(asked<DestinationQuestion>(panels).filters(), QStringList("QuickTime movie (*.mov)"));
    asked<DestinationQuestion>(panels).answer(url(folder, "Film.mov"));
    context.settle();
    EXPECT_EQ(file, folder.url("Film.mov"));

    std::optional<std::string> name;
    panels.askName("New Project", "Untitled", "Create", [&](auto given) { name = given; });
    EXPECT_EQ(asked<NameQuestion>(panels).title(), "New Project");
    EXPECT_EQ(asked<NameQuestion>(panels).initial(), "Untitled");
    EXPECT_EQ(asked<NameQuestion>(panels).accept(), "Create");
    EXPECT_EQ(asked<NameQuestion>(panels).reject(), "Cancel");
    asked<NameQuestion>(panels).answer("");
    EXPECT_EQ(name, "") << "an empty name is an answer";

    bool sure = false;
    panels.confirm("Sure?", "Really.", "No", "Yes", [&](bool yes) { sure = yes; });
    EXPECT_EQ(asked<ConfirmQuestion>(panels).title(), "Sure?");
    EXPECT_EQ(asked<ConfirmQuestion>(panels).text(), "Really.");
    EXPECT_EQ(asked<ConfirmQuestion>(panels).accept(), "Yes");
    EXPECT_EQ(asked<ConfirmQuestion>(panels).reject(), "No");
    asked<ConfirmQuestion>(panels).confirm();
    EXPECT_TRUE(sure);
    EXPECT_EQ(panels.question(), nullptr);
}

TEST(WindowPanels, QuestionsComeOneAfterTheOther) {
    FakeMainContext context;
    WindowPanels panels(true, context);
    std::vector<std::string> events;
    QObject::connect(&panels, &WindowPanels::questionChanged, &panels, [&] {
        events.push_back(panels.question() != nullptr ? "asks " + panels.question()->title().toStdString() : "none");
    });
    for (const char* title : {"1", "2", "3"})
        panels.askName(title, "", "", [&, title](const auto& name) {
            events.push_back(std::string(title) + (name ? " is " + *name : " is cancelled"));
        });
    asked<NameQuestion>(panels).answer("a");
    panels.question()->cancel();
    asked<NameQuestion>(panels).answer("c");
    EXPECT_THAT(events, ElementsAre("asks 1", "1 is a", "asks 2", "2 is cancelled", "asks 3", "3 is c", "none"));
}

TEST(WindowPanels, AQuestionIsAnsweredOnce) {
    FakeMainContext context;
    WindowPanels panels(true, context);
    std::vector<std::optional<std::string>> answers;
    panels.askName("New", "", "", [&](auto given) { answers.push_back(std::move(given)); });
    auto& question = asked<NameQuestion>(panels);
    question.answer("a");
    question.answer("b");
    question.cancel();
    EXPECT_EQ(answers, (std::vector<std::optional<std::string>>{"a"}));
}

TEST(WindowPanels, AFileThatExistsIsOnlyReplacedWhenAPersonSaysSo) {
    TempFolder folder;
    folder.write("old.mp4");
    FakeMainContext context;
    WindowPanels panels(true, context);
    std::vector<std::optional<FileURL>> answers;
    const auto choose = [&](const char* name) {
        panels.chooseDestination(PanelContent::mp4Movie, "x.mp4", "",
                                 [&](const auto& file) { answers.push_back(file); });
        asked<DestinationQuestion>(panels).answer(url(folder, name));
        context.settle();
    };
    choose("new.mp4");
    choose("old.mp4");
    EXPECT_EQ(panels.question()->title(), "“old.mp4” already exists. Do you want to replace it?");
    asked<ConfirmQuestion>(panels).confirm();
    EXPECT_EQ(answers, (std::vector<std::optional<FileURL>>{folder.url("new.mp4"), folder.url("old.mp4")}));
}

TEST(WindowPanels, WhoDoesNotReplaceAFileComesBackToTheChooserWithItsNameAndFolder) {
    TempFolder folder;
    folder.write("sub/old.mp4");
    FakeMainContext context;
    WindowPanels panels(true, context);
    std::vector<std::optional<FileURL>> answers;
    panels.chooseDestination(PanelContent::mp4Movie, "x.mp4", "4K", [&](const auto& file) { answers.push_back(file); });
    panels.beginNextIn(folder.path());
    for (int time = 0; time < 2; ++time) {
        asked<DestinationQuestion>(panels).answer(url(folder, "sub/old.mp4"));
        context.settle();
        asked<ConfirmQuestion>(panels).cancel();
        EXPECT_TRUE(answers.empty());
        EXPECT_EQ(asked<DestinationQuestion>(panels).title(), "4K");
        EXPECT_EQ(asked<DestinationQuestion>(panels).initial(), "old.mp4");
        EXPECT_EQ(asked<DestinationQuestion>(panels).suffix(), "mp4");
        EXPECT_EQ(panels.startFolders(), std::vector{folder.path("sub")});
    }
    asked<DestinationQuestion>(panels).cancel();
    EXPECT_EQ(answers, std::vector<std::optional<FileURL>>{std::nullopt});
}

TEST(WindowPanels, WhatAnAnswerLeadsToIsAskedBeforeWhatWaits) {
    TempFolder folder;
    folder.write("old.mp4");
    FakeMainContext context;
    WindowPanels panels(true, context);
    panels.chooseDestination(PanelContent::mp4Movie, "x.mp4", "", [](const auto&) {});
    panels.askName("New", "", "", [](const auto&) {});
    asked<DestinationQuestion>(panels).answer(url(folder, "old.mp4"));
    context.settle();
    asked<ConfirmQuestion>(panels).cancel();
    asked<DestinationQuestion>(panels).cancel();
    EXPECT_EQ(panels.question()->title(), "New");
}

TEST(WindowPanels, WhetherAChosenFileExistsIsAskedOnThePoolAndNothingElseMeanwhile) {
    TempFolder folder;
    FakeMainContext context;
    WindowPanels panels(true, context);
    std::vector<std::optional<FileURL>> answers;
    const auto answer = [&](const auto& file) { answers.push_back(file); };
    panels.chooseDestination(PanelContent::mp4Movie, "x.mp4", "", answer);
    panels.askName("New", "", "", [](const auto&) {});
    asked<DestinationQuestion>(panels).answer(url(folder, "late.mp4"));
    EXPECT_EQ(panels.question(), nullptr);
    EXPECT_EQ(context.waitingInBackground(Lane::shortWork), 1U);
    EXPECT_TRUE(answers.empty());
    folder.write("late.mp4");
    context.settle();
    EXPECT_EQ(panels.question()->title(), "“late.mp4” already exists. Do you want to replace it?");
    asked<ConfirmQuestion>(panels).confirm();
    EXPECT_THAT(answers, ElementsAre(folder.url("late.mp4")));
    EXPECT_EQ(panels.question()->title(), "New");
}

TEST(WindowPanels, AChoiceThatOutlivesThePanelsIsNotAnswered) {
    TempFolder folder;
    FakeMainContext context;
    bool answered = false;
    {
        WindowPanels panels(true, context);
        panels.chooseDestination(PanelContent::mp4Movie, "x.mp4", "", [&](const auto&) { answered = true; });
        asked<DestinationQuestion>(panels).answer(url(folder, "new.mp4"));
    }
    context.settle();
    EXPECT_FALSE(answered);
}

TEST(WindowPanels, APanelThatCanNotBeMadeIsToldAndCountsAsCancelled) {
    FakeMainContext context;
    WindowPanels panels(true, context);
    std::vector<std::string> events;
    QObject::connect(&panels, &WindowPanels::failed, &panels,
                     [&](const QString& sentence) { events.push_back(sentence.toStdString()); });
    panels.chooseFiles(PanelContent::media, "Choose",
                       [&](auto files) { events.push_back(files.empty() ? "none" : ""); });
    panels.confirm("Sure?", "", "No", "Yes", [&](bool yes) { events.push_back(yes ? "yes" : "no"); });
    panels.giveUp(*panels.question(), "a part is missing");
    panels.giveUp(*panels.question(), "a part is missing");
    EXPECT_THAT(events, ElementsAre("none", "The chooser of files can’t be shown: a part is missing.", "no",
                                    "The question “Sure?” can’t be shown: a part is missing."));
    EXPECT_EQ(panels.question(), nullptr);
}

TEST(WindowPanels, TheChooserShowsFilesThatCamerasName) {
    FakeMainContext context;
    WindowPanels panels(true, context);
    panels.chooseFiles(PanelContent::media, "Choose videos or audio files.", [](const auto&) {});
    const auto filter = asked<FilesQuestion>(panels).filters().first();
    for (const char* pattern : {"*.MOV", "*.mp4", "*.MTS", "*.wav"}) EXPECT_TRUE(filter.contains(pattern)) << pattern;
}

}  // namespace
}  // namespace kelvane::testing
