#include "ExportingView.h"

#include <utility>

namespace kelvane {

ExportingView::ExportingView(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {}

}  // namespace kelvane
