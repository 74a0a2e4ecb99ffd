#include <QDateTime>
#include <QTest>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <stop_token>

#include "Stage.h"
#include "Storage/ProjectFile.h"
#include "Timeline/TimelineLayout.h"
#include "Views/Home/ProjectGrid.h"

namespace kelvane::testing {

namespace fs = std::filesystem;

namespace {

/// A project of the library, and when it was edited last.
struct Card {
    const char* name;
    const char* footage;
    /// The end of its one clip, seconds.
    double end;
    QDate day;
    QTime time;
};

const std::vector<Card>& cards() {
    static const std::vector<Card> all{
        {"Late light, slow water", "Coast.mp4", 11, {2026, 11, 21}, {20, 12}},
        {"Harbour after dark", "Harbour.mp4", 9.4, {2026, 11, 20}, {23, 41}},
        {"First ascent", "Balloons.mp4", 7.3, {2026, 11, 18}, {9, 5}},
        {"Coffee at seven", "Meadow.mp4", 10.9, {2026, 11, 16}, {7, 32}},
        {"Forest walk, second take with the red coat", "Coast.mp4", 2.6, {2026, 11, 11}, {16, 20}},
        {"Aurora week", "Harbour.mp4", 4, {2026, 11, 3}, {22, 57}},
        {"Road trip", "Balloons.mp4", 12, {2026, 10, 29}, {18, 14}},
    };
    return all;
}

/// As the library counts, from the beginning of 2001 on.
double modified(const Card& card) {
    const QDateTime beginning({2001, 1, 1}, {0, 0}, Qt::UTC);
    return static_cast<double>(beginning.secsTo(QDateTime(card.day, card.time)));
}

}  // namespace

void Stage::keep(const std::string& name, const char* footage, double end, double modified) {
    Project project;
    project.clips = {video(footage, 0, end)};
    project.assets = std::vector<Clip>{video(footage, 0, 12)};
    auto& library = windows_.library();
    auto row = library.newRow(name, TimelineLayout::duration(project.clips), std::nullopt);
    if (!row) stop(row.error().message);
    row->modified = modified;
    if (const auto created = library.store().create(*row, project); !created) stop(created.error().message);
    fs::copy_file((footage_ / footage).replace_extension(".jpg"), library.store().thumbnailURL(row->id).path());
    library.adopt(*row);
}

void Stage::showHome() {
    goHome();
    if (!windows_.library().projects().empty()) return;
    for (const Card& card : cards()) keep(card.name, card.footage, card.end, modified(card));
}

void Stage::showHomeEmpty() {
    // The library is empty before anything is opened: this state comes first.
    goHome();
}

QPoint Stage::onCard(int row, QPointF place) const {
    const auto& grid = static_cast<const ProjectGrid&>(item("projectGrid"));
    return grid.mapToScene(grid.frame(row).topLeft() + place).toPoint();
}

void Stage::showHomeMenu() {
    showHome();
    settle();
    const auto& grid = static_cast<const ProjectGrid&>(item("projectGrid"));
    const QPoint dots = onCard(1, {grid.cardWidth() - 21, 23});
    QTest::mouseMove(window_.get(), dots);
    QTest::mouseClick(window_.get(), Qt::LeftButton, {}, dots);
    leaving_.emplace_back([this] { press(Qt::Key_Escape); });
    settle();
    QTest::mouseMove(window_.get(), middleOf(shown("text", "Open in New Window")));
}

void Stage::showHomeRename() {
    showHome();
    settle();
    view_->home()->rename(
        view_->home()->projects()->data(view_->home()->projects()->index(4), Qt::UserRole + 1).toString());
    leaving_.emplace_back([this] { press(Qt::Key_Escape); });
}

void Stage::showHomeNothing() {
    showHome();
    view_->home()->setSearch("snow");
    leaving_.emplace_back([this] { view_->home()->setSearch(""); });
}

void Stage::showHomeFocus() {
    showHome();
    settle();
    static_cast<ProjectGrid&>(item("projectGrid")).focusCard(1, true);
}

void Stage::showHomeMany() {
    showHome();
    if (windows_.library().projects().size() > cards().size()) return;
    for (int i = 0; i < 60; ++i) {
        Card card = cards()[static_cast<std::size_t>(i) % cards().size()];
        card.day = card.day.addDays(-40 - 2 * i);
        keep(card.name, card.footage, 1 + i % 11, modified(card));
    }
}

void Stage::showWorking() {
    // The first of its films is half drawn for as long as the picture takes.
    windows_.writeDrawnMovie = [](const FileURL&, const DrawnMovie& movie, std::stop_token stop) -> Result<void> {
        if (movie.progress) movie.progress(movie.pictureCount / 2);
        std::mutex mutex;
        std::unique_lock lock(mutex);
        std::condition_variable_any().wait(lock, stop, [] { return false; });
        return fail(Error::cancelled());
    };
    view_->home()->makeSampleProject();
    leaving_.emplace_back([this] {
        view_->cancelCopying();
        runUntil([this] { return windows_.work().empty(); });
    });
    // What takes no time shows nothing.
    runUntil([this] { return view_->copyingProgress() > 0 && !view_->copying().isEmpty(); });
}

void Stage::showDeleting() {
    showHome();
    settle();
    // As long as its files take: the picture is taken at once.
    keep("Road trip, first cut", "Coast.mp4", 3, modified(cards().front()) + 1);
    const auto id = windows_.library().projects().front().id;
    const fs::path folder = fs::path(windows_.library().projectURL(id).path()).parent_path() / "Media";
    fs::create_directories(folder);
    for (int i = 0; i < 40'000; ++i) std::ofstream(folder / std::to_string(i)) << i;
    panels_.confirmations.push_back(true);
    windows_.remove(id);
    leaving_.emplace_back([this] { runUntil([this] { return windows_.work().empty(); }); });
    runUntil(
        [this] { return (view_->copyingProgress() > 0.3 && !view_->copying().isEmpty()) || windows_.work().empty(); });
}

}  // namespace kelvane::testing
