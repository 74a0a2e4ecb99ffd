#include "ProjectPlace.h"

#include "Editor/Editor.h"

namespace kelvane {

ProjectPlace& ProjectPlace::of(Editor& editor) {
    auto* place = editor.findChild<ProjectPlace*>(QString(), Qt::FindDirectChildrenOnly);
    // Its editor owns it.
    return place != nullptr ? *place : *new ProjectPlace(editor);
}

}  // namespace kelvane
