#include <gmock/gmock.h>

#include <QLocale>
#include <QSignalSpy>

#include "Support/App/WindowsFixture.h"
#include "Views/Home/ProjectsHomeView.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ProjectsHomeViewTests : public WindowsFixture {
protected:
    [[nodiscard]] std::vector<std::string> names() {
        std::vector<std::string> found;
        for (int row = 0; row < home.projects()->rowCount(); ++row) found.push_back(home.projects()->at(row)->name);
        return found;
    }
    [[nodiscard]] QString text(int row, const char* role) {
        auto* rows = home.projects();
        return rows->data(rows->index(row), rows->roleNames().key(role)).toString();
    }
    static QString id(const LibraryProject& row) { return QString::fromStdString(row.id.upper()); }

    std::shared_ptr<Workspace> workspace = show(first);
    ProjectsHomeView home{*windows, workspace};
};

TEST_F(ProjectsHomeViewTests, TheCountKnowsOneFromMany) {
    EXPECT_EQ(home.countText(), "0 projects · Recently edited first");
    project("A");
    EXPECT_EQ(home.countText(), "1 project · Recently edited first");
    project("B");
    EXPECT_EQ(home.countText(), "2 projects · Recently edited first");
    home.setSearch("a");
    EXPECT_EQ(home.countText(), "1 project · Recently edited first");
}

TEST_F(ProjectsHomeViewTests, ProjectsStandInTheLibrarysOrder) {
    project("First");
    project("Second");
    project("Third");
    EXPECT_THAT(names(), ElementsAre("Third", "Second", "First"));
}

TEST_F(ProjectsHomeViewTests, ASearchFindsPartsOfNamesWhateverTheirCase) {
    struct Row {
        const char* name;
        const char* search;
        bool isFound;
    };
    const Row rows[] = {
        {"Road trip", "ROAD", true},        {"Road trip", "d tr", true},  {"Road trip", "", true},
        {"Road trip", "coast", false},      {"Ärger", "ÄRGER", true},     {"Ärger", "arger", false},
        {"Cafe\u0301", "caf\u00c9", true},  {"ΣΊΣΥΦΟΣ", "σίσυφος", true}, {"مشروع", "شرو", true},
        {"Road trip", "road  trip", false},
    };
    for (const Row& row : rows)
        EXPECT_EQ(nameContains(QString::fromUtf8(row.name), QString::fromUtf8(row.search)), row.isFound)
            << row.name << " / " << row.search;
}

TEST_F(ProjectsHomeViewTests, ASearchWithoutAMatchIsNoEmptyLibrary) {
    project("Road trip");
    home.setSearch("ROAD");
    EXPECT_THAT(names(), ElementsAre("Road trip"));
    home.setSearch("coast");
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_TRUE(home.nothingFound());
    EXPECT_FALSE(home.empty());
    home.setSearch("");
    EXPECT_FALSE(home.nothingFound());
    EXPECT_THAT(names(), ElementsAre("Road trip"));
}

TEST_F(ProjectsHomeViewTests, ALibraryThatWasNotReadYetIsNotCalledEmpty) {
    windows = std::make_unique<ProjectWindows>(EditorServices{.context = &context, .media = &media, .panels = &panels},
                                               folder.url("Projects"));
    ProjectsHomeView fresh(*windows, windows->workspace(std::nullopt));
    EXPECT_FALSE(fresh.empty());
    EXPECT_EQ(fresh.countText(), "") << "nothing is counted yet either";
    context.settle();
    EXPECT_TRUE(fresh.empty());
    EXPECT_EQ(fresh.countText(), "0 projects · Recently edited first");
}

TEST_F(ProjectsHomeViewTests, RowsAreNeverResetAndFollowTheirProjects) {
    const auto a = project("A");
    project("B");
    QSignalSpy resets(home.projects(), &QAbstractItemModel::modelReset);
    QSignalSpy moves(home.projects(), &QAbstractItemModel::rowsMoved);
    const QPersistentModelIndex first = home.projects()->index(1);
    finish(context, windows->storeCardPicture(a.id, "picture"));
    EXPECT_EQ(first.row(), 0) << "an update makes it the newest";
    home.setSearch("b");
    home.setSearch("");
    EXPECT_EQ(moves.count(), 1);
    EXPECT_EQ(resets.count(), 0);
}

TEST_F(ProjectsHomeViewTests, ACardTellsLengthAndDate) {
    const auto row = projectWithClip("A");
    EXPECT_EQ(text(0, "name"), "A");
    EXPECT_EQ(text(0, "length"), "00:10.0");
    EXPECT_EQ(text(0, "modified"), editDate(row.modified));
    QLocale::setDefault(QLocale::c());
    const auto date = QDateTime(QDate(2026, 11, 21), QTime(20, 12, 45));
    const double modified = static_cast<double>(date.toSecsSinceEpoch()) - referenceDate;
    EXPECT_EQ(editDate(modified), "Nov 21, 20:12");
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_TRUE(editDate(modified).startsWith("Nov 21, 8:12")) << editDate(modified).toStdString();
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(editDate(modified), "21 Nov., 20:12");
    QLocale::setDefault(QLocale::system());
}

TEST_F(ProjectsHomeViewTests, OpeningReplacesThisWindowsHome) {
    const auto row = project("A");
    home.open(id(row));
    context.settle();
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "A");
    EXPECT_THAT(asked, IsEmpty()) << "no other window";
}

TEST_F(ProjectsHomeViewTests, OpeningInANewWindowLeavesThisOneAtHome) {
    const auto row = project("A");
    home.openInNewWindow(id(row));
    context.settle();
    EXPECT_FALSE(workspace->editor());
    EXPECT_EQ(asked.size(), 1U);
}

TEST_F(ProjectsHomeViewTests, TheMenusOtherActsReachTheProject) {
    const auto row = project("A");
    home.duplicate(id(row));
    context.settle();
    EXPECT_THAT(names(), ElementsAre("A Copy", "A"));
    panels.confirmations = {true};
    home.remove(id(row));
    context.settle();
    EXPECT_THAT(names(), ElementsAre("A Copy"));
    EXPECT_EQ(panels.askedConfirmations.front().message, "Delete “A”?");
    // Of a project that is gone, nothing.
    for (const QString& gone : {id(row), QString("no id"), QString()}) {
        home.open(gone);
        home.openInNewWindow(gone);
        home.rename(gone);
        home.duplicate(gone);
        home.remove(gone);
    }
    context.settle();
    EXPECT_EQ(home.nameEditor(), nullptr);
    EXPECT_EQ(panels.askedConfirmations.size(), 1U);
}

TEST_F(ProjectsHomeViewTests, ANewOrImportedProjectComesToThisWindow) {
    panels.names = {"Coast"};
    home.newProject();
    context.settle();
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "Coast");
    ASSERT_TRUE(ProjectFile::write(Project{}, folder.url("Chosen.kelvane")));
    panels.files.push_back({folder.url("Chosen.kelvane")});
    home.chooseProject();
    context.settle();
    EXPECT_EQ(workspace->editor()->title(), "Chosen");
}

TEST_F(ProjectsHomeViewTests, ANameIsEditedOnItsCard) {
    const auto row = project("A");
    QSignalSpy wanted(&home, &ProjectsHomeView::focusWanted);
    home.rename(id(row));
    EXPECT_EQ(home.renamingProjectID(), id(row));
    home.nameEditor()->setDraft("  B ");
    EXPECT_TRUE(finish(context, home.nameEditor()->commit(NameExit::key)));
    EXPECT_EQ(home.renamingProjectID(), "");
    EXPECT_THAT(names(), ElementsAre("B"));
    EXPECT_EQ(wanted.count(), 1) << "the card has the focus then";
}

TEST_F(ProjectsHomeViewTests, AnotherCardsEditEndsTheFirst) {
    const auto a = project("A");
    const auto b = project("B");
    home.rename(id(a));
    home.nameEditor()->setDraft("A2");
    home.rename(id(b));
    context.settle();
    EXPECT_EQ(home.renamingProjectID(), id(b));
    EXPECT_THAT(names(), ElementsAre("B", "A2"));
}

TEST_F(ProjectsHomeViewTests, AProjectThatAnotherProcessDeletedLosesItsCardAndItsField) {
    const auto row = project("A");
    home.rename(id(row));
    std::filesystem::remove_all(windows->library().store().folder(row.id).path());
    finish(context, windows->reload());
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_EQ(home.nameEditor(), nullptr);
    EXPECT_TRUE(home.empty());
}

TEST_F(ProjectsHomeViewTests, OpeningABrokenProjectSaysWhyAndKeepsTheCard) {
    const auto row = project("A");
    folder.write("Projects/" + row.id.upper() + "/Project.kelvane", "{");
    home.open(id(row));
    context.settle();
    EXPECT_FALSE(workspace->editor());
    EXPECT_TRUE(windows->error());
    EXPECT_THAT(names(), ElementsAre("A"));
}

TEST_F(ProjectsHomeViewTests, OpeningAProjectThatIsGoneSaysWhy) {
    const auto row = project("A");
    std::filesystem::remove_all(windows->library().store().folder(row.id).path());
    home.open(id(row));
    context.settle();
    EXPECT_FALSE(workspace->editor());
    EXPECT_TRUE(windows->error());
}

TEST_F(ProjectsHomeViewTests, BackFromAProjectItsCardIsWanted) {
    project("A");
    const auto b = project("B");
    project("C");
    open(b, workspace, false);
    QSignalSpy wanted(&home, &ProjectsHomeView::focusWanted);
    showHome(workspace);
    ASSERT_EQ(wanted.count(), 1);
    EXPECT_EQ(wanted.front().front().toInt(), 1);
}

TEST_F(ProjectsHomeViewTests, AStoredPictureIsAnUpdateOfTheProject) {
    const auto a = projectWithClip("A");
    project("B");
    finish(context, windows->storeCardPicture(a.id, "picture"));
    const auto row = *windows->library().find(a.id);
    EXPECT_GT(row.modified, a.modified);
    EXPECT_EQ(row.duration, a.duration);
    EXPECT_EQ(folder.read("Projects/" + a.id.upper() + "/Thumbnail.jpg"), "picture");
    EXPECT_THAT(names(), ElementsAre("A", "B"));
    // A row that can't be written keeps the picture as it was, and nothing is told.
    const auto metadata = folder.path("Projects/" + a.id.upper() + "/Metadata.json");
    std::filesystem::remove(metadata);
    std::filesystem::create_directories(metadata + "/in the way");
    finish(context, windows->storeCardPicture(a.id, "another"));
    EXPECT_EQ(folder.read("Projects/" + a.id.upper() + "/Thumbnail.jpg"), "picture");
    EXPECT_EQ(windows->library().find(a.id), row);
    EXPECT_FALSE(windows->error());
    // One of a project that is not there is nothing.
    finish(context, windows->storeCardPicture(UUID::random(), "none"));
}

}  // namespace
}  // namespace kelvane::testing
