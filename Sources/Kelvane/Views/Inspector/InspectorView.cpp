#include "InspectorView.h"

#include <utility>

namespace kelvane {

InspectorView::InspectorView(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {}

}  // namespace kelvane
