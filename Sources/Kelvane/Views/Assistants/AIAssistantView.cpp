#include "AIAssistantView.h"

#include <utility>

namespace kelvane {

AIAssistantView::AIAssistantView(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {}

}  // namespace kelvane
