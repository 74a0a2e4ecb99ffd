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

#include "EditorServices.h"
#include "HistoryEntry.h"
#include "HoverPreview.h"
#include "Media/ExportSettings.h"
#include "Media/MediaEngine.h"
#include "SelectionModifiers.h"
#include "Storage/ProjectMedia.h"
#include "Support/FileDescriptor.h"
#include "Thumbnails.h"
#include "Timeline/Project.h"
#include "Timeline/TimelinePlacement.h"
#include "VoiceOverRecorder.h"

namespace kelvane {

class AIAssistantSession;

/// The live state of one open project: arrays, selection, preview, running work and history. All changes of the
/// timeline, from a drag in a view or from the command interface, go through the operations here, so that history,
/// dirty tracking and selection repair happen once. Edits that can't be carried out do nothing, and none of them fails
/// in words. The main thread only, which the operations that change state check. Times are seconds.
class Editor final : public QObject, public std::enable_shared_from_this<Editor> {
    Q_OBJECT

public:
    /// An empty editor. `mediaDirectory` is the media folder of a library project; without it imports stay where they
    /// lie. The services must all be there.
    static std::shared_ptr<Editor> create(const UUID& id, const std::optional<FileURL>& mediaDirectory,
                                          EditorServices services);
    ~Editor() override;

    // Identity and links.
    /// Of a library project the project's id.
    [[nodiscard]] const UUID& id() const { return id_; }
    /// Media folder of a library project, from its load on standardised with links resolved.
    [[nodiscard]] const std::optional<FileURL>& mediaDirectory() const { return mediaDirectory_; }
    /// The server side of the command interface for this project.
    [[nodiscard]] AIAssistantSession& ai() { return *ai_; }
    /// Asked before any save to a chosen file.
    std::function<QCoro::Task<bool>(FileURL)> canSaveToURL;
    /// Called whenever the project has become dirty.
    std::function<void()> onProjectChange;
    /// Renames the library project; the new name holds when the task is done. The check is asked when the project's
    /// files may be written, behind all waits for others, and may be absent; where it fails nothing is renamed.
    std::function<QCoro::Task<Result<void>>(std::string, std::function<Result<void>()>)> onRenameProject;
    /// Name in the library; present means a library project.
    [[nodiscard]] const std::optional<std::string>& libraryName() const { return libraryName_; }
    void setLibraryName(std::optional<std::string> name);
    /// Whether the last background save failed.
    [[nodiscard]] bool saveFailed() const { return saveFailed_; }
    void setSaveFailed(bool failed);
    /// The project's file; none before a first save or load.
    [[nodiscard]] const std::optional<FileURL>& projectURL() const { return projectURL_; }
    /// Whether clips or assets differ by value from what was last saved or loaded, or the file does: from the start of
    /// a save to its end, and behind one that ended half-way.
    [[nodiscard]] bool isDirty() const { return isDirty_; }
    /// Calls `onProjectChange` when `dirty` is true, whether or not it was before.
    void setDirty(bool dirty);

    /// Whether a window shows the project; it counts as shown when it is made.
    [[nodiscard]] bool isShown() const { return isShown_; }
    /// Told by the owner when a window begins or ceases to show the project. One that none shows keeps its content, its
    /// history and its place of play, and has neither a player nor pictures: what builds or loads them ends, and
    /// nothing begins to. When it is shown again both are made anew, as after a load. Harmless when it is so already.
    void setShown(bool shown);
    /// What it was made with, for what works beside it on the same project.
    [[nodiscard]] const EditorServices& services() const { return services_; }

    // The timeline's view state.
    double timelineZoom = 1;
    double timelineScrollOffset = 0;
    [[nodiscard]] bool showInspector() const { return showInspector_; }
    void setShowInspector(bool show);

    // Content and selection.
    /// The timeline: video in play order, audio anywhere among it. Indices of the operations below count in this array,
    /// audio included. The reference is good until the next change.
    [[nodiscard]] const std::vector<Clip>& clips() const { return *clips_; }
    /// The media pool, in the order of import. The reference is good until the next change.
    [[nodiscard]] const std::vector<Clip>& assets() const { return *assets_; }
    /// `clips` and `assets` as arrays that later changes replace and don't touch, to be kept or taken to another
    /// thread.
    [[nodiscard]] const ClipArray& clipArray() const { return clips_; }
    [[nodiscard]] const ClipArray& assetArray() const { return assets_; }
    /// Where the clips stand on the timeline; good until `clips` changes. Worked out when it is first asked for after a
    /// change.
    [[nodiscard]] const TimelinePlacement& placement() const;
    /// Selected assets; empty while clips are selected.
    [[nodiscard]] const std::set<UUID>& selectedAssetIDs() const { return selectedAssetIDs_; }
    void clearSelectedAssets();
    /// Selected clips; empty while assets are selected.
    [[nodiscard]] const std::set<UUID>& selectedClipIDs() const { return selectedClipIDs_; }
    /// The fixed end of a range that Shift selects.
    [[nodiscard]] const std::optional<UUID>& timelineSelectionAnchor() const { return timelineSelectionAnchor_; }
    /// The primary one among the selected clips.
    [[nodiscard]] const std::optional<UUID>& selection() const { return selection_; }
    /// Selects this clip alone, which becomes the anchor, and no asset; with nothing no clip, and selected assets stay.
    /// Whether the clip exists isn't asked.
    void setSelection(std::optional<UUID> id);
    /// Pictures of assets by their file, as `Thumbnails` keeps them; those of audio, of files that show nothing and of
    /// a project that no window shows are not among them.
    [[nodiscard]] const std::map<FileURL, StillImagePtr>& thumbnails() const { return thumbnails_.pictures(); }
    [[nodiscard]] bool isLoadingThumbnails() const { return isLoadingThumbnails_; }
    /// Seconds.
    [[nodiscard]] double playhead() const { return playhead_; }

    // Preview.
    /// The asset that the preview shows; none means the timeline.
    [[nodiscard]] const std::optional<UUID>& previewAssetID() const { return previewAssetID_; }
    /// Position in the previewed asset's trim, seconds from its start.
    [[nodiscard]] double assetPlayhead() const { return assetPlayhead_; }
    [[nodiscard]] bool isPlaying() const { return isPlaying_; }
    /// A preview is in the making.
    [[nodiscard]] bool isBuilding() const { return isBuilding_; }
    /// None while no window shows the project.
    [[nodiscard]] Player* player() const { return player_.get(); }
    [[nodiscard]] Player* hoverPlayer() const { return hoverPlayer_.get(); }
    /// The asset that the preview shows; null when it shows the timeline. Good until the next change.
    [[nodiscard]] const Clip* previewAsset() const;
    /// Whether there is anything to show.
    [[nodiscard]] bool hasPreview() const;
    /// Length of what the preview shows, seconds.
    [[nodiscard]] double previewDuration() const;
    /// Position in what the preview shows, seconds.
    [[nodiscard]] double previewPlayhead() const;
    /// Pauses, and builds the preview anew 0.18 s later unless another change comes first, so that a burst of edits
    /// costs one build. With nothing to show, the player is emptied and the playhead goes to 0. A build that fails
    /// lands in `error`. Nothing is built while no window shows the project.
    void rebuildPreview();
    /// Shows this asset from its start, and selects it alone. Nothing while busy or for an unknown id.
    void showAssetPreview(const UUID& assetID);
    /// Shows the timeline again, where its playhead was left.
    void showTimelinePreview();
    /// Pauses, and goes to `seconds`, clamped to 0 and `previewDuration`. While a build runs the number changes at once
    /// and the picture when it is done. Nothing while recording and for NaN.
    void seekPreview(double seconds);
    void pausePlayer();
    /// Pauses, or plays on from the playhead; within 0.03 s of the end, from the beginning. While recording it stops
    /// the recording. Nothing without a preview, while one is built and while busy.
    void togglePlayback();
    /// Goes to the timeline's beginning. False, and nothing happens, while busy, while a preview is built, during a
    /// gesture, while an asset is shown, and with an empty timeline.
    bool rewindTimeline();
    /// Whether what is shown has sound alone, so that a placeholder stands for the picture: of the hovered asset, else
    /// of the previewed one, else of the timeline at the playhead, where it is so behind the video when audio is there.
    [[nodiscard]] bool isAudioPreview() const;

    // Hover previews.
    /// The start of the preview frame that holds `time`, in a stretch of `duration` seconds; the last frame for what
    /// lies behind it.
    [[nodiscard]] static MediaTime hoverFrameTime(double time, double duration);
    /// What the hover player shows; none while nothing is hovered.
    [[nodiscard]] const std::optional<HoverPreview>& hoverPreview() const { return hoverPreview_; }
    /// The asset that is hovered, and where in it; none otherwise.
    [[nodiscard]] std::optional<UUID> assetHoverID() const;
    [[nodiscard]] std::optional<double> assetHoverTime() const;
    /// Shows the frame of an asset at `fraction` of its trim, held to 0 and 1. What it is built from stays until
    /// another asset is hovered or the preview is built anew. A failure lands in `error`. Nothing while busy or
    /// playing, for an unknown id, and for a fraction that isn't finite.
    void previewAssetHover(const UUID& assetID, double fraction);
    /// Shows the frame at an edge of a clip of the timeline that is being trimmed, as `draft` has it: the first that
    /// stays, or the last. What it is built from stays as with assets, for all steps of a trim. One that can't be built
    /// shows nothing; the preview's own build has the words for that. Nothing while busy or playing, and for audio.
    void previewTrimHover(const Clip& draft, TrimEdge edge);
    /// Shows what was shown before the hover.
    void endHoverPreview();

    // Voice-over.
    /// The Record button. Begins a take at the playhead after a countdown of three seconds, with the timeline muted
    /// beside it; ends the countdown; or ends the take, which lands as an audio clip where it began, in one step of
    /// history. Nothing while busy otherwise, while a preview is built and during a gesture. Failures land in `error`.
    void toggleVoiceOverRecording();
    /// 3, 2 or 1 while a take is counted in.
    [[nodiscard]] const std::optional<int>& recordingCountdown() const { return recordingCountdown_; }
    /// Length of the take so far, seconds.
    [[nodiscard]] double recordingElapsed() const { return recordingElapsed_; }
    /// The clip that grows with the take; none without one.
    [[nodiscard]] const std::optional<Clip>& recordingClip() const { return recordingClip_; }
    /// Loudest samples of the take, 30 a second, 1 for full scale.
    [[nodiscard]] const std::vector<float>& recordingPeaks() const { return recordingPeaks_; }

    // Work in progress.
    [[nodiscard]] bool isImporting() const { return isImporting_; }
    /// How far a person's import is: the file that is brought in, counted from 1, of how many. Zeros while there is
    /// none.
    struct ImportProgress {
        std::size_t file = 0;
        std::size_t count = 0;
        bool operator==(const ImportProgress&) const = default;
    };
    [[nodiscard]] const ImportProgress& importProgress() const { return importProgress_; }
    [[nodiscard]] bool isExporting() const { return isExporting_; }
    [[nodiscard]] bool isRecording() const { return isRecording_; }
    [[nodiscard]] bool isPreparingRecording() const { return isPreparingRecording_; }
    [[nodiscard]] bool showExportOptions() const { return showExportOptions_; }
    void setShowExportOptions(bool show);
    /// Of the export under way or the last one, 0 to 1.
    [[nodiscard]] float exportProgress() const { return exportProgress_; }
    /// Size, rate and container of the export under way or the last one, for people.
    [[nodiscard]] const std::string& exportFormat() const { return exportFormat_; }
    /// The message that the window shows.
    [[nodiscard]] const std::optional<std::string>& error() const { return error_; }
    void setError(std::optional<std::string> error);
    /// The file of the last export that was finished, until a person has taken note of it.
    [[nodiscard]] const std::optional<FileURL>& exportedURL() const { return exportedURL_; }
    void clearExportedURL();
    [[nodiscard]] bool exportCancellationRequested() const { return exportCancellationRequested_; }
    /// The project's media is being copied: into its folder by a load, elsewhere by Save As or for a duplicate; or the
    /// project is being deleted.
    [[nodiscard]] bool isCopying() const { return copies_ > 0; }
    /// How far the copying is; zeros before it has told.
    [[nodiscard]] const TransferProgress& copyProgress() const { return copyProgress_; }
    /// Brackets of such work; they nest.
    void beginCopying();
    void endCopying();
    void setCopyProgress(const TransferProgress& progress);
    /// Stops a Save As under way; what it copied goes. Harmless when there is none.
    void cancelCopying();
    /// Brackets of the last save before a project is left, during which nothing changes; they nest.
    void beginSettling();
    void endSettling();
    [[nodiscard]] bool isSettling() const { return settlings_ > 0; }
    /// Importing, exporting or asking whether an export may begin, recording, preparing to record or being copied. A
    /// rebuild of the preview is not part of it.
    [[nodiscard]] bool isAtWork() const {
        return isImporting_ || isExporting_ || isAdmittingExport_ || isRecording_ || isPreparingRecording_ ||
               isCopying();
    }
    /// At work or settling: nothing else changes the project, and nothing of that kind begins.
    [[nodiscard]] bool busy() const { return isAtWork() || isSettling(); }

    // History.
    /// Oldest first, at most 100.
    [[nodiscard]] const std::vector<HistoryEntry>& undoStack() const { return undoStack_; }
    /// Latest undone last.
    [[nodiscard]] const std::vector<HistoryEntry>& redoStack() const { return redoStack_; }
    /// `clips` at the start of a running gesture.
    [[nodiscard]] const std::optional<ClipArray>& interactionSnapshot() const { return interactionSnapshot_; }

    // Derived.
    /// The name in the library, else the file's without its extension, else "Untitled".
    [[nodiscard]] std::string title() const;
    /// The selected clip when it is exactly one, else null. Good until the next change.
    [[nodiscard]] const Clip* selectedClip() const;
    /// Where the clip starts on the timeline, seconds; an unknown one counts as a clip at the end of the video.
    [[nodiscard]] double offset(const UUID& clipID) const;

    // The one entry for timeline edits, and history.
    /// Replaces the timeline: one step of history, unless a gesture is running, and nothing is left to redo. Nothing
    /// while busy, and for an array that equals the present one by value. The clips must be valid.
    void commit(std::vector<Clip> clips);
    /// Told behind an edit, an undo or a redo that an assistant asked for: these were the clips before it.
    void noteAssistantEdit(const ClipArray& before) { Q_EMIT assistantEdited(before); }
    /// Commits the timeline with one clip changed by `change`, called once at most. Nothing for an unknown id, or when
    /// the result is no valid clip or the same.
    void update(const UUID& clipID, const std::function<void(Clip&)>& change);
    /// Begins a gesture: its commits are one step of history together. Nothing while busy or while one is running.
    void beginInteraction();
    /// Ends the gesture. A timeline that is as before leaves no step. Nothing when none is running.
    void endInteraction();
    /// Goes back by one step, in the timeline and, where the step changed it, in the media pool. Nothing while busy or
    /// with nothing to undo.
    void undo();
    /// Takes the last `undo` back. Nothing while busy or with nothing to redo.
    void redo();

    // Edit operations.
    /// Whether the timeline is shown and the playhead lies in the one selected clip, at least 1/30 s from both its
    /// ends.
    [[nodiscard]] bool canSplit() const;
    /// Cuts the selected clip at the playhead and selects the second half; the first keeps the id. Nothing unless
    /// `canSplit`, and nothing while busy.
    void split();
    /// Removes the selected clips, or without any the selected assets as `deleteAssets` does. Later video moves up,
    /// audio stays where it is. Nothing while busy.
    void deleteSelection();
    /// Removes these assets and all their clips as one step of history; the files stay on disk. Unknown ids count for
    /// nothing. Nothing while busy or during a gesture.
    void deleteAssets(const std::set<UUID>& ids);
    /// Takes the clip out and puts it in again at `index`, which counts in the array without it and is clamped to its
    /// ends, and selects it. Nothing while busy or for an unknown id.
    void move(const UUID& clipID, std::ptrdiff_t index);
    /// Exchanges the one selected clip with the entry `delta` places behind it in the array, whatever its kind; the
    /// selection stays. Nothing while busy, unless exactly one clip is selected, or where there is no such entry.
    void moveSelection(std::ptrdiff_t delta);
    /// Puts an audio clip at `position`, seconds, raised to 0, in a lane that some clip has, and selects it; the order
    /// of the lanes stays. Nothing while busy, for a position that is not finite, for a video clip or an unknown id or
    /// lane, and when the clip is there already.
    void moveAudio(const UUID& clipID, const UUID& lane, double position);
    /// Inserts a clip of the whole of each of these assets, in their order, at `index`, which is clamped to the array;
    /// without it, at the end. Audio starts at the playhead, each in a lane of its own. Selects the first of them as
    /// `select` does. Nothing while busy, for no ids, and when one id is unknown.
    void addAssets(const std::vector<UUID>& ids, std::optional<std::ptrdiff_t> index);
    /// Selects this clip alone, leaves the preview of an asset, and goes to where the clip starts. Even while busy.
    void select(const UUID& clipID);
    /// What a click on a clip selects: the clip alone; with Command the selection with the clip taken in or out; with
    /// Shift all from the anchor to the clip in array order, and with both those besides the selection. Leaves the
    /// preview of an asset; doesn't seek. Nothing while busy or for an unknown id.
    void selectTimelineClip(const UUID& clipID, SelectionModifiers modifiers);
    /// Selects these clips, unknown ids left out; the primary one stays if it is among them, else it is the first of
    /// them in the array. Leaves the preview of an asset. Nothing while busy.
    void selectTimelineClips(const std::set<UUID>& ids);
    /// Selects these assets, unknown ids left out, and no clip. Ends the preview of an asset that is not among them.
    /// Nothing while busy.
    void selectAssets(const std::set<UUID>& ids);

    // Import.
    /// Asks for files and passes them to `importURLs`. Nothing while busy.
    void importFiles();
    /// Brings files into the media pool one by one, past those that fail, whose sentences land in `error`, one a line
    /// and each once. Files that an asset stands for are skipped. Makes no step of history. Returns at once;
    /// `isImporting` tells when it is done. Nothing while busy or for no files.
    void importURLs(std::vector<FileURL> urls);
    /// Stops a person's import: the file under way is given up and its copy removed, those before it stay, and nothing
    /// is said. Nothing where there is none.
    void cancelImport();
    /// Brings all of these files into the media pool as one step of history, or none. Answers an asset's id for each,
    /// in their order, also of those that were there. `validateCommit` may veto at the last moment. Fails with "Kelvane
    /// is busy.", also during a gesture, in the words of the file that fails or of the veto, or as cancelled, at the
    /// next file behind a stop; then nothing has changed and no copy is left.
    QCoro::Task<Result<std::vector<UUID>>> importMedia(std::vector<FileURL> urls,
                                                       std::function<Result<void>()> validateCommit,
                                                       std::stop_token stop = {});

    // Save and load. The files are read and written in the background; what comes of it holds when the task is done.
    /// What a save writes; shares its arrays with the editor.
    struct Content {
        ClipArray clips;
        ClipArray assets;
    };
    [[nodiscard]] Content content() const;
    /// Fills the editor from a project file, whose media is first copied into the media folder where it lies elsewhere.
    /// The project is busy meanwhile. A failure or a stop leaves the editor, the file and the folder as they were.
    /// `report` is told on the thread that copies.
    QCoro::Task<Result<void>> loadProject(FileURL url, std::stop_token stop = {}, ProgressReport report = {});
    /// Saves to the project's own file, or to one that a person chooses. Failures land in `error`. Where a panel is
    /// asked, the task is done before it is answered.
    QCoro::Task<void> saveProject(bool saveAs);
    /// Writes to `projectURL`, which must be there, even while busy. Fails with "This project is already open in
    /// another window. Choose a different name with Save Project As." or in the words of the system. Nothing counts as
    /// saved where a Save As took the project to another file meanwhile.
    QCoro::Task<Result<void>> saveInPlace();
    /// Writes the content as it is at the call. With `markSaved` that content counts as saved.
    QCoro::Task<Result<void>> writeManagedProject(FileURL url, bool markSaved);
    /// `written` is in the file: a project that still looks so is clean.
    void markProjectSaved(const Content& written);
    void markProjectSaved();

    // Export.
    /// Shows the export options. Nothing while busy or with an empty timeline.
    void exportVideo();
    /// Asks for a place and exports to it; a failure lands in `error`, cancellation is silent. Nothing while busy or
    /// with an empty timeline.
    void confirmExport(ExportResolution resolution, ExportFrameRate frameRate, ExportContainer container);
    /// The one path of an export: encodes the timeline as it is now into a hidden file beside `destination`, which
    /// takes its name when all checks have passed; `validatePublish` is the last of them and may be absent. The project
    /// is busy meanwhile. Fails with "Kelvane is busy or the timeline is empty.", also during a gesture, "Export
    /// requires a .mp4 or .mov path.", "Output exists; use --overwrite.", "Output cannot replace project or source
    /// media.", "<size> requires enough source resolution in every video clip after crop and zoom.", "Export did not
    /// produce a <container> file.", in the words of the engine, the system or the veto, or as cancelled. A failure
    /// leaves `destination` as it was, and no hidden file.
    QCoro::Task<Result<void>> exportMedia(FileURL destination, bool overwrite, ExportResolution resolution,
                                          ExportFrameRate frameRate, std::function<Result<void>()> validatePublish,
                                          std::stop_token stop = {});
    /// Ends the export under way, whoever started it, as cancelled; harmless when there is none.
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
    /// `playhead`, `assetPlayhead`, `isPlaying`, `hoverPreview`, and what grows with a take.
    void positionChanged();
    /// The players were made, or are gone. Sent at once.
    void playersChanged();
    /// An assistant has changed the timeline, which held `before`. Sent at once.
    void assistantEdited(const kelvane::ClipArray& before);

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
        /// What `destination` was before it is replaced. Ends on the pool.
        FileDescriptor replaced;
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
    /// Keeps what these copied: to be called once assets stand for it. It stays recorded until the next save ends, so
    /// that a sudden end before leaves no copy that no document names.
    void keepCopies(std::vector<std::shared_ptr<ProjectMedia>> copies);
    /// Withdraws the records of what was kept, in the background.
    void settleCopies();
    /// Done when the copies are gone.
    QCoro::Task<void> dropCopies(std::shared_ptr<ProjectMedia> copies);
    /// Takes what an import brought into the pool, as one step of history.
    void takeImports(const std::vector<MediaEngine::ImportedClip>& imports);
    void storeThumbnail(const FileURL& url, StillImagePtr picture);

    // EditorSave.cpp
    /// Takes a project that was read into the editor.
    void show(Project project, const FileURL& url);
    /// Saves to a place that is new to the project, with its media.
    QCoro::Task<void> saveTo(FileURL destination, bool saveAs);
    /// Nothing where the project may be saved there.
    QCoro::Task<Result<void>> admitSave(FileURL destination);
    /// Writes the project's own file.
    QCoro::Task<Result<void>> writeDocument(Content content, FileURL file);
    /// Writes what stands when the place is admitted, with copies of the media in the folder beside the file.
    QCoro::Task<Result<Content>> writeCopy(FileURL file);
    void markSaved(const Content& written);
    [[nodiscard]] bool isSaved(const Content& content) const;
    [[nodiscard]] bool isSaved() const;
    /// Drops the pictures, and loads them anew where a window shows them.
    void reloadThumbnails();
    static QCoro::Task<void> loadThumbnails(std::weak_ptr<Editor> weak, MainContext* context, MediaPlatform* media,
                                            ClipArray assets, std::stop_token stop);

    // EditorExport.cpp
    [[nodiscard]] std::string proposedExportName(ExportContainer container) const;
    QCoro::Task<void> exportFromWindow(FileURL destination, ExportResolution resolution, ExportFrameRate frameRate);
    /// Fails in words while the project is busy, in a gesture or empty.
    [[nodiscard]] Result<void> checkExportable() const;
    /// What may be exported as far as that can be told without the disk.
    [[nodiscard]] Result<ExportJobPtr> planExport(FileURL destination, bool overwrite) const;
    /// Asks the disk whether the movie may have its place. The project is busy meanwhile, and nothing else is changed.
    QCoro::Task<Result<void>> admitExport(ExportJobPtr job);
    void enterExport(ExportContainer container);
    void leaveExport();
    /// Removes the hidden file of an export that failed.
    QCoro::Task<void> clearExport(ExportJobPtr job);
    QCoro::Task<Result<void>> runExport(ExportJobPtr job);
    QCoro::Task<Result<void>> buildExport(ExportJobPtr job);
    QCoro::Task<Result<void>> encodeExport(ExportJobPtr job);
    QCoro::Task<Result<void>> publishExport(ExportJobPtr job);
    /// Lets go of what the movie has replaced, later and on the pool.
    void freeReplaced(ExportJob& job);
    [[nodiscard]] bool isStopped(const ExportJob& job) const;
    void pollExportProgress();

    // EditorPreview.cpp
    void makePlayers();
    void dropPlayers();
    /// The player has come to `seconds`, or begun or ceased to play.
    void followPlayer(double seconds);
    void replacePlayerItem(EditedMediaPtr item);
    static QCoro::Task<void> buildPreview(std::weak_ptr<Editor> weak, MainContext* context, MediaPlatform* media,
                                          ClipArray clips, std::stop_token stop);
    void showBuiltPreview(const Result<EditedMediaPtr>& built);

    // EditorHover.cpp
    /// Whose media a hover shows.
    struct HoverSource {
        bool isAsset = true;
        UUID id;
        bool operator==(const HoverSource&) const = default;
    };
    /// Shows the place at `seconds` of `clip`, which is `source`.
    void hover(const HoverSource& source, const Clip& clip, const HoverPreview& preview, double seconds);
    static QCoro::Task<void> buildHover(std::weak_ptr<Editor> weak, MainContext* context, MediaPlatform* media,
                                        Clip clip, HoverSource source, std::stop_token stop);
    void showBuiltHover(const HoverSource& source, const Result<EditedMediaPtr>& built);
    /// Forgets what the hover player was built for.
    void dropHoverItem();

    // EditorRecording.cpp
    void cancelCountdown();
    QCoro::Task<void> prepareRecording();
    void countDown(int count);
    QCoro::Task<void> beginTake();
    /// The clip that grows with the take.
    void showTake(const FileURL& url);
    void playBesideTake();
    /// Looks at the take again and again until it ends.
    void watchTake();
    void updateTake();
    void stopRecording();
    void endTakePlayback();
    void takeEnded(const FileURL& url, std::optional<Error> error);
    QCoro::Task<void> finishTake(FileURL url, std::optional<Error> error);
    /// Puts a finished take into the media pool and on the timeline.
    void keepTake(Clip take, const UUID& occurrenceID);
    QCoro::Task<void> removeTake(FileURL url);

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
    /// The file holds, or is about to hold, something else than what was last saved.
    bool isFileAhead_ = false;
    /// What was imported and no save has written yet.
    std::vector<std::shared_ptr<ProjectMedia>> unsavedCopies_;
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
    std::unique_ptr<Player> hoverPlayer_;
    std::optional<HoverPreview> hoverPreview_;
    /// Whose media the hover player holds or will hold.
    std::optional<HoverSource> hoverSource_;
    /// The place in it that is wanted, seconds.
    double hoverTime_ = 0;
    /// Of a hover's build under way.
    std::stop_source hoverTask_{std::nostopstate};
    Timer previewTimer_;
    std::stop_source previewTask_{std::nostopstate};

    bool isImporting_ = false;
    ImportProgress importProgress_;
    /// Of a person's import under way.
    std::stop_source importTask_{std::nostopstate};
    bool isExporting_ = false;
    bool isAdmittingExport_ = false;
    bool isRecording_ = false;
    bool isPreparingRecording_ = false;
    std::optional<int> recordingCountdown_;
    double recordingElapsed_ = 0;
    std::optional<Clip> recordingClip_;
    std::vector<float> recordingPeaks_;
    /// Where the take began on the timeline, seconds.
    double recordingStart_ = 0;
    /// Of the player, before the take.
    bool recordingWasMuted_ = false;
    std::shared_ptr<VoiceOverRecorder> voiceRecorder_;
    /// Of the countdown, then of the looks at the take.
    Timer recordingTimer_;
    int copies_ = 0;
    int settlings_ = 0;
    TransferProgress copyProgress_;
    /// Of a Save As under way.
    std::stop_source copyTask_{std::nostopstate};
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
