#pragma once

#include <QObject>
#include <QStringList>
#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "Editor/Editor.h"
#include "Windows/Workspace.h"

namespace kelvane {

/// What the sheet of export options of one window shows and what a person can choose there; draws nothing. What the
/// timeline can be exported as, and how large the file will be, is worked out in the background while the sheet is
/// shown; an answer that the timeline or the choices have left behind is dropped. What is chosen lives as long as the
/// sheet. The main thread.
class ExportOptionsView final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool shown READ shown NOTIFY changed)
    /// Labels of the choices, in order.
    Q_PROPERTY(QStringList containers READ containers CONSTANT)
    Q_PROPERTY(QStringList resolutions READ resolutions CONSTANT)
    Q_PROPERTY(QStringList frameRates READ frameRates CONSTANT)
    /// Places in these.
    Q_PROPERTY(int container READ container WRITE setContainer NOTIFY changed)
    Q_PROPERTY(int resolution READ resolution WRITE setResolution NOTIFY changed)
    Q_PROPERTY(int frameRate READ frameRate WRITE setFrameRate NOTIFY changed)
    /// Which resolutions can be chosen, in their order.
    Q_PROPERTY(QList<bool> availableResolutions READ availableResolutions NOTIFY changed)
    Q_PROPERTY(QString resolutionText READ resolutionText NOTIFY changed)
    /// Empty when there is nothing to say.
    Q_PROPERTY(QString frameRateText READ frameRateText NOTIFY changed)
    Q_PROPERTY(QString sizeText READ sizeText NOTIFY changed)
    Q_PROPERTY(bool canExport READ canExport NOTIFY changed)

public:
    explicit ExportOptionsView(std::shared_ptr<Workspace> workspace);
    ~ExportOptionsView() override;

    [[nodiscard]] bool shown() const;
    [[nodiscard]] QStringList containers() const;
    [[nodiscard]] QStringList resolutions() const;
    [[nodiscard]] QStringList frameRates() const;
    [[nodiscard]] int container() const;
    [[nodiscard]] int resolution() const;
    [[nodiscard]] int frameRate() const;
    // A place that there isn't, and a resolution that isn't available, change nothing.
    void setContainer(int index);
    void setResolution(int index);
    void setFrameRate(int index);
    [[nodiscard]] QList<bool> availableResolutions() const;
    [[nodiscard]] QString resolutionText() const;
    [[nodiscard]] QString frameRateText() const;
    [[nodiscard]] QString sizeText() const;
    /// Whether capabilities are known, the project isn't busy and the chosen resolution is available.
    [[nodiscard]] bool canExport() const;

    /// What the timeline as it is now can be exported as; nothing until it is known.
    [[nodiscard]] std::optional<ExportCapabilities> currentCapabilities() const;
    /// The text for a resolution, the chosen one or another.
    [[nodiscard]] QString detail(ExportResolution resolution) const;
    /// Names all that an estimate rests on: another key, another estimate. Empty while capabilities are unknown.
    [[nodiscard]] std::string estimateKey() const;
    /// Why capabilities could not be had.
    [[nodiscard]] const std::optional<std::string>& failure() const { return choice_.failure; }

    /// Asks for a place and exports there.
    Q_INVOKABLE void confirm();
    /// Closes the sheet.
    Q_INVOKABLE void cancel();

Q_SIGNALS:
    void changed();

private:
    /// What lives and dies with the sheet.
    struct Choice {
        ExportContainer container = ExportContainer::mp4;
        ExportResolution resolution = ExportResolution::automatic;
        ExportFrameRate frameRate = ExportFrameRate::automatic;
        std::optional<ExportCapabilities> capabilities;
        /// Of the timeline that `capabilities` are of.
        std::string capabilitiesRevision;
        std::optional<std::string> failure;
        std::optional<std::int64_t> estimatedBytes;
        /// The key of that estimate, also of one that failed.
        std::string estimatedRequest;
        bool isEstimating = false;
    };

    void followEditor();
    /// Begins, goes on with or ends what is worked out, as the editor and the choices are now.
    void refresh();
    void refreshCapabilities();
    void refreshEstimate();
    void endWork();
    [[nodiscard]] bool isAvailable(ExportResolution resolution) const;
    /// Of the timeline as it is now.
    [[nodiscard]] const std::string& revision() const;
    static QCoro::Task<void> loadCapabilities(QPointer<ExportOptionsView> self, EditorServices services,
                                              ClipArray clips, std::string revision, std::stop_token stop);
    static QCoro::Task<void> estimate(QPointer<ExportOptionsView> self, EditorServices services, std::string key,
                                      std::stop_token stop);

    std::shared_ptr<Workspace> workspace_;
    std::array<QMetaObject::Connection, 2> connections_;
    /// The editor whose sheet is shown; none while it isn't.
    std::weak_ptr<Editor> subject_;
    Choice choice_;
    /// What is being worked out, and for what.
    std::stop_source capabilitiesTask_{std::nostopstate};
    std::string capabilitiesRequest_;
    std::stop_source estimateTask_{std::nostopstate};
    std::string estimateRequest_;
    Timer estimateTimer_;
    // `revision` and the clips that it is of.
    mutable ClipArray revisedClips_;
    mutable std::string revision_;
};

}  // namespace kelvane
