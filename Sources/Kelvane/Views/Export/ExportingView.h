#pragma once

#include <QObject>
#include <memory>

#include "Windows/Workspace.h"

namespace kelvane {

/// How far the export of one window's project is, and how it ended; draws nothing. The main thread.
class ExportingView final : public QObject {
    Q_OBJECT

public:
    explicit ExportingView(std::shared_ptr<Workspace> workspace);

private:
    std::shared_ptr<Workspace> workspace_;
};

}  // namespace kelvane
