#pragma once

#include <string>
#include <string_view>

#include "Support/Error.h"
#include "Timeline/Project.h"

/// The form in which a project lies on disk: one JSON document. Pure functions, any thread.
namespace kelvane {

/// The document's JSON: sorted keys, two blanks of indentation, escaped slashes, shortest numbers, no line break
/// at the end. Fails with a sentence that names the place ("clips[2].end must be a finite number.") when a number
/// has no JSON form.
Result<std::string> encodeProject(const Project& project);
/// Reads a document. Strict about presence and types, lenient about order and unknown keys; no range is tested.
/// Fails with a sentence that names the place and what was expected there.
Result<Project> decodeProject(std::string_view json);

}  // namespace kelvane
