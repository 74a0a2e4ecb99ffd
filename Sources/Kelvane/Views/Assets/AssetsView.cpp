#include "AssetsView.h"

#include <utility>

namespace kelvane {

AssetsView::AssetsView(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {}

}  // namespace kelvane
