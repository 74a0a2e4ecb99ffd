#pragma once

#include <string>

namespace kelvane::testing {

/// Path of a golden file, one of Tests/Data.
std::string testDataPath(const std::string& name);
/// Content of a golden file; a failure of the present test where it can't be read.
std::string testData(const std::string& name);
/// The folder of real footage beside its "manifest.tsv", as the environment variable KELVANE_MEDIA names it; empty
/// where that isn't set or names no such folder.
std::string mediaFolder();

}  // namespace kelvane::testing
