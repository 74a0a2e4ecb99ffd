#pragma once

#include <QCoroTask>
#include <QObject>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "HistoryEntry.h"
#include "Media/ExportSettings.h"
#include "Media/MediaEngine.h"
#include "Platform/MainContext.h"
#include "Platform/Panels.h"
#include "Platform/Player.h"
#include "Storage/ProjectMedia.h"
#include "Support/UnfinishedWork.h"
#include "Thumbnails.h"
#include "Timeline/Project.h"
#include "Timeline/TimelinePlacement.h"

namespace kelvane {

class AIAssistantSession;

/// Keyboard modifiers that a click's selection looks at.
struct SelectionModifiers {
    bool shift = false;
    bool command = false;
};

/// What an editor needs of its surroundings. All outlive it.
struct EditorServices {
    MainContext* context = nullptr;
    MediaPlatform* media = nullptr;
    Panels* panels = nullptr;
    std::function<std::unique_ptr<Player>()> makePlayer;
    /// Where copies and exports are recorded while they are made; without it a sudden end leaves them.
    UnfinishedWork* unfinished = nullptr;
};

/// The live state of one open project: arrays, selection, preview, running work and history. All changes of the
/// timeline, from a drag in a view or from the command interface, go through the operations here, so that history,
/// dirty tracking and selection repair happen once. Edits that can't be carried out do nothing. The main thread only.
class Editor final : public QObject, public std::enable_shared_from_this<Editor> {
    Q_OBJECT

public:
    static std::shared_ptr<Editor> create(const UUID& id, const std::optional<FileURL>& mediaDirectory,
                                          EditorServices services);
    ~Editor() override;

    // Identity and links.
    [[nodiscard]] const UUID& id() const { return id_; }
    /// Media folder of a library project, standardised with links resolved.
    [[nodiscard]] const std::optional<FileURL>& mediaDirectory() const { return mediaDirectory_; }
    [[nodiscard]] AIAssistantSession& ai() { return *ai_; }
    /// Asked before any save to a chosen file.
    std::function<bool(const FileURL&)> canSaveToURL;
    /// Called whenever the project has become dirty.
    std::function<void()> onProjectChange;
    /// Renames the library project.
    std::function<Result<void>(const std::string&)> onRenameProject;
    [[nodiscard]] const std::optional<std::string>& libraryName() const { return libraryName_; }
    void setLibraryName(std::optional<std::string> name);
    [[nodiscard]] bool saveFailed() const { return saveFailed_; }
    void setSaveFailed(bool failed);
    [[nodiscard]] const std::optional<FileURL>& projectURL() const { return projectURL_; }
    [[nodiscard]] bool isDirty() const { return isDirty_; }
    /// Calls `onProjectChange` when `dirty` is true, whether or not it was before.
    void setDirty(bool dirty);

    /// Whether a window shows the project; it counts as shown when it is made.
    [[nodiscard]] bool isShown() const { return isShown_; }
    /// Told by the owner when a window begins or ceases to show the project. One that none shows keeps its content, its
    /// history and its place of play, and has neither a player nor pictures: what builds or loads them ends, and
    /// nothing begins to. When it is shown again both are made anew, as after a load. Harmless when it is so already.
    void setShown(bool shown);

    // The timeline's view state.
    double timelineZoom = 1;
    double timelineScrollOffset = 0;
    [[nodiscard]] bool showInspector() const { return showInspector_; }
    void setShowInspector(bool show);

    // Content and selection.
    [[nodiscard]] const std::vector<Clip>& clips() const { return *clips_; }
    [[nodiscard]] const std::vector<Clip>& assets() const { return *assets_; }
    [[nodiscard]] const ClipArray& clipArray() const { return clips_; }
    [[nodiscard]] const ClipArray& assetArray() const { return assets_; }
    /// Where the clips stand on the timeline; good until `clips` changes. Worked out when it is first asked for after a
    /// change.
    [[nodiscard]] const TimelinePlacement& placement() const;
    [[nodiscard]] const std::set<UUID>& selectedAssetIDs() const { return selectedAssetIDs_; }
    void clearSelectedAssets();
    [[nodiscard]] const std::set<UUID>& selectedClipIDs() const { return selectedClipIDs_; }
    [[nodiscard]] const std::optional<UUID>& timelineSelectionAnchor() const { return timelineSelectionAnchor_; }
    [[nodiscard]] const std::optional<UUID>& selection() const { return selection_; }
    void setSelection(std::optional<UUID> id);
    /// Pictures of assets by their file, as `Thumbnails` keeps them; those of audio, of files that show nothing and of
    /// a project that no window shows are not among them.
    [[nodiscard]] const std::map<FileURL, StillImagePtr>& thumbnails() const { return thumbnails_.pictures(); }
    [[nodiscard]] bool isLoadingThumbnails() const { return isLoadingThumbnails_; }
    /// Seconds.
    [[nodiscard]] double playhead() const { return playhead_; }

    // Preview.
    [[nodiscard]] const std::optional<UUID>& previewAssetID() const { return previewAssetID_; }
    [[nodiscard]] double assetPlayhead() const { return assetPlayhead_; }
    [[nodiscard]] bool isPlaying() const { return isPlaying_; }
    [[nodiscard]] bool isBuilding() const { return isBuilding_; }
    /// None while no window shows the project.
    [[nodiscard]] Player* player() const { return player_.get(); }
    [[nodiscard]] const Clip* previewAsset() const;
    [[nodiscard]] bool hasPreview() const;
    [[nodiscard]] double previewDuration() const;
    [[nodiscard]] double previewPlayhead() const;
    void rebuildPreview();
    void showAssetPreview(const UUID& assetID);
    void showTimelinePreview();
    void seekPreview(double seconds);
    void pausePlayer();

    // Work in progress.
    [[nodiscard]] bool isImporting() const { return isImporting_; }
    [[nodiscard]] bool isExporting() const { return isExporting_; }
    [[nodiscard]] bool isRecording() const { return isRecording_; }
    [[nodiscard]] bool isPreparingRecording() const { return isPreparingRecording_; }
    [[nodiscard]] bool showExportOptions() const { return showExportOptions_; }
    void setShowExportOptions(bool show);
    [[nodiscard]] float exportProgress() const { return exportProgress_; }
    [[nodiscard]] const std::string& exportFormat() const { return exportFormat_; }
    /// The message that the window shows.
    [[nodiscard]] const std::optional<std::string>& error() const { return error_; }
    void setError(std::optional<std::string> error);
    [[nodiscard]] const std::optional<FileURL>& exportedURL() const { return exportedURL_; }
    [[nodiscard]] bool exportCancellationRequested() const { return exportCancellationRequested_; }
    /// Importing, exporting, recording or preparing to record. A rebuild of the preview is not part of it.
    [[nodiscard]] bool busy() const { return isImporting_ || isExporting_ || isRecording_ || isPreparingRecording_; }

    // History.
    [[nodiscard]] const std::vector<HistoryEntry>& undoStack() const { return undoStack_; }
    [[nodiscard]] const std::vector<HistoryEntry>& redoStack() const { return redoStack_; }
    /// `clips` at the start of a running gesture.
    [[nodiscard]] const std::optional<ClipArray>& interactionSnapshot() const { return interactionSnapshot_; }

    // Derived.
    [[nodiscard]] std::string title() const;
    [[nodiscard]] const Clip* selectedClip() const;
    /// The clip's place on the timeline, seconds.
    [[nodiscard]] double offset(const UUID& clipID) const;

    // The one entry for timeline edits, and history.
    void commit(std::vector<Clip> clips);
    void update(const UUID& clipID, const std::function<void(Clip&)>& change);
    void beginInteraction();
    void endInteraction();
    void undo();
    void redo();

    // Edit operations.
    [[nodiscard]] bool canSplit() const;
    void split();
    void deleteSelection();
    void deleteAssets(const std::set<UUID>& ids);
    void move(const UUID& clipID, std::ptrdiff_t index);
    void moveSelection(std::ptrdiff_t delta);
    void moveAudio(const UUID& clipID, const UUID& lane, double position);
    void addAssets(const std::vector<UUID>& ids, std::optional<std::ptrdiff_t> index);
    void select(const UUID& clipID);
    void selectTimelineClip(const UUID& clipID, SelectionModifiers modifiers);
    void selectTimelineClips(const std::set<UUID>& ids);
    void selectAssets(const std::set<UUID>& ids);

    // Import.
    void importFiles();
    /// Goes on past a bad file; failures land in `error`. Returns at once.
    void importURLs(std::vector<FileURL> urls);
    /// All or nothing; `validateCommit` may veto at the last moment. Ids in the order of `urls`.
    QCoro::Task<Result<std::vector<UUID>>> importMedia(std::vector<FileURL> urls,
                                                       std::function<Result<void>()> validateCommit,
                                                       std::stop_token stop = {});

    // Save and load.
    Result<void> loadProject(const FileURL& url);
    /// Failures land in `error`.
    void saveProject(bool saveAs);
    Result<void> writeManagedProject(const FileURL& url, bool markSaved);
    void markProjectSaved();

    // Export. `exportVideo` shows the options; `confirmExport` asks for a place and starts; `exportMedia` is the one
    // path.
    void exportVideo();
    void confirmExport(ExportResolution resolution, ExportFrameRate frameRate, ExportContainer container);
    QCoro::Task<Result<void>> exportMedia(FileURL destination, bool overwrite, ExportResolution resolution,
                                          ExportFrameRate frameRate, std::function<Result<void>()> validatePublish,
                                          std::stop_token stop = {});
    void cancelExport();

Q_SIGNALS:
    // Observed state is announced by the rate at which it changes, so that a running playhead reads no list again. Each
    // signal comes at most once a turn of the event loop, after the change, in the order in which they stand here.

    /// Clips, assets, thumbnails, history, a gesture under way, name, file, or whether it is saved.
    void contentChanged();
    /// What a person has chosen to act on or to see: selected clips and assets, the previewed asset, the inspector.
    void selectionChanged();
    /// Imports, exports, recordings, thumbnails and previews in the making; progress, choices before an export, error.
    void workChanged();
    /// `playhead`, `assetPlayhead` or `isPlaying`.
    void positionChanged();

private:
    Editor(const UUID& id, const std::optional<FileURL>& mediaDirectory, EditorServices services);

    /// What one export works with, fixed when it begins.
    struct ExportJob {
        FileURL destination;
        /// Hidden file beside `destination`.
        FileURL temporary;
        bool overwrite = false;
        ExportResolution resolution = ExportResolution::automatic;
        ExportFrameRate frameRate = ExportFrameRate::automatic;
        ExportContainer container = ExportContainer::mp4;
        ClipArray clips;
        std::function<Result<void>()> validatePublish;
        std::stop_token stop;
        /// What is encoded; none before it is built.
        EditedMediaPtr edited;
        /// Of `temporary`, from before it is made.
        UnfinishedWork::Ticket record = 0;
    };
    using ExportJobPtr = std::shared_ptr<ExportJob>;

    /// Observed state by the signal that announces it.
    enum class State : std::uint8_t { content = 1, selection = 2, work = 4, position = 8 };

    // Editor.cpp
    void apply(ClipArray clips);
    void pushUndo(HistoryEntry entry);
    /// The way back to the present state.
    [[nodiscard]] HistoryEntry presentEntry(bool withAssets) const;
    void restore(HistoryEntry entry);
    void refreshDirty();
    void repairSelection();
    /// Has the signal of `state` sent, later in this turn of the event loop.
    void announce(State state);
    /// Sets a field, and announces it where its value is another one.
    template <class Value>
    void set(Value& field, std::type_identity_t<Value> value, State state) {
        if (field == value) return;
        field = std::move(value);
        announce(state);
    }

    // EditorSelection.cpp
    void leaveAssetPreview();

    // EditorImport.cpp
    QCoro::Task<void> importEach(std::vector<FileURL> urls);
    QCoro::Task<Result<std::vector<UUID>>> gatherImports(std::vector<FileURL> urls,
                                                         std::function<Result<void>()> validateCommit,
                                                         std::stop_token stop, std::shared_ptr<ProjectMedia> copies);
    /// The copies of one import; none where the project has no media folder.
    [[nodiscard]] std::shared_ptr<ProjectMedia> beginCopies() const;
    void keepCopies(const std::shared_ptr<ProjectMedia>& copies);
    /// Done when the copies are gone.
    QCoro::Task<void> dropCopies(std::shared_ptr<ProjectMedia> copies);
    /// Takes what an import brought into the pool, as one step of history.
    void takeImports(const std::vector<MediaEngine::ImportedClip>& imports);
    void storeThumbnail(const FileURL& url, StillImagePtr picture);

    // EditorSave.cpp
    [[nodiscard]] Project project() const;
    void saveTo(const FileURL& destination, bool saveAs, bool firstSave);
    /// Drops the pictures, and loads them anew where a window shows them.
    void reloadThumbnails();
    static QCoro::Task<void> loadThumbnails(std::weak_ptr<Editor> weak, MainContext* context, MediaPlatform* media,
                                            ClipArray assets, std::stop_token stop);

    // EditorExport.cpp
    [[nodiscard]] std::string proposedExportName(ExportContainer container) const;
    QCoro::Task<void> exportFromWindow(FileURL destination, ExportResolution resolution, ExportFrameRate frameRate);
    [[nodiscard]] Result<ExportJobPtr> admitExport(FileURL destination, bool overwrite) const;
    void enterExport(ExportContainer container);
    void leaveExport();
    /// Removes the hidden file of an export that failed.
    QCoro::Task<void> clearExport(ExportJobPtr job);
    QCoro::Task<Result<void>> runExport(ExportJobPtr job);
    QCoro::Task<Result<void>> buildExport(ExportJobPtr job);
    QCoro::Task<Result<void>> encodeExport(ExportJobPtr job);
    QCoro::Task<Result<void>> publishExport(ExportJobPtr job);
    [[nodiscard]] bool isStopped(const ExportJob& job) const;
    void pollExportProgress();

    // EditorPreview.cpp
    void replacePlayerItem(EditedMediaPtr item);
    static QCoro::Task<void> buildPreview(std::weak_ptr<Editor> weak, MainContext* context, MediaPlatform* media,
                                          ClipArray clips, std::stop_token stop);
    void showBuiltPreview(const Result<EditedMediaPtr>& built);

    UUID id_;
    std::optional<FileURL> mediaDirectory_;
    EditorServices services_;
    std::shared_ptr<AIAssistantSession> ai_;
    std::optional<std::string> libraryName_;
    bool saveFailed_ = false;
    std::optional<FileURL> projectURL_;
    bool isDirty_ = false;
    bool isShown_ = true;
    bool showInspector_ = false;

    ClipArray clips_;
    ClipArray assets_;
    /// Of `placedClips_`, which are `clips_` or older.
    mutable TimelinePlacement placement_;
    mutable ClipArray placedClips_;
    ClipArray savedClips_;
    ClipArray savedAssets_;
    std::set<UUID> selectedAssetIDs_;
    std::set<UUID> selectedClipIDs_;
    std::optional<UUID> timelineSelectionAnchor_;
    std::optional<UUID> selection_;
    Thumbnails thumbnails_;
    bool isLoadingThumbnails_ = false;
    std::stop_source thumbnailTask_{std::nostopstate};
    double playhead_ = 0;

    std::optional<UUID> previewAssetID_;
    double assetPlayhead_ = 0;
    bool isPlaying_ = false;
    bool isBuilding_ = false;
    std::unique_ptr<Player> player_;
    Timer previewTimer_;
    std::stop_source previewTask_{std::nostopstate};

    bool isImporting_ = false;
    bool isExporting_ = false;
    bool isRecording_ = false;
    bool isPreparingRecording_ = false;
    bool showExportOptions_ = false;
    float exportProgress_ = 0;
    std::string exportFormat_ = "Determining export settings…";
    std::optional<std::string> error_;
    std::optional<FileURL> exportedURL_;
    /// Of an export that the window started.
    std::stop_source exportTask_{std::nostopstate};
    /// Of the export under way, whoever started it.
    std::stop_source exportWork_{std::nostopstate};
    std::shared_ptr<ExportSession> exportSession_;
    bool exportCancellationRequested_ = false;
    Timer progressTimer_;

    std::vector<HistoryEntry> undoStack_;
    std::vector<HistoryEntry> redoStack_;
    std::optional<ClipArray> interactionSnapshot_;
    /// Bits of the states whose signals are due; a call that sends them is posted while there are any.
    std::uint8_t announced_ = 0;
};

}  // namespace kelvane
