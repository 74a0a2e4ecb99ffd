#pragma once

#include <QObject>
#include <memory>

#include "Windows/Workspace.h"

namespace kelvane {

/// What the sheet of export options of one window shows and what a person can choose there; draws nothing. The main
/// thread.
class ExportOptionsView final : public QObject {
    Q_OBJECT

public:
    explicit ExportOptionsView(std::shared_ptr<Workspace> workspace);

private:
    std::shared_ptr<Workspace> workspace_;
};

}  // namespace kelvane
