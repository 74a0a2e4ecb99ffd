#pragma once

#include <QObject>
#include <memory>

#include "Windows/Workspace.h"

namespace kelvane {

/// What the inspector of one window shows of the selected clip and what a person can change there; draws nothing. The
/// main thread.
class InspectorView final : public QObject {
    Q_OBJECT

public:
    explicit InspectorView(std::shared_ptr<Workspace> workspace);

private:
    std::shared_ptr<Workspace> workspace_;
};

}  // namespace kelvane
