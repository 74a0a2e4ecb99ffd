#pragma once

#include <QBasicTimer>
#include <QObject>
#include <QQmlIncubationController>

namespace kelvane {

/// Makes in slices what surfaces ask for without haste: rows that are about to be scrolled to, and what a window may
/// need later. It belongs to no window, so that none takes the others' along when it closes. The main thread.
class SlicedIncubation final : public QObject, public QQmlIncubationController {
    Q_OBJECT

protected:
    void incubatingObjectCountChanged(int count) override;
    void timerEvent(QTimerEvent* event) override;

private:
    QBasicTimer timer_;
};

}  // namespace kelvane
