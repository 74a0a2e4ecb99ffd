#pragma once

#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"

namespace kelvane::testing {

inline std::string contents(const FileURL& file) {
    std::ostringstream text;
    text << std::ifstream(file.path(), std::ios::binary).rdbuf();
    return text.str();
}

/// An editor of one video clip of 4 s, which exports into a folder of its own.
class Export : public EditorFixture {
protected:
    Export() {
        std::filesystem::create_directories(output().path());
        movie = makeManaged("a.mov", FakeFile::video(4));
        sound = makeManaged("b.wav", FakeFile::audio(2));
        load({videoClip(1, movie, 4)}, std::vector<Clip>{videoClip(91, movie, 4), audioClip(92, sound, 2)});
        settlePreview();
        media.clearCalls();
    }
    [[nodiscard]] FileURL output() const { return folder().appending("Output"); }
    [[nodiscard]] FileURL place(const std::string& name) const { return output().appending(name); }
    /// Starts an export whose answer lands in `answer`.
    void start(const FileURL& file, bool overwrite = false, ExportResolution resolution = ExportResolution::automatic,
               ExportFrameRate rate = ExportFrameRate::automatic, std::function<Result<void>()> validate = nullptr,
               std::stop_token stop = {}) {
        answer.reset();
        task =
            keep(editor->exportMedia(file, overwrite, resolution, rate, std::move(validate), std::move(stop)), &answer);
    }
    template <class... Arguments>
    Result<void> run(Arguments... arguments) {
        start(std::move(arguments)...);
        context.settle();
        check(answer.has_value(), "an export is done when nothing is left to run");
        return *answer;
    }
    /// Runs the next piece of background work and what it leads to.
    void step() {
        ASSERT_TRUE(context.stepBackground());
        context.runPosted();
    }
    /// The same until the movie has its name.
    void stepUntilPublished(const FileURL& file) {
        while (!std::filesystem::exists(file.path()) || contents(file) != media.exports.contents) {
            ASSERT_TRUE(context.hasWork());
            step();
        }
    }
    void whenCalled(const std::string& prefix, std::function<void()> act) {
        media.setObserver([prefix, act = std::move(act)](const std::string& line) {
            if (line.starts_with(prefix)) act();
        });
    }
    /// Expects what a refusal before the start leaves.
    void expectUntouched() {
        EXPECT_EQ(editor->exportFormat(), "Determining export settings…");
        EXPECT_EQ(editor->exportedURL(), std::nullopt);
        EXPECT_EQ(media.calls(), std::vector<std::string>());
    }
    /// Expects what the clean-up leaves, and that the folder of the exports holds `names`.
    void expectCleanedUp(const std::vector<std::string>& names) {
        EXPECT_FALSE(editor->isExporting());
        EXPECT_EQ(context.pendingTimers(), 0U);
        EXPECT_EQ(entries(output()), names);
    }

    FileURL movie, sound;
    std::optional<Result<void>> answer;
    QCoro::Task<void> task;
};

}  // namespace kelvane::testing
