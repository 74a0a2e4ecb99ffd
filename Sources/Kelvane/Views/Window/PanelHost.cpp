#include "PanelHost.h"

#include <QFile>
#include <QQmlComponent>
#include <QQuickItem>

#include "ProjectWindowView.h"
#include "Views/Accessible/Announcer.h"
#include "Views/Accessible/ItemAccessible.h"
#include "Views/Controls/HelpTips.h"
#include "Views/Controls/Icon.h"
#include "Views/Preview/PreviewSurface.h"
#include "Views/Theme.h"
#include "Views/Timeline/TimelineSurface.h"
#include "Views/Waveform/AudioWaveformView.h"

namespace kelvane {

namespace {

/// The toolkit's own chooser of files, where the desktop has none. It is loaded only when it opens, and where a module
/// that it imports is missing, the toolkit goes on with nothing and ends the program.
const QString toolkitChooser = QStringLiteral(":/qt-project.org/imports/QtQuick/Dialogs/quickimpl/qml/FileDialog.qml");

/// Why a component can't be made; null where it can.
QString problem(const QQmlComponent& component) {
    if (component.isReady()) return {};
    const QList<QQmlError> errors = component.errors();
    return errors.isEmpty() ? QObject::tr("its file can’t be read") : errors.first().description();
}

}  // namespace

PanelHost::PanelHost(WindowPanels& panels, QQmlEngine& engine, QQuickWindow& window)
    : panels_(panels), engine_(engine), window_(window) {
    connect(&panels_, &WindowPanels::questionChanged, this, &PanelHost::dropPanel);
    // Later, as the panel of the question before may be amid its closing.
    connect(&panels_, &WindowPanels::questionChanged, this, &PanelHost::follow, Qt::QueuedConnection);
    connect(&window_, &QWindow::activeChanged, this, &PanelHost::follow, Qt::QueuedConnection);
}

PanelHost::~PanelHost() {
    // At once, as the window goes next.
    delete panel_.release();
    if (question_) question_->cancel();
}

void PanelHost::follow() {
    PanelQuestion* question = panels_.question();
    if (question == nullptr || question_ == question || !window_.isActive() ||
        !question->enter(PanelQuestion::Stage::taken))
        return;
    question_ = question;
    QString error;
    panel_ = open(*question, error);
    if (panel_)
        question->enter(PanelQuestion::Stage::shown);
    else
        panels_.giveUp(*question, error);
}

void PanelHost::dropPanel() {
    if (!panel_ || question_ == panels_.question()) return;
    // The toolkit's chooser belongs to the window, and would stay in it.
    QMetaObject::invokeMethod(panel_.get(), "close");
    panel_.reset();
}

PanelHost::Panel PanelHost::open(PanelQuestion& question, QString& error) const {
    QQmlComponent component(&engine_, QUrl(QStringLiteral("qrc:/Views/Window/") + question.panel()));
    error = problem(component);
    if (!error.isEmpty()) return nullptr;
    if (question.choosesFiles() && QFile::exists(toolkitChooser)) {
        const QQmlComponent chooser(&engine_, QUrl(QStringLiteral("qrc") + toolkitChooser));
        error = problem(chooser);
        if (!error.isEmpty()) return nullptr;
    }
    QVariantMap properties{{"question", QVariant::fromValue(&question)}};
    // A chooser may be a window of the desktop, the others are drawn in this one.
    if (question.choosesFiles())
        properties.insert("parentWindow", QVariant::fromValue<QWindow*>(&window_));
    else
        properties.insert("parent", QVariant::fromValue(window_.contentItem()));
    Panel panel(component.createWithInitialProperties(properties));
    error = panel ? QString() : problem(component);
    if (!panel) return nullptr;
    QMetaObject::invokeMethod(panel.get(), "open");
    if (panel->property("visible").toBool()) return panel;
    error = QObject::tr("it does not open");
    return nullptr;
}

void registerWindowTypes() {
    installAccessibleInterfaces();
    const auto* const made = "Made by the window.";
    qmlRegisterUncreatableType<ProjectWindowView>("Kelvane", 1, 0, "ProjectWindowView", made);
    qmlRegisterUncreatableType<EditorView>("Kelvane", 1, 0, "EditorView", made);
    qmlRegisterUncreatableType<AssetsView>("Kelvane", 1, 0, "AssetsView", made);
    qmlRegisterUncreatableType<InspectorView>("Kelvane", 1, 0, "InspectorView", made);
    qmlRegisterUncreatableType<ExportOptionsView>("Kelvane", 1, 0, "ExportOptionsView", made);
    qmlRegisterUncreatableType<ExportingView>("Kelvane", 1, 0, "ExportingView", made);
    qmlRegisterUncreatableType<AIAssistantView>("Kelvane", 1, 0, "AIAssistantView", made);
    qmlRegisterUncreatableType<ProjectsHomeView>("Kelvane", 1, 0, "ProjectsHomeView", made);
    qmlRegisterUncreatableType<PreviewView>("Kelvane", 1, 0, "PreviewView", made);
    qmlRegisterType<PreviewSurface>("Kelvane", 1, 0, "PreviewSurface");
    qmlRegisterUncreatableType<TimelineView>("Kelvane", 1, 0, "TimelineView", made);
    qmlRegisterType<TimelineSurface>("Kelvane", 1, 0, "TimelineSurface");
    qmlRegisterType<AnnouncementLabel>("Kelvane", 1, 0, "AnnouncementLabel");
    qmlRegisterType<Icon>("Kelvane", 1, 0, "Icon");
    qmlRegisterType<HelpTip>("Kelvane", 1, 0, "HelpTip");
    qmlRegisterUncreatableType<AssistantToast>("Kelvane", 1, 0, "AssistantToast", made);
    qmlRegisterUncreatableType<HelpTips>("Kelvane", 1, 0, "HelpTips", made);
    qmlRegisterSingletonType<Theme>("Kelvane", 1, 0, "Theme", [](QQmlEngine*, QJSEngine*) { return new Theme; });
    qmlRegisterType<AudioWaveformView>("Kelvane", 1, 0, "AudioWaveformView");
    qmlRegisterUncreatableType<FilesQuestion>("Kelvane", 1, 0, "FilesQuestion", made);
    qmlRegisterUncreatableType<DestinationQuestion>("Kelvane", 1, 0, "DestinationQuestion", made);
    qmlRegisterUncreatableType<NameQuestion>("Kelvane", 1, 0, "NameQuestion", made);
    qmlRegisterUncreatableType<ConfirmQuestion>("Kelvane", 1, 0, "ConfirmQuestion", made);
}

}  // namespace kelvane
