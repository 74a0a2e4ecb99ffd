#include "ProjectListModel.h"

#include <QDateTime>
#include <QLocale>

#include "Timeline/TimeLabel.h"
#include "Views/Naming/InlineProjectNameView.h"

namespace kelvane {

namespace {

enum Role { idRole = Qt::UserRole + 1, nameRole, modifiedRole, lengthRole, stampRole };

/// What a search compares: small letters of the locale, then folded, in the one form of each letter.
QString searchKey(const QString& text) {
    return QLocale().toLower(text.normalized(QString::NormalizationForm_C)).toCaseFolded();
}

}  // namespace

QString editDate(double modified) {
    const QLocale locale;
    const auto date = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(modified + referenceDate));
    const QString order = locale.dateFormat(QLocale::ShortFormat);
    // The one without a country has a form that nobody reads.
    const bool dayFirst = locale.language() != QLocale::C && order.indexOf(u'd') < order.indexOf(u'M');
    QString time = locale.timeFormat(QLocale::ShortFormat);
    time.remove(QStringLiteral(":ss"));
    return locale.toString(date.date(), dayFirst ? QStringLiteral("d MMM") : QStringLiteral("MMM d")) + ", " +
           locale.toString(date.time(), time);
}

bool nameContains(const QString& name, const QString& text) { return searchKey(name).contains(searchKey(text)); }

void ProjectListModel::setProjects(std::vector<LibraryProject> projects) {
    setRecords(std::make_shared<const std::vector<LibraryProject>>(std::move(projects)));
}

std::optional<LibraryProject> ProjectListModel::at(int row) const {
    const LibraryProject* project = record(row);
    return project == nullptr ? std::nullopt : std::optional(*project);
}

int ProjectListModel::rowOf(const UUID& id) const {
    for (int row = 0; row < rowCount(); ++row)
        if (record(row)->id == id) return row;
    return -1;
}

QVariant ProjectListModel::data(const QModelIndex& index, int role) const {
    const LibraryProject* project = record(index.row());
    if (project == nullptr) return {};
    switch (role) {
        case idRole:
            return QString::fromStdString(project->id.upper());
        case nameRole:
            return onOneLine(project->name);
        case modifiedRole:
            return editDate(project->modified);
        case lengthRole:
            return QString::fromStdString(timeLabel(project->duration));
        case stampRole:
            return project->modified;
        default:
            return {};
    }
}

QHash<int, QByteArray> ProjectListModel::roleNames() const {
    return {{idRole, "projectID"},
            {nameRole, "name"},
            {modifiedRole, "modified"},
            {lengthRole, "length"},
            {stampRole, "stamp"}};
}

}  // namespace kelvane
