#include "ExportOptionsView.h"

#include <utility>

namespace kelvane {

ExportOptionsView::ExportOptionsView(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {}

}  // namespace kelvane
