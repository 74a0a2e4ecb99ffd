#include "FileBrowser.h"

#include <QDir>
#include <QPointer>
#include <QStandardPaths>
#include <algorithm>
#include <utility>

namespace kelvane {

using namespace FolderListing;

int FolderModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(entries_.size());
}

QVariant FolderModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
    const Entry& entry = entries_[static_cast<std::size_t>(index.row())];
    if (role == nameRole || role == Qt::DisplayRole) return QString::fromStdString(entry.name);
    if (role == folderRole) return entry.isFolder;
    if (role == chosenRole) return chosen_.contains(index.row());
    return {};
}

QHash<int, QByteArray> FolderModel::roleNames() const {
    return {{nameRole, "name"}, {folderRole, "isFolder"}, {chosenRole, "chosen"}};
}

void FolderModel::show(std::vector<Entry> entries) {
    if (entries == entries_) return choose({});
    // Another folder has nothing of the one before.
    if (!entries_.empty()) {
        beginRemoveRows({}, 0, rowCount() - 1);
        entries_.clear();
        chosen_.clear();
        endRemoveRows();
    }
    if (entries.empty()) return;
    beginInsertRows({}, 0, static_cast<int>(entries.size()) - 1);
    entries_ = std::move(entries);
    endInsertRows();
}

void FolderModel::choose(std::set<int> rows) {
    if (rows == chosen_) return;
    chosen_ = std::move(rows);
    if (!entries_.empty()) Q_EMIT dataChanged(index(0), index(rowCount() - 1), {chosenRole});
}

FileBrowser::FileBrowser(MainContext& context, ChooserRequest request, QString suffix, std::vector<std::string> folders)
    : context_(context), request_(std::move(request)), suffix_(std::move(suffix)), places_(usualPlaces()) {
    text_ = request_.proposedName;
    for (const Place& place : places_) folders.push_back(place.path);
    show(std::move(folders));
}

std::vector<FileBrowser::Place> FileBrowser::usualPlaces() {
    std::vector<Place> places;
    const auto add = [&places](const QString& name, const QString& path) {
        const std::string text = QFile::encodeName(path).toStdString();
        const bool isKnown = std::ranges::find(places, text, &Place::path) != places.end();
        if (!path.isEmpty() && !isKnown) places.push_back({name, text});
    };
    const auto standard = [&](QStandardPaths::StandardLocation location) {
        const QString path = QStandardPaths::writableLocation(location);
        // Where the desktop has no such folder, it answers the home.
        if (path != QDir::homePath()) add(QDir(path).dirName(), path);
    };
    standard(QStandardPaths::MoviesLocation);
    add(tr("Home"), QDir::homePath());
    standard(QStandardPaths::DesktopLocation);
    standard(QStandardPaths::DocumentsLocation);
    standard(QStandardPaths::DownloadLocation);
    standard(QStandardPaths::MusicLocation);
    add(tr("File System"), QStringLiteral("/"));
    return places;
}

QStringList FileBrowser::filters() const {
    QStringList names;
    for (const auto& filter : request_.filters) names << filter.name;
    return names;
}

QStringList FileBrowser::places() const {
    QStringList names;
    for (const Place& place : places_) names << place.name;
    return names;
}

void FileBrowser::setFilter(int filter) {
    if (filter == filter_ || filter < 0 || filter >= static_cast<int>(request_.filters.size())) return;
    filter_ = filter;
    Q_EMIT filterChanged();
    show({folder_});
}

void FileBrowser::setText(const QString& text) {
    if (text == text_) return;
    rows_.choose({});
    anchor_ = -1;
    writeText(text);
}

void FileBrowser::writeText(const QString& text) {
    setProblem({});
    if (std::exchange(text_, text) != text) Q_EMIT textChanged();
}

void FileBrowser::setProblem(const QString& problem) {
    if (std::exchange(problem_, problem) != problem) Q_EMIT problemChanged();
}

void FileBrowser::show(std::vector<std::string> folders) {
    QStringList patterns{QStringLiteral("*")};
    if (!request_.filters.empty()) patterns = request_.filters[static_cast<std::size_t>(filter_)].patterns;
    auto work = [this, self = QPointer(this), context = &context_, question = ++listings_, folders = std::move(folders),
                 patterns = std::move(patterns)] {
        auto listing = list(folders, patterns);
        context->post([this, self, question, listing = std::move(listing)] {
            if (!self.isNull() && question == listings_) take(listing);
        });
    };
    context_.runInBackground(std::move(work), Lane::shortWork);
}

void FileBrowser::take(Listing listing) {
    setProblem(QString::fromStdString(listing.problem));
    // One that can't be read is not entered, unless there is none at all.
    if (!listing.problem.empty() && !folder_.empty()) return;
    anchor_ = -1;
    rows_.show(std::move(listing.entries));
    if (std::exchange(folder_, listing.folder) != listing.folder) Q_EMIT folderChanged();
    if (std::exchange(acceptsLater_, false)) accept();
}

void FileBrowser::accept() {
    acceptsLater_ = folder_.empty();
    if (acceptsLater_) return;
    auto paths = typedPaths(text_.toStdString(), folder_, QFile::encodeName(QDir::homePath()).toStdString());
    // Names that no text can hold are those of the rows.
    if (!rows_.chosen().empty()) {
        paths.clear();
        for (const int row : rows_.chosen())
            paths.push_back(standardizedPath(folder_ + "/" + rows_.entries()[static_cast<std::size_t>(row)].name));
    }
    auto work = [this, self = QPointer(this), context = &context_, question = ++choices_, paths = std::move(paths),
                 saves = request_.saves, suffix = suffix_.toStdString()] {
        auto choice = saves ? choiceOfPlace(paths, suffix) : choiceOfFiles(paths);
        context->post([this, self, question, choice = std::move(choice)] {
            if (!self.isNull() && question == choices_) follow(choice);
        });
    };
    context_.runInBackground(std::move(work), Lane::shortWork);
}

void FileBrowser::follow(const Choice& choice) {
    if (choice.kind == Choice::Kind::refused) return setProblem(QString::fromStdString(choice.problem));
    if (choice.kind == Choice::Kind::folder) {
        rows_.choose({});
        writeText(request_.proposedName);
        return show(choice.paths);
    }
    QList<QUrl> files;
    for (const std::string& path : choice.paths)
        files.append(QUrl::fromEncoded(QByteArray::fromStdString(FileURL::fromPath(path).absoluteString())));
    Q_EMIT accepted(files);
}

void FileBrowser::showParent() { show({FileURL::fromPath(folder_).parentFolder().path()}); }

void FileBrowser::showPlace(int place) {
    if (place >= 0 && place < static_cast<int>(places_.size())) show({places_[static_cast<std::size_t>(place)].path});
}

void FileBrowser::choose(int row, bool adding, bool upTo) {
    if (row < 0 || row >= rows_.rowCount()) return;
    std::set<int> chosen{row};
    if (!saves() && upTo && anchor_ >= 0)
        for (int other = std::min(row, anchor_); other <= std::max(row, anchor_); ++other) chosen.insert(other);
    else
        anchor_ = row;
    if (!saves() && adding) {
        const bool isChosen = rows_.chosen().contains(row);
        chosen.insert(rows_.chosen().begin(), rows_.chosen().end());
        if (isChosen) chosen.erase(row);
    }
    std::vector<std::string> names;
    for (const int each : chosen) names.push_back(rows_.entries()[static_cast<std::size_t>(each)].name);
    const bool isFolder = rows_.entries()[static_cast<std::size_t>(row)].isFolder;
    rows_.choose(std::move(chosen));
    // The name of a file that is to be written stays while folders are looked at.
    if (saves() && isFolder) {
        rows_.choose({});
        return;
    }
    writeText(QString::fromStdString(textOf(names)));
}

void FileBrowser::open(int row) {
    if (row < 0 || row >= rows_.rowCount()) return;
    const Entry& entry = rows_.entries()[static_cast<std::size_t>(row)];
    if (entry.isFolder) return show({standardizedPath(folder_ + "/" + entry.name)});
    if (!rows_.chosen().contains(row)) choose(row, false, false);
    accept();
}

}  // namespace kelvane
