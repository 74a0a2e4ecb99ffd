#pragma once

#include <QPointer>
#include <QQmlParserStatus>
#include <QQuickItem>
#include <vector>

namespace kelvane {

/// Makes the controls of a row one stop of the Tab key: the one that had the keyboard last, or the first where that
/// can't have it now or none had it yet. From there the arrow keys go on. The main thread.
class ControlGroup : public QObject, public QQmlParserStatus {
    Q_OBJECT
    Q_INTERFACES(QQmlParserStatus)
    /// What holds the controls.
    Q_PROPERTY(QQuickItem* row READ row WRITE setRow NOTIFY rowChanged)

public:
    [[nodiscard]] QQuickItem* row() const { return row_; }
    void setRow(QQuickItem* row);
    void classBegin() override {}
    void componentComplete() override;

    /// Takes the keyboard to the next control, or with -1 to the one before. False where there is none.
    Q_INVOKABLE bool step(int step);

Q_SIGNALS:
    void rowChanged();

private:
    void collect(QQuickItem& parent);
    /// Keeps one stop, whatever is hidden or disabled.
    void refresh();

    QPointer<QQuickItem> row_;
    std::vector<QPointer<QQuickItem>> controls_;
    /// The one that had the keyboard last.
    QPointer<QQuickItem> chosen_;
};

}  // namespace kelvane
