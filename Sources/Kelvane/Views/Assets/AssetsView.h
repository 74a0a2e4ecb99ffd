#pragma once

#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <array>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "AssetGridLayout.h"
#include "AssetListModel.h"
#include "Editor/Editor.h"
#include "Windows/Workspace.h"

namespace kelvane {

/// What the assets pane of one window shows and what a person does there by pointer, wheel and keys; draws nothing.
/// Points are of the grid's viewport, which scrolls. The main thread.
class AssetsView final : public QObject {
    Q_OBJECT
    // One signal for each rate at which what is shown changes.
    Q_PROPERTY(QAbstractItemModel* assets READ assets CONSTANT)
    Q_PROPERTY(bool empty READ empty NOTIFY contentChanged)
    /// "10", and with a selection "2 selected".
    Q_PROPERTY(QString count READ count NOTIFY selectionChanged)
    Q_PROPERTY(bool hasSelection READ hasSelection NOTIFY selectionChanged)
    /// Of the entry in an asset's menu.
    Q_PROPERTY(QString deleteLabel READ deleteLabel NOTIFY selectionChanged)
    Q_PROPERTY(bool canDelete READ canDelete NOTIFY enablingChanged)
    Q_PROPERTY(bool canImport READ canImport NOTIFY enablingChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY enablingChanged)
    /// Of the grid's viewport, as it is laid out.
    Q_PROPERTY(double width READ width WRITE setWidth NOTIFY layoutChanged)
    Q_PROPERTY(double height READ height WRITE setHeight NOTIFY layoutChanged)
    Q_PROPERTY(double contentHeight READ contentHeight NOTIFY layoutChanged)
    /// Whether a single column leaves room for names beside the pictures.
    Q_PROPERTY(bool namesBeside READ namesBeside NOTIFY layoutChanged)
    /// How far the grid is scrolled down.
    Q_PROPERTY(double scrollOffset READ scrollOffset WRITE setScrollOffset NOTIFY scrolled)
    /// The rubber band in the grid; empty without one.
    Q_PROPERTY(QRectF marquee READ marquee NOTIFY marqueeChanged)

public:
    explicit AssetsView(std::shared_ptr<Workspace> workspace);
    ~AssetsView() override;

    // What is shown.
    /// The project; null on the projects home.
    [[nodiscard]] std::shared_ptr<Editor> editor() const { return workspace_->editor(); }
    [[nodiscard]] AssetListModel* assets() { return &model_; }
    [[nodiscard]] bool empty() const;
    [[nodiscard]] QString count() const;
    [[nodiscard]] bool hasSelection() const;
    [[nodiscard]] QString deleteLabel() const;
    [[nodiscard]] bool canDelete() const { return hasSelection() && !busy(); }
    [[nodiscard]] bool canImport() const { return editor() && !busy(); }
    [[nodiscard]] bool busy() const;
    [[nodiscard]] const AssetGridLayout& layout() const { return layout_; }
    [[nodiscard]] double width() const { return layout_.width; }
    void setWidth(double width);
    [[nodiscard]] double height() const { return height_; }
    void setHeight(double height);
    [[nodiscard]] double contentHeight() const { return layout_.height(); }
    [[nodiscard]] bool namesBeside() const;
    [[nodiscard]] double scrollOffset() const { return scrollOffset_; }
    /// Held to what there is to scroll.
    void setScrollOffset(double offset);
    Q_INVOKABLE void scrollBy(double distance) { setScrollOffset(scrollOffset_ + distance); }
    [[nodiscard]] QRectF marquee() const { return marqueeRect_.value_or(QRectF()); }
    [[nodiscard]] const std::optional<UUID>& selectionAnchor() const { return selectionAnchor_; }
    /// Where the keyboard is in the grid: the asset that was clicked or gone to last.
    [[nodiscard]] const std::optional<UUID>& currentID() const { return currentID_; }
    [[nodiscard]] const std::optional<UUID>& hoveredID() const { return hoveredID_; }
    /// Whether the keyboard acts on the grid and a person works by it, so that its place is shown.
    void setHasKeyboard(bool has);

    // Acts. Nothing while the project is busy.
    /// What a click on an asset does. Alone it previews and selects it; with Command it takes it in or out; with Shift
    /// it selects all between it and the anchor, and with both those besides the selection.
    void selectAsset(const UUID& assetID, SelectionModifiers modifiers);
    /// The same as a click without keys, for a reader of the screen; nothing for what is no asset.
    Q_INVOKABLE void click(const QString& assetID);
    /// What a drag of this asset carries to the timeline: "asset:" and its id, or where it is one of several that are
    /// selected "assets:" and their ids, in the order of the list.
    [[nodiscard]] std::string dragPayload(const UUID& assetID) const;
    /// The assets that such a drag carries.
    [[nodiscard]] std::vector<UUID> dragged(const UUID& assetID) const;
    /// Removes the selected assets and their clips.
    Q_INVOKABLE void deleteSelection();
    /// Asks for files.
    Q_INVOKABLE void importFiles();
    /// Inserts these assets behind the clip under the playhead, at the end where there is none.
    void addToTimeline(const std::vector<UUID>& assetIDs);

    // The pointer. A press, moves and a release are one gesture: on an asset a click, or once it has moved by some
    // points a drag, which leaves by `dragWanted`; on the ground a rubber band.
    void press(QPointF point, Qt::KeyboardModifiers modifiers);
    void drag(QPointF point);
    void release(QPointF point, Qt::KeyboardModifiers modifiers);
    /// The second press of a double click, which comes instead of a `press`.
    void doubleClick(QPointF point);
    /// A person asks for the menu of the asset there, which is selected unless it was; whether there is one.
    bool openMenu(QPointF point);
    /// The same at the keyboard's place, which is the answer.
    std::optional<QPointF> openMenuAtCurrent();
    void hover(QPointF point);
    void leave();
    /// Ends a gesture under way, with the selection that was before it; whether there was one.
    bool cancelGesture();
    /// Ends the rubber band.
    void resetMarquee();

    // Keys; whether it was for the grid and could be done.
    bool pressKey(int key, Qt::KeyboardModifiers modifiers);

Q_SIGNALS:
    void contentChanged();
    void selectionChanged();
    void enablingChanged();
    void layoutChanged();
    void scrolled();
    void marqueeChanged();
    /// Another asset is where the keyboard is.
    void currentChanged();
    /// This asset has begun to be dragged.
    void dragWanted(const kelvane::UUID& assetID);
    /// The project is about to be changed: a gesture under way elsewhere ends first.
    void willChange();
    /// The pane takes the keyboard's focus.
    void focusWanted();
    /// An asset was added: the timeline takes the keyboard's focus.
    void timelineWanted();

private:
    /// From a press to its release.
    struct Press {
        QPointF point;
        /// The asset under it.
        std::optional<UUID> assetID;
    };
    /// What a rubber band goes back to that is cancelled.
    struct Before {
        std::set<UUID> clips;
        std::optional<UUID> primary;
        std::set<UUID> assets;
    };
    /// What is enabled.
    struct Enabling {
        bool remove = false;
        bool import = false;
        bool busy = false;
        bool operator==(const Enabling&) const = default;
    };

    void followEditor();
    void followContent();
    void followSelection();
    void followWork();
    /// The keyboard's place where its asset is gone: what stands there now.
    void repairCurrent(const std::vector<UUID>& before);
    void showRows();
    void refreshEnabling();
    [[nodiscard]] Enabling enabling() const;
    [[nodiscard]] QPointF contentPoint(QPointF point) const { return point + QPointF(0, scrollOffset_); }
    [[nodiscard]] std::optional<std::size_t> indexOf(const UUID& assetID) const;
    void setCurrent(std::optional<UUID> assetID);
    /// Scrolls as little as shows it whole.
    void reveal(const UUID& assetID);
    void stepMarquee(QPointF point);
    void setHovered(std::optional<UUID> assetID);
    /// Goes to the asset at `index`, held to the ends, and selects as the modifiers say.
    bool goTo(std::ptrdiff_t index, Qt::KeyboardModifiers modifiers);
    bool pressNavigationKey(int key, Qt::KeyboardModifiers modifiers);
    bool escape(Editor& editor);

    std::shared_ptr<Workspace> workspace_;
    std::array<QMetaObject::Connection, 3> connections_;
    AssetListModel model_;
    AssetGridLayout layout_;
    /// What the rows show.
    ClipArray shown_;
    double height_ = 0;
    double scrollOffset_ = 0;
    bool hasKeyboard_ = false;
    std::optional<UUID> selectionAnchor_;
    std::optional<UUID> currentID_;
    std::optional<UUID> hoveredID_;
    std::optional<Press> press_;
    std::optional<QPointF> marqueeStart_;
    std::optional<QRectF> marqueeRect_;
    std::set<UUID> marqueeBase_;
    bool marqueeExtends_ = false;
    std::optional<Before> before_;
    /// How many assets there were when the import under way began.
    std::optional<std::size_t> beforeImport_;
    // As announced last.
    Enabling enabling_;
    QString count_;
};

}  // namespace kelvane
