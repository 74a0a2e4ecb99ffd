#pragma once

#include <QObject>
#include <memory>

#include "Windows/Workspace.h"

namespace kelvane {

/// What the assets pane of one window shows and what a person can do there; draws nothing. The main thread.
class AssetsView final : public QObject {
    Q_OBJECT

public:
    explicit AssetsView(std::shared_ptr<Workspace> workspace);

private:
    std::shared_ptr<Workspace> workspace_;
};

}  // namespace kelvane
