#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QPersistentModelIndex>
#include <algorithm>
#include <map>
#include <random>

#include "Support/ClipBuilder.h"
#include "Timeline/TimeLabel.h"
#include "Views/Home/ProjectListModel.h"
#include "Views/Rows/RecordListModel.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using ClipArray = RecordListModel<Clip>::Records;

ClipArray shared(std::vector<Clip> clips) { return std::make_shared<const std::vector<Clip>>(std::move(clips)); }

/// Clips with their names and lengths.
class ClipRows final : public RecordListModel<Clip> {
public:
    void setClips(ClipArray clips) { setRecords(std::move(clips)); }
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override {
        const Clip* clip = record(index.row());
        if (clip == nullptr || role < Qt::UserRole) return {};
        return QString::fromStdString(role == Qt::UserRole ? clip->name() : timeLabel(clip->duration()));
    }
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override {
        return {{Qt::UserRole, "name"}, {Qt::UserRole + 1, "length"}};
    }
};

/// A clip that shows its number as its name.
Clip numbered(int number) { return videoClip(number, "/media/" + std::to_string(number) + ".mov", 10); }

std::vector<Clip> numbered(int first, int end) {
    std::vector<Clip> clips;
    for (int number = first; number < end; ++number) clips.push_back(numbered(number));
    return clips;
}

QString shown(const QAbstractItemModel& model, int row, const QByteArray& role) {
    return model.index(row, 0).data(model.roleNames().key(role)).toString();
}

/// What a model tells, in words.
class Listener {
public:
    explicit Listener(const QAbstractItemModel& model) {
        using Model = QAbstractItemModel;
        const auto rows = [this](const char* what) {
            return [this, what](const QModelIndex&, int first, int last) { note(what, first, last); };
        };
        QObject::connect(&model, &Model::rowsInserted, &model, rows("inserted"));
        QObject::connect(&model, &Model::rowsRemoved, &model, rows("removed"));
        QObject::connect(&model, &Model::rowsMoved, &model,
                         [this](const QModelIndex&, int first, int last) { note("moved", first, last); });
        QObject::connect(
            &model, &Model::dataChanged, &model,
            [this](const QModelIndex& first, const QModelIndex& last) { note("changed", first.row(), last.row()); });
        QObject::connect(&model, &Model::modelReset, &model, [this] { told.emplace_back("reset"); });
        QObject::connect(&model, &Model::layoutChanged, &model, [this] { told.emplace_back("layout"); });
    }
    std::vector<std::string> take() { return std::exchange(told, {}); }

private:
    void note(const char* what, int first, int last) {
        told.push_back(what + (" " + std::to_string(first)) + (last == first ? "" : "-" + std::to_string(last)));
    }

    std::vector<std::string> told;
};

TEST(RecordListModel, TellsWhatChangedAmongAThousandRowsAndNoMore) {
    ClipRows model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    Listener listener(model);
    auto clips = numbered(0, 1000);
    model.setClips(shared(clips));
    EXPECT_THAT(listener.take(), ElementsAre("inserted 0-999"));
    model.setClips(shared(clips));
    EXPECT_THAT(listener.take(), IsEmpty()) << "an equal array";
    clips[500].end = 5;
    model.setClips(shared(clips));
    EXPECT_THAT(listener.take(), ElementsAre("changed 500"));
    EXPECT_EQ(shown(model, 500, "length"), "00:05.0");
    for (const int row : {1, 2, 3, 998}) clips[static_cast<std::size_t>(row)].end = 4;
    model.setClips(shared(clips));
    EXPECT_THAT(listener.take(), ElementsAre("changed 1-3", "changed 998"));
    std::rotate(clips.begin() + 10, clips.begin() + 20, clips.begin() + 23);
    clips.erase(clips.begin() + 900, clips.begin() + 910);
    clips.insert(clips.begin() + 400, numbered(2000));
    clips.back().end = 3;
    model.setClips(shared(clips));
    EXPECT_THAT(listener.take(), ElementsAre("removed 900-909", "moved 20-22", "inserted 400", "changed 990"));
    model.setClips(nullptr);
    EXPECT_THAT(listener.take(), ElementsAre("removed 0-990"));
}

TEST(RecordListModel, FollowsRandomEditsAndPersistentIndicesFollowTheirClips) {
    ClipRows model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    Listener listener(model);
    std::mt19937 random(31);
    const auto below = [&random](std::size_t end) { return end == 0 ? 0 : random() % end; };
    std::vector<Clip> clips = numbered(0, 40);
    model.setClips(shared(clips));
    int made = 40;
    for (int round = 0; round < 400; ++round) {
        std::map<UUID, QPersistentModelIndex> before;
        for (std::size_t row = 0; row < clips.size(); ++row)
            before[clips[row].id] = model.index(static_cast<int>(row), 0);
        for (std::size_t edits = 1 + below(6); edits > 0; --edits) {
            const auto place = clips.begin() + static_cast<std::ptrdiff_t>(below(clips.size() + 1));
            const auto other = clips.begin() + static_cast<std::ptrdiff_t>(below(clips.size() + 1));
            switch (below(5)) {
                case 0:
                    clips.insert(place, numbered(made++));
                    break;
                case 1:
                    if (place != clips.end()) clips.erase(place);
                    break;
                case 2:
                    if (place != clips.end()) place->volume = static_cast<double>(below(100)) / 100;
                    break;
                case 3:
                    std::rotate(std::min(place, other),
                                std::min(place, other) + (std::max(place, other) - std::min(place, other)) / 2,
                                std::max(place, other));
                    break;
                default:
                    if (round % 20 == 0) std::ranges::shuffle(clips, random);
            }
        }
        model.setClips(shared(clips));
        ASSERT_EQ(model.rowCount(), static_cast<int>(clips.size()));
        for (std::size_t row = 0; row < clips.size(); ++row) {
            ASSERT_EQ(shown(model, static_cast<int>(row), "name").toStdString(), clips[row].name()) << round;
            const auto known = before.find(clips[row].id);
            if (known == before.end()) continue;
            ASSERT_EQ(known->second.row(), static_cast<int>(row)) << round;
            before.erase(known);
        }
        for (const auto& [id, gone] : before) ASSERT_FALSE(gone.isValid()) << round;
        const auto told = listener.take();
        ASSERT_EQ(std::ranges::count(told, "reset") + std::ranges::count(told, "layout"), 0);
    }
}

TEST(ProjectListModel, AProjectThatWasSavedMovesToTheHeadAndChangesAlone) {
    ProjectListModel model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    Listener listener(model);
    std::vector<LibraryProject> projects;
    for (int number = 0; number < 1000; ++number)
        projects.push_back({.id = uuid(number),
                            .name = "Film " + std::to_string(number),
                            .modified = 5000.0 - number,
                            .duration = 1,
                            .importedFrom = {}});
    model.setProjects(projects);
    EXPECT_THAT(listener.take(), ElementsAre("inserted 0-999"));
    const QPersistentModelIndex saved = model.index(700, 0);
    const QPersistentModelIndex head = model.index(0, 0);
    std::rotate(projects.begin(), projects.begin() + 700, projects.begin() + 701);
    projects.front().modified = 6000;
    projects.front().duration = 90;
    model.setProjects(projects);
    EXPECT_THAT(listener.take(), ElementsAre("moved 700", "changed 0"));
    EXPECT_EQ(saved.row(), 0);
    EXPECT_EQ(head.row(), 1);
    EXPECT_EQ(shown(model, 0, "name"), "Film 700");
    EXPECT_EQ(shown(model, 0, "length"), "01:30.0");
    EXPECT_EQ(model.at(0), projects.front());
    EXPECT_EQ(model.at(1000), std::nullopt);
    EXPECT_EQ(model.at(-1), std::nullopt);
    projects.erase(projects.begin() + 1);
    model.setProjects(projects);
    EXPECT_THAT(listener.take(), ElementsAre("removed 1"));
    EXPECT_FALSE(head.isValid());
}

}  // namespace
}  // namespace kelvane::testing
