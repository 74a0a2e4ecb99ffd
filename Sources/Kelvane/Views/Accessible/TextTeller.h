#pragma once

#include <QObject>
#include <QQuickItem>

namespace kelvane {

/// Tells a reader of the screen each time that a text says something else: readers keep a label's words until they hear
/// of it. Belongs to the text. The main thread.
class TextTeller final : public QObject {
    Q_OBJECT

public:
    explicit TextTeller(QQuickItem& text);

private Q_SLOTS:
    void tell();
};

}  // namespace kelvane
