#include "TimelineWindowFixture.h"

#include <QQmlComponent>

#include "Views/Window/PanelHost.h"

namespace kelvane::testing {

TimelineWindowFixture::TimelineWindowFixture()
    : workspace(show(first)), view(*windows, workspace, [this] { return reducedMotion; }) {
    QObject::connect(&engine, &QQmlEngine::warnings, [this](const QList<QQmlError>& found) {
        for (const auto& warning : found) warnings.push_back(warning.toString().toStdString());
    });
    registerWindowTypes();
    QQmlComponent component(&engine, QUrl("qrc:/Views/Window/ProjectWindow.qml"));
    QObject* made = component.createWithInitialProperties({{"view", QVariant::fromValue(&view)}});
    window.reset(qobject_cast<QQuickWindow*>(made));
    check(window != nullptr, component.errorString().toStdString().c_str());
    media.addFileNamed("Footage.mov", FakeFile::video(10));
    media.addFileNamed("Sound.wav", FakeFile::audio(10));
    const FileURL footage = folder.write("Sources/Footage.mov");
    const FileURL sound = folder.write("Sources/Sound.wav");
    Project contents;
    contents.clips = {videoClip(1, footage, 10).stretch(2, 6), videoClip(2, footage, 10).stretch(2, 5),
                      videoClip(3, footage, 10).stretch(2, 7), audioClip(4, sound, 10).stretch(0, 3).at(1),
                      audioClip(5, sound, 10).stretch(0, 6).at(5)};
    contents.assets = std::vector<Clip>{videoClip(10, footage, 10), audioClip(11, sound, 10)};
    editor = open(project("Film", contents), workspace, false);
    context.settle();
    advance(std::chrono::milliseconds(180));
    window->show();
    check(QTest::qWaitForWindowActive(window.get(), static_cast<int>(patience.count())), "the window is in front");
    view.frameShown();
    const auto isWhole = [this] { return window->property("whole").toBool(); };
    check(QTest::qWaitFor(isWhole, static_cast<int>(patience.count())), "the window is whole");
    refresh();
}

TimelineWindowFixture::~TimelineWindowFixture() { EXPECT_EQ(warnings, std::vector<std::string>()); }

QQuickItem* TimelineWindowFixture::item(const char* name) const {
    auto* found = window->findChild<QQuickItem*>(name);
    check(found != nullptr, "the window has the item");
    return found;
}

QPoint TimelineWindowFixture::at(double seconds, int row, double y) const {
    const TimelineSurface& shown = surface();
    const TimelineView& timeline = *shown.view();
    const double x = seconds * timeline.pointsPerSecond() - timeline.visibleOrigin().x() + shown.width() / 2;
    const double top =
        row < 0 ? 0 : TimelineMetrics::trackTop + TimelineMetrics::trackStride * row - timeline.visibleOrigin().y();
    return shown.mapToScene({x, top + y}).toPoint();
}

QPoint TimelineWindowFixture::middle(const char* name) const {
    const QQuickItem* control = item(name);
    return control->mapToScene({control->width() / 2, control->height() / 2}).toPoint();
}

void TimelineWindowFixture::drag(QPoint from, QPoint to, Qt::KeyboardModifiers modifiers, bool isHeld) {
    QTest::mouseMove(window.get(), from);
    QTest::mousePress(window.get(), Qt::LeftButton, modifiers, from);
    for (int step = 1; step <= 3; ++step) {
        const QPoint point = from + (to - from) * step / 3;
        QMouseEvent moved(QEvent::MouseMove, point, window->mapToGlobal(point), Qt::NoButton, Qt::LeftButton,
                          modifiers);
        QCoreApplication::sendEvent(window.get(), &moved);
        context.runPosted();
    }
    if (!isHeld) letGo(to, modifiers);
}

void TimelineWindowFixture::letGo(QPoint point, Qt::KeyboardModifiers modifiers) {
    QTest::mouseRelease(window.get(), Qt::LeftButton, modifiers, point);
    context.runPosted();
}

void TimelineWindowFixture::click(QPoint point, Qt::KeyboardModifiers modifiers) {
    // Far enough from the click before not to be its second.
    QTest::mouseClick(window.get(), Qt::LeftButton, modifiers, point, 1000);
    context.runPosted();
}

void TimelineWindowFixture::press(Qt::Key key, Qt::KeyboardModifiers modifiers) {
    QTest::keyClick(window.get(), key, modifiers);
    context.runPosted();
}

void TimelineWindowFixture::wheel(QPoint point, double vertical, Qt::KeyboardModifiers modifiers, double horizontal) {
    const QPoint angle = (QPointF(horizontal, vertical) * 120).toPoint();
    QWheelEvent turned(point, window->mapToGlobal(point), {}, angle, Qt::NoButton, modifiers, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(window.get(), &turned);
    context.runPosted();
}

void TimelineWindowFixture::refresh() {
    context.runPosted();
    // The scene is laid out and painted.
    (void)window->grabWindow();
}

QImage TimelineWindowFixture::picture() {
    refresh();
    return surface().image();
}

std::vector<UUID> TimelineWindowFixture::order() const {
    std::vector<UUID> ids;
    for (const Clip& clip : editor->clips()) ids.push_back(clip.id);
    return ids;
}

const Clip& TimelineWindowFixture::clip(const UUID& id) const {
    const auto index = editor->placement().index(id);
    check(index.has_value(), "there is such a clip");
    return editor->clips()[*index];
}

}  // namespace kelvane::testing
