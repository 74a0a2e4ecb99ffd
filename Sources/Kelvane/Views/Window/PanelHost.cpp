#include "PanelHost.h"

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQuickItem>

#include "FileBrowser.h"
#include "PaneFocus.h"
#include "ProjectWindowView.h"
#include "Views/Accessible/Announcer.h"
#include "Views/Accessible/ItemAccessible.h"
#include "Views/Assets/AssetThumbnail.h"
#include "Views/Assets/AssetsSurface.h"
#include "Views/Controls/ControlGroup.h"
#include "Views/Controls/DashedFrame.h"
#include "Views/Controls/HelpTips.h"
#include "Views/Controls/Icon.h"
#include "Views/Preview/CountdownRing.h"
#include "Views/Home/CardPicture.h"
#include "Views/Home/ProjectGrid.h"
#include "Views/Naming/InlineProjectNameView.h"
#include "Views/Naming/ProjectNameTextField.h"
#include "Views/Preview/PreviewSurface.h"
#include "Views/Sheets/SheetTurn.h"
#include "Views/Theme.h"
#include "Views/Timeline/TimelineSurface.h"
#include "Views/Waveform/AudioWaveformView.h"

namespace kelvane {

namespace {

/// Why a component can't be made; null where it can.
QString problem(const QQmlComponent& component) {
    if (component.isReady()) return {};
    const QList<QQmlError> errors = component.errors();
    // The last one is the reason of those before.
    return errors.isEmpty() ? QObject::tr("its file can’t be read") : errors.last().description();
}

}  // namespace

PanelHost::PanelHost(WindowPanels& panels, QQmlEngine& engine, QQuickWindow& window)
    : panels_(panels), engine_(engine), window_(window) {
    connect(&panels_, &WindowPanels::questionChanged, this, &PanelHost::dropPanel);
    // Later, as the panel of the question before may be amid its closing.
    connect(&panels_, &WindowPanels::questionChanged, this, &PanelHost::follow, Qt::QueuedConnection);
    connect(&window_, &QWindow::activeChanged, this, [this] { hasLostFocus_ = hasLostFocus_ || !window_.isActive(); });
    connect(&window_, &QWindow::activeChanged, this, &PanelHost::follow, Qt::QueuedConnection);
}

PanelHost::~PanelHost() {
    // At once, as the window goes next.
    delete chooser_.release();
    delete panel_.release();
    if (question_) question_->cancel();
}

void PanelHost::follow() {
    PanelQuestion* question = panels_.question();
    if (question == nullptr || question_ == question || !window_.isActive() ||
        !question->enter(PanelQuestion::Stage::taken))
        return;
    question_ = question;
    auto* chooses = qobject_cast<ChooserQuestion*>(question);
    if (chooses == nullptr || !askDesktop(*chooses)) show(*question);
}

bool PanelHost::askDesktop(ChooserQuestion& question) {
    const auto bus = panels_.bus();
    if (!bus) return false;
    ChooserRequest request = question.request();
    if (QGuiApplication::platformName() == QStringLiteral("xcb"))
        request.parentWindow = QStringLiteral("x11:") + QString::number(window_.winId(), 16);
    hasLostFocus_ = false;
    chooser_.reset(new PortalChooser(
        panels_.context(), *bus, request, [this] { return hasLostFocus_; },
        [this](const ChooserOutcome& outcome) { hearDesktop(outcome); }));
    return true;
}

void PanelHost::hearDesktop(const ChooserOutcome& outcome) {
    chooser_.reset();
    auto* question = qobject_cast<ChooserQuestion*>(question_.get());
    if (question == nullptr || question->stage() == PanelQuestion::Stage::answered) return;
    if (outcome.kind == ChooserOutcome::Kind::unavailable) return show(*question);
    // The desktop's choosers ask themselves whether a file may be replaced.
    if (outcome.kind == ChooserOutcome::Kind::chosen)
        question->choose(outcome.files, true);
    else
        question->cancel();
}

void PanelHost::show(PanelQuestion& question) {
    QString error;
    panel_ = open(question, error);
    if (panel_)
        question.enter(PanelQuestion::Stage::shown);
    else
        panels_.giveUp(question, error);
}

void PanelHost::dropPanel() {
    if (question_ == panels_.question()) return;
    chooser_.reset();
    if (!panel_) return;
    QMetaObject::invokeMethod(panel_.get(), "close");
    panel_.reset();
}

PanelHost::Panel PanelHost::open(PanelQuestion& question, QString& error) const {
    QQmlComponent component(&engine_, QUrl(QStringLiteral("qrc:/Views/Window/") + question.panel()));
    error = problem(component);
    if (!error.isEmpty()) return nullptr;
    QVariantMap properties{{"question", QVariant::fromValue(&question)},
                           {"parent", QVariant::fromValue(window_.contentItem())}};
    std::unique_ptr<FileBrowser> browser = browserFor(question);
    if (browser) properties.insert("browser", QVariant::fromValue(browser.get()));
    Panel panel(component.createWithInitialProperties(properties));
    error = panel ? QString() : problem(component);
    if (!panel) return nullptr;
    if (browser) browser.release()->setParent(panel.get());
    QMetaObject::invokeMethod(panel.get(), "open");
    if (panel->property("visible").toBool()) return panel;
    error = QObject::tr("it does not open");
    return nullptr;
}

std::unique_ptr<FileBrowser> PanelHost::browserFor(PanelQuestion& question) const {
    auto* chooses = qobject_cast<ChooserQuestion*>(&question);
    if (chooses == nullptr) return nullptr;
    auto browser =
        std::make_unique<FileBrowser>(panels_.context(), chooses->request(), chooses->suffix(), panels_.startFolders());
    // The next one begins where this one ended.
    connect(browser.get(), &FileBrowser::accepted, &panels_,
            [&panels = panels_, from = browser.get()] { panels.beginNextIn(from->folder().toStdString()); });
    return browser;
}

void registerWindowTypes() {
    installAccessibleInterfaces();
    const auto* const made = "Made by the window.";
    qmlRegisterUncreatableType<ProjectWindowView>("Kelvane", 1, 0, "ProjectWindowView", made);
    qmlRegisterUncreatableType<EditorView>("Kelvane", 1, 0, "EditorView", made);
    qmlRegisterUncreatableType<AssetsView>("Kelvane", 1, 0, "AssetsView", made);
    qmlRegisterType<AssetsSurface>("Kelvane", 1, 0, "AssetsSurface");
    qmlRegisterType<AssetThumbnail>("Kelvane", 1, 0, "AssetThumbnail");
    qmlRegisterUncreatableType<InspectorView>("Kelvane", 1, 0, "InspectorView", made);
    qmlRegisterUncreatableType<InspectorRow>("Kelvane", 1, 0, "InspectorRow", made);
    qmlRegisterUncreatableType<ExportOptionsView>("Kelvane", 1, 0, "ExportOptionsView", made);
    qmlRegisterUncreatableType<ExportingView>("Kelvane", 1, 0, "ExportingView", made);
    qmlRegisterUncreatableType<AIAssistantView>("Kelvane", 1, 0, "AIAssistantView", made);
    qmlRegisterUncreatableType<ProjectsHomeView>("Kelvane", 1, 0, "ProjectsHomeView", made);
    qmlRegisterUncreatableType<PreviewView>("Kelvane", 1, 0, "PreviewView", made);
    qmlRegisterUncreatableType<WindowCommands>("Kelvane", 1, 0, "WindowCommands", made);
    qmlRegisterUncreatableType<WindowCommand>("Kelvane", 1, 0, "WindowCommand", made);
    qmlRegisterType<PaneFocus>("Kelvane", 1, 0, "PaneFocus");
    qmlRegisterType<ControlGroup>("Kelvane", 1, 0, "ControlGroup");
    qmlRegisterType<CountdownRing>("Kelvane", 1, 0, "CountdownRing");
    qmlRegisterType<PreviewSurface>("Kelvane", 1, 0, "PreviewSurface");
    qmlRegisterUncreatableType<TimelineView>("Kelvane", 1, 0, "TimelineView", made);
    qmlRegisterType<TimelineSurface>("Kelvane", 1, 0, "TimelineSurface");
    qmlRegisterType<AnnouncementLabel>("Kelvane", 1, 0, "AnnouncementLabel");
    qmlRegisterType<Icon>("Kelvane", 1, 0, "Icon");
    qmlRegisterType<DashedFrame>("Kelvane", 1, 0, "DashedFrame");
    qmlRegisterType<HelpTip>("Kelvane", 1, 0, "HelpTip");
    qmlRegisterUncreatableType<AssistantToast>("Kelvane", 1, 0, "AssistantToast", made);
    qmlRegisterUncreatableType<HelpTips>("Kelvane", 1, 0, "HelpTips", made);
    qmlRegisterUncreatableType<HelpView>("Kelvane", 1, 0, "HelpView", made);
    qmlRegisterType<SheetTurn>("Kelvane", 1, 0, "SheetTurn");
    qmlRegisterSingletonType<Theme>("Kelvane", 1, 0, "Theme", [](QQmlEngine*, QJSEngine*) { return new Theme; });
    qmlRegisterType<ProjectGrid>("Kelvane", 1, 0, "ProjectGrid");
    qmlRegisterType<CardPicture>("Kelvane", 1, 0, "CardPicture");
    qmlRegisterUncreatableType<InlineProjectNameView>("Kelvane", 1, 0, "InlineProjectNameView", made);
    qmlRegisterUncreatableType<ProjectNameEditor>("Kelvane", 1, 0, "ProjectNameEditor", made);
    qmlRegisterType<ProjectNameTextField>("Kelvane", 1, 0, "ProjectNameTextField");
    qmlRegisterType<AudioWaveformView>("Kelvane", 1, 0, "AudioWaveformView");
    qmlRegisterUncreatableType<FileBrowser>("Kelvane", 1, 0, "FileBrowser", made);
    qmlRegisterUncreatableType<FilesQuestion>("Kelvane", 1, 0, "FilesQuestion", made);
    qmlRegisterUncreatableType<DestinationQuestion>("Kelvane", 1, 0, "DestinationQuestion", made);
    qmlRegisterUncreatableType<NameQuestion>("Kelvane", 1, 0, "NameQuestion", made);
    qmlRegisterUncreatableType<ConfirmQuestion>("Kelvane", 1, 0, "ConfirmQuestion", made);
}

}  // namespace kelvane
