#pragma once

#include <QObject>
#include <QString>
#include <memory>
#include <optional>

#include "ProjectListModel.h"
#include "Views/Naming/ProjectNameEditor.h"
#include "Windows/ProjectWindows.h"

namespace kelvane {

/// What one window shows of the library and what a person can do there; draws nothing. Projects are named by their id
/// in text, so that a row that moves meanwhile is no other project. The main thread.
class ProjectsHomeView final : public QObject {
    Q_OBJECT
    /// Those whose name contains `search`, newest first.
    Q_PROPERTY(QAbstractItemModel* projects READ projects CONSTANT)
    Q_PROPERTY(QString search READ search WRITE setSearch NOTIFY searchChanged)
    /// How many projects are shown: "7 projects · Recently edited first"; empty until the library has been read once.
    Q_PROPERTY(QString countText READ countText NOTIFY shownChanged)
    /// Whether the library holds nothing. False until it has been read once.
    Q_PROPERTY(bool empty READ empty NOTIFY shownChanged)
    /// Whether there are projects, and none with a name that contains `search`.
    Q_PROPERTY(bool nothingFound READ nothingFound NOTIFY shownChanged)
    /// The card whose name is being edited; empty without one.
    Q_PROPERTY(QString renamingProjectID READ renamingProjectID NOTIFY renamingChanged)
    /// That edit; null without one.
    Q_PROPERTY(kelvane::ProjectNameEditor* nameEditor READ nameEditor NOTIFY renamingChanged)

public:
    /// `windows` outlives this object.
    ProjectsHomeView(ProjectWindows& windows, std::shared_ptr<Workspace> workspace);

    [[nodiscard]] ProjectListModel* projects() { return &projects_; }
    [[nodiscard]] ProjectWindows& windows() const { return windows_; }
    [[nodiscard]] const QString& search() const { return search_; }
    void setSearch(const QString& search);
    [[nodiscard]] QString countText() const;
    [[nodiscard]] bool empty() const;
    [[nodiscard]] bool nothingFound() const;
    [[nodiscard]] QString renamingProjectID() const;
    [[nodiscard]] ProjectNameEditor* nameEditor() const { return nameEditor_.get(); }

    // What a card's menu does; without such a project nothing.
    Q_INVOKABLE void open(const QString& id);
    Q_INVOKABLE void openInNewWindow(const QString& id);
    Q_INVOKABLE void rename(const QString& id);
    Q_INVOKABLE void duplicate(const QString& id);
    Q_INVOKABLE void remove(const QString& id);
    Q_INVOKABLE void newProject();
    Q_INVOKABLE void chooseProject();
    /// Draws a project to try the program on, and opens it here.
    Q_INVOKABLE void makeSampleProject();

Q_SIGNALS:
    void searchChanged();
    void shownChanged();
    void renamingChanged();
    /// A project was left for the home, or the edit of its name has ended: the card that the focus belongs on. `byKey`
    /// is false where a click ended the edit, which may take the focus further itself.
    void focusWanted(int row, bool byKey);

private:
    void refresh();
    void followWorkspace();
    void finishRenaming(NameExit exit);
    void closeNameEditor();
    [[nodiscard]] std::optional<LibraryProject> project(const QString& id) const;

    ProjectWindows& windows_;
    std::shared_ptr<Workspace> workspace_;
    ProjectListModel projects_;
    QString search_;
    /// The project that the window shows or showed last.
    std::optional<UUID> shown_;
    std::optional<UUID> renaming_;
    /// How many edits of names there have been.
    int edits_ = 0;
    /// Ends itself later in the turn, as it may be amid its own work.
    struct Later {
        void operator()(QObject* object) const { object->deleteLater(); }
    };
    std::unique_ptr<ProjectNameEditor, Later> nameEditor_;
};

}  // namespace kelvane
