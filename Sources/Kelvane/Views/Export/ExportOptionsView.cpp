#include "ExportOptionsView.h"

#include <fmt/format.h>

#include <QPointer>
#include <algorithm>
#include <utility>

#include "FileSize.h"
#include "Media/MediaEngine.h"
#include "Session/CLIEditing.h"

namespace kelvane {

namespace {

/// Quick changes of the menus come to one estimate.
constexpr std::chrono::milliseconds estimatePause{200};
/// By how much a clip may be slower than the chosen rate and still count as having it, frames a second.
constexpr double rateTolerance = 0.01;

QString text(std::string_view string) {
    return QString::fromUtf8(string.data(), static_cast<qsizetype>(string.size()));
}

std::string sizeLabel(const Size& size) { return fmt::format("{:.0f} × {:.0f}", size.width, size.height); }

template <class Choices>
QStringList labels(const Choices& choices) {
    QStringList texts;
    for (const auto choice : choices) texts << text(title(choice));
    return texts;
}

template <class Choices, class Value>
int placeOf(const Choices& choices, Value value) {
    return static_cast<int>(std::ranges::find(choices, value) - choices.begin());
}

template <class Choices>
bool isPlace(const Choices& choices, int index) {
    return index >= 0 && static_cast<std::size_t>(index) < choices.size();
}

/// Frames a second that a choice comes to.
double rateOf(ExportFrameRate rate, const ExportCapabilities& capabilities) {
    return rate == ExportFrameRate::automatic ? capabilities.frameRate : static_cast<double>(rate);
}

}  // namespace

ExportOptionsView::ExportOptionsView(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {
    connect(workspace_.get(), &Workspace::editorChanged, this, &ExportOptionsView::followEditor);
    followEditor();
}

ExportOptionsView::~ExportOptionsView() { endWork(); }

void ExportOptionsView::followEditor() {
    for (const auto& connection : connections_) disconnect(connection);
    if (const auto editor = workspace_->editor()) {
        connections_ = {
            connect(editor.get(), &Editor::contentChanged, this, &ExportOptionsView::refresh),
            connect(editor.get(), &Editor::workChanged, this, &ExportOptionsView::refresh),
        };
    }
    refresh();
}

bool ExportOptionsView::shown() const { return workspace_->editor() && workspace_->editor()->showExportOptions(); }

void ExportOptionsView::refresh() {
    const auto subject = shown() ? workspace_->editor() : nullptr;
    if (subject_.lock() != subject) {
        endWork();
        choice_ = {};
        subject_ = subject;
    }
    if (subject) {
        refreshCapabilities();
        refreshEstimate();
    }
    Q_EMIT changed();
}

void ExportOptionsView::endWork() {
    capabilitiesTask_.request_stop();
    capabilitiesRequest_.clear();
    estimateTask_.request_stop();
    estimateRequest_.clear();
    estimateTimer_.cancel();
}

const std::string& ExportOptionsView::revision() const {
    const ClipArray& clips = workspace_->editor()->clipArray();
    if (revisedClips_ != clips) {
        revision_ = CLIEditing::revision(*clips, {});
        revisedClips_ = clips;
    }
    return revision_;
}

std::optional<ExportCapabilities> ExportOptionsView::currentCapabilities() const {
    if (!shown() || !choice_.capabilities || choice_.capabilitiesRevision != revision()) return std::nullopt;
    return choice_.capabilities;
}

bool ExportOptionsView::isAvailable(ExportResolution resolution) const {
    const auto capabilities = currentCapabilities();
    return kelvane::isAvailable(resolution, capabilities ? std::optional(capabilities->maximumSize) : std::nullopt);
}

void ExportOptionsView::refreshCapabilities() {
    if (capabilitiesRequest_ == revision()) return;
    capabilitiesTask_.request_stop();
    const std::stop_source task;
    capabilitiesTask_ = task;
    capabilitiesRequest_ = revision();
    choice_.failure.reset();
    const auto editor = workspace_->editor();
    loadCapabilities(this, editor->services(), editor->clipArray(), revision(), task.get_token());
}

QCoro::Task<void> ExportOptionsView::loadCapabilities(QPointer<ExportOptionsView> self, EditorServices services,
                                                      ClipArray clips, std::string revision, std::stop_token stop) {
    auto measure = [media = services.media, clips, stop] {
        return MediaEngine::exportCapabilities(*media, *clips, stop);
    };
    auto measuring = inBackground(*services.context, std::move(measure));
    const Result<ExportCapabilities> measured = co_await measuring;
    if (self.isNull() || stop.stop_requested() || self->revision() != revision) co_return;
    Choice& choice = self->choice_;
    if (measured) {
        choice.capabilities = *measured;
        choice.capabilitiesRevision = revision;
        choice.failure.reset();
        if (!self->isAvailable(choice.resolution)) choice.resolution = ExportResolution::automatic;
    } else {
        choice.failure = measured.error().message;
    }
    self->refresh();
}

std::string ExportOptionsView::estimateKey() const {
    const auto capabilities = currentCapabilities();
    if (!capabilities) return {};
    return fmt::format("{}-{}-{}-{}-{}-{}", rawValue(choice_.container), rawValue(choice_.resolution),
                       static_cast<int>(choice_.frameRate), capabilities->maximumSize.width, capabilities->frameRate,
                       revision());
}

void ExportOptionsView::refreshEstimate() {
    const std::string key = isAvailable(choice_.resolution) ? estimateKey() : std::string();
    if (estimateRequest_ == key) return;
    estimateTask_.request_stop();
    estimateTimer_.cancel();
    estimateRequest_ = key;
    choice_.isEstimating = !key.empty();
    if (key.empty()) {
        choice_.estimatedBytes.reset();
        return;
    }
    const std::stop_source task;
    estimateTask_ = task;
    const EditorServices services = workspace_->editor()->services();
    auto begin = [self = QPointer(this), services, key, stop = task.get_token()] {
        if (!self.isNull()) estimate(self, services, key, stop);
    };
    estimateTimer_ = services.context->after(estimatePause, std::move(begin));
}

QCoro::Task<void> ExportOptionsView::estimate(QPointer<ExportOptionsView> self, EditorServices services,
                                              std::string key, std::stop_token stop) {
    const auto capabilities = self->currentCapabilities();
    if (stop.stop_requested() || !capabilities) co_return;
    const Choice& choice = self->choice_;
    const Size size = kelvane::size(choice.resolution).value_or(capabilities->maximumSize);
    const double rate = rateOf(choice.frameRate, *capabilities);
    auto forecast = [media = services.media, clips = self->workspace_->editor()->clipArray(), size, rate,
                     container = choice.container,
                     stop] { return MediaEngine::estimatedExportBytes(*media, *clips, size, rate, container, stop); };
    auto forecasting = inBackground(*services.context, std::move(forecast));
    const Result<std::optional<std::int64_t>> bytes = co_await forecasting;
    if (self.isNull() || stop.stop_requested() || self->estimateKey() != key) co_return;
    self->choice_.estimatedBytes = bytes ? *bytes : std::nullopt;
    self->choice_.estimatedRequest = key;
    self->choice_.isEstimating = false;
    Q_EMIT self->changed();
}

QStringList ExportOptionsView::containers() const { return labels(allExportContainers); }
QStringList ExportOptionsView::resolutions() const { return labels(allExportResolutions); }
QStringList ExportOptionsView::frameRates() const { return labels(allExportFrameRates); }
int ExportOptionsView::container() const { return placeOf(allExportContainers, choice_.container); }
int ExportOptionsView::resolution() const { return placeOf(allExportResolutions, choice_.resolution); }
int ExportOptionsView::frameRate() const { return placeOf(allExportFrameRates, choice_.frameRate); }

void ExportOptionsView::setContainer(int index) {
    if (!shown() || !isPlace(allExportContainers, index)) return;
    choice_.container = allExportContainers[static_cast<std::size_t>(index)];
    refresh();
}

void ExportOptionsView::setResolution(int index) {
    if (!shown() || !isPlace(allExportResolutions, index)) return;
    const ExportResolution wanted = allExportResolutions[static_cast<std::size_t>(index)];
    if (!isAvailable(wanted)) return;
    choice_.resolution = wanted;
    refresh();
}

void ExportOptionsView::setFrameRate(int index) {
    if (!shown() || !isPlace(allExportFrameRates, index)) return;
    choice_.frameRate = allExportFrameRates[static_cast<std::size_t>(index)];
    refresh();
}

QList<bool> ExportOptionsView::availableResolutions() const {
    QList<bool> available;
    for (const ExportResolution resolution : allExportResolutions) available << isAvailable(resolution);
    return available;
}

QString ExportOptionsView::resolutionText() const { return shown() ? detail(choice_.resolution) : QString(); }

QString ExportOptionsView::detail(ExportResolution resolution) const {
    if (const auto size = kelvane::size(resolution)) {
        const QString label = text(sizeLabel(*size));
        return isAvailable(resolution) ? label : label + tr(" · Needs higher-resolution clips or less zoom");
    }
    const auto capabilities = currentCapabilities();
    if (!capabilities) return tr("Checking source clips…");
    return tr("Best available · %1").arg(text(sizeLabel(capabilities->maximumSize)));
}

QString ExportOptionsView::frameRateText() const {
    const auto capabilities = currentCapabilities();
    if (!capabilities) return {};
    if (choice_.frameRate == ExportFrameRate::automatic)
        return tr("Auto: %1 fps · Matches the slowest clip, up to 60 fps")
            .arg(text(rateLabel(capabilities->frameRate)));
    if (capabilities->frameRate + rateTolerance < static_cast<double>(choice_.frameRate))
        return tr("Slower clips will repeat frames at this rate.");
    return tr("%1 frames per second").arg(static_cast<int>(choice_.frameRate));
}

QString ExportOptionsView::sizeText() const {
    if (!shown()) return {};
    const std::string key = estimateKey();
    if (!key.empty() && choice_.estimatedRequest == key && choice_.estimatedBytes)
        return text(fileSizeText(*choice_.estimatedBytes));
    const bool isLoading = !currentCapabilities() && !choice_.failure;
    return choice_.isEstimating || isLoading ? tr("Calculating…") : tr("Unavailable");
}

bool ExportOptionsView::canExport() const {
    return currentCapabilities() && !workspace_->editor()->busy() && isAvailable(choice_.resolution);
}

void ExportOptionsView::confirm() {
    if (canExport()) workspace_->editor()->confirmExport(choice_.resolution, choice_.frameRate, choice_.container);
}

void ExportOptionsView::cancel() {
    if (const auto editor = workspace_->editor()) editor->setShowExportOptions(false);
}

}  // namespace kelvane
