#pragma once

#include <nlohmann/json.hpp>

#include "Support/AtomicFile.h"
#include "WindowsFixture.h"

namespace kelvane::testing {

/// Projects in files of their own, and libraries that can't be written.
class SavingFixture : public WindowsFixture {
protected:
    /// A project that lives in a file of its own, outside the library.
    std::shared_ptr<Editor> freeStanding(const LibraryProject& row, FakeWindow& window, const FileURL& file) {
        auto editor = open(row, show(window), false);
        context.settle();
        editor->setLibraryName(std::nullopt);
        panels.destinations = {file};
        finish(context, editor->saveProject(true));
        context.settle();
        EXPECT_EQ(editor->projectURL(), file);
        return editor;
    }
    /// A place for such a file.
    [[nodiscard]] FileURL outside(const std::string& name) const {
        std::filesystem::create_directories(folder.path("Outside"));
        return folder.url("Outside/" + name);
    }
    /// The volume of the first clip in a document, whose media need not be in place.
    [[nodiscard]] static double volumeIn(const FileURL& file) {
        const auto text = readFile(file.path());
        EXPECT_TRUE(text) << text.error().message;
        const auto document = nlohmann::json::parse(text.value_or(""), nullptr, false);
        return document.is_object() && !document["clips"].empty() ? document["clips"][0].value("volume", -1.0) : -1;
    }
    /// The library can't record anything about the project while a folder that isn't empty stands in its row's place.
    void breakMetadata(const LibraryProject& row) { putInTheWay(metadata(row)); }
    void mendMetadata(const LibraryProject& row) { takeAway(metadata(row)); }
    /// The same for a file of any kind, which stays beside it.
    static void putInTheWay(const std::string& path) {
        std::filesystem::rename(path, path + ".kept");
        std::filesystem::create_directories(path + "/in the way");
    }
    static void takeAway(const std::string& path) {
        std::filesystem::remove_all(path);
        std::filesystem::rename(path + ".kept", path);
    }

private:
    [[nodiscard]] std::string metadata(const LibraryProject& row) const {
        return windows->library().store().folder(row.id).path() + "/Metadata.json";
    }
};

}  // namespace kelvane::testing
