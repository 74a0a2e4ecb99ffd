#pragma once

#include <string>
#include <vector>

namespace kelvane::testing {

/// Path of a golden file, one of Tests/Data.
std::string testDataPath(const std::string& name);
/// Content of a golden file; a failure of the present test where it can't be read.
std::string testData(const std::string& name);
/// The folder of real footage beside its "manifest.tsv", as the environment variable KELVANE_MEDIA names it; empty
/// where that isn't set or names no such folder.
std::string mediaFolder();

/// One row of the manifest.
struct MediaRow {
    /// Of the file in the folder.
    std::string name;
    /// What an editor should make of it: "video", "audio", "refuse", or a longer sentence.
    std::string expectation;
    /// What there is to know of it.
    std::string remarks;
};
/// All rows in their order; none where there is no folder of footage.
std::vector<MediaRow> mediaRows();

}  // namespace kelvane::testing
