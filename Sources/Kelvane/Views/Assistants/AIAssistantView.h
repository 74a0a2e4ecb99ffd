#pragma once

#include <QObject>
#include <memory>

#include "Windows/Workspace.h"

namespace kelvane {

/// What the sheet of assistants of one window shows and what a person can do there; draws nothing. The main thread.
class AIAssistantView final : public QObject {
    Q_OBJECT

public:
    explicit AIAssistantView(std::shared_ptr<Workspace> workspace);

    /// Opens the sheet.
    Q_INVOKABLE void start() {}

private:
    std::shared_ptr<Workspace> workspace_;
};

}  // namespace kelvane
