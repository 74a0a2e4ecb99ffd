#pragma once

#include <QAbstractListModel>
#include <QObject>
#include <QStringList>
#include <QUrl>
#include <set>
#include <string>
#include <vector>

#include "FolderListing.h"
#include "Platform/MainContext.h"
#include "Platform/PortalChooser.h"

namespace kelvane {

/// The rows of the folder that a chooser shows. The main thread.
class FolderModel final : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { nameRole = Qt::UserRole + 1, folderRole, chosenRole };

    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    void show(std::vector<FolderListing::Entry> entries);
    void choose(std::set<int> rows);
    [[nodiscard]] const std::vector<FolderListing::Entry>& entries() const { return entries_; }
    [[nodiscard]] const std::set<int>& chosen() const { return chosen_; }

private:
    std::vector<FolderListing::Entry> entries_;
    std::set<int> chosen_;
};

/// Our own chooser of files, which draws nothing: a folder's rows, a text in which names and paths can be typed, and
/// what they lead to. The disk is asked in the background; of two questions the later one counts. The main thread.
class FileBrowser final : public QObject {
    Q_OBJECT
    /// Path of the folder that is shown.
    Q_PROPERTY(QString folder READ folder NOTIFY folderChanged)
    Q_PROPERTY(QAbstractItemModel* rows READ rows CONSTANT)
    /// What stands in the field "File name".
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
    Q_PROPERTY(bool canAccept READ canAccept NOTIFY textChanged)
    /// Why the last choice, or the folder, can't be taken; empty where it can.
    Q_PROPERTY(QString problem READ problem NOTIFY problemChanged)
    Q_PROPERTY(bool saves READ saves CONSTANT)
    Q_PROPERTY(QStringList filters READ filters CONSTANT)
    Q_PROPERTY(int filter READ filter WRITE setFilter NOTIFY filterChanged)
    /// Names of the places where people keep files.
    Q_PROPERTY(QStringList places READ places CONSTANT)

public:
    /// Shows the first of `folders` that can be read. `suffix` is of files that are written. `context` outlives this.
    FileBrowser(MainContext& context, ChooserRequest request, QString suffix, std::vector<std::string> folders);

    [[nodiscard]] QString folder() const { return QString::fromStdString(folder_); }
    [[nodiscard]] FolderModel* rows() { return &rows_; }
    [[nodiscard]] const QString& text() const { return text_; }
    void setText(const QString& text);
    [[nodiscard]] bool canAccept() const { return !text_.trimmed().isEmpty(); }
    [[nodiscard]] const QString& problem() const { return problem_; }
    [[nodiscard]] bool saves() const { return request_.saves; }
    [[nodiscard]] QStringList filters() const;
    [[nodiscard]] int filter() const { return filter_; }
    void setFilter(int filter);
    [[nodiscard]] QStringList places() const;

    /// Takes what is typed: files, or a folder, which is shown then.
    Q_INVOKABLE void accept();
    Q_INVOKABLE void showParent();
    Q_INVOKABLE void showPlace(int place);
    /// A row is pressed. `adding` adds it to those that are chosen or takes it out, where several can be; `upTo` takes
    /// those from the one before as well.
    Q_INVOKABLE void choose(int row, bool adding, bool upTo);
    /// A row is pressed twice, or by Return: a folder is shown, a file taken.
    Q_INVOKABLE void open(int row);

Q_SIGNALS:
    void folderChanged();
    void textChanged();
    void problemChanged();
    void filterChanged();
    /// The person has chosen.
    void accepted(const QList<QUrl>& files);

private:
    struct Place {
        QString name;
        std::string path;
    };
    void show(std::vector<std::string> folders);
    void take(FolderListing::Listing listing);
    void follow(const FolderListing::Choice& choice);
    void writeText(const QString& text);
    void setProblem(const QString& problem);
    static std::vector<Place> usualPlaces();

    MainContext& context_;
    ChooserRequest request_;
    QString suffix_;
    std::vector<Place> places_;
    std::string folder_;
    FolderModel rows_;
    QString text_;
    QString problem_;
    int filter_ = 0;
    /// The row that was chosen last, from which others are.
    int anchor_ = -1;
    /// The last questions to the disk: for a folder's rows, and what is typed leads to.
    std::uint64_t listings_ = 0;
    std::uint64_t choices_ = 0;
    /// Something was taken before the first folder was known.
    bool acceptsLater_ = false;
};

}  // namespace kelvane
