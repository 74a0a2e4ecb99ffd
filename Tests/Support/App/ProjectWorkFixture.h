#pragma once

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "WindowsFixture.h"

namespace kelvane::testing {

/// Projects whose media must be copied, and what is left of them.
class ProjectWorkFixture : public WindowsFixture {
protected:
    /// A project whose document uses media outside its folder, which must be copied when it opens.
    LibraryProject projectToCopyFor(const std::string& name) {
        const auto row = project(name);
        EXPECT_TRUE(ProjectFile::write(contents(name), windows->library().projectURL(row.id)));
        return row;
    }
    /// A project file outside the library, with media beside it.
    FileURL outside(const std::string& name) {
        const auto file = folder.url("Outside/" + name + ".kelvane");
        std::filesystem::create_directories(folder.path("Outside"));
        EXPECT_TRUE(ProjectFile::write(contents(name), file));
        return file;
    }
    Project contents(const std::string& name) {
        const auto source = folder.write("Sources/" + name + ".mov", "media of " + name);
        media.addFileNamed(name + ".mov", FakeFile::video(10));
        Project project;
        project.clips = {videoClip(1, source)};
        project.assets = {{videoClip(2, source)}};
        return project;
    }
    /// The names of everything in the library's folder, with what is below it.
    [[nodiscard]] std::vector<std::string> onDisk() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path("Projects")))
            names.push_back(entry.path().string());
        std::ranges::sort(names);
        return names;
    }
};

}  // namespace kelvane::testing
