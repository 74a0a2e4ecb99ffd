#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "BadInputFixture.h"
#include "Integration/Footage.h"
#include "Support/SoundServer.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;

/// A disk of its own, for this process and those that it starts, as large as what a project needs at first.
class SmallDisk {
public:
    explicit SmallDisk(std::string path) : path_(std::move(path)) {
        std::filesystem::create_directories(path_);
        isThere_ = unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                   mount("tmpfs", path_.c_str(), "tmpfs", 0, "size=1m") == 0;
    }
    ~SmallDisk() {
        if (isThere_) umount2(path_.c_str(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    /// Not everybody may have one.
    [[nodiscard]] bool isThere() const { return isThere_; }
    void fill() const {
        std::ofstream ballast(path_ + "/ballast", std::ios::binary);
        const std::string block(4096, 'x');
        while (ballast.write(block.data(), static_cast<std::streamsize>(block.size())).flush()) {
        }
    }
    void makeRoom() const { std::filesystem::remove(path_ + "/ballast"); }

private:
    std::string path_;
    bool isThere_ = false;
};

class FullDisk : public BadInput {
protected:
    /// Goes on with a project on a disk that is full from `fill` to `makeRoom`, and finds what the system says of it
    /// in each alert.
    void workThrough(const std::function<void()>& fill, const std::function<void()>& makeRoom, const std::string& why);
    void expectRefusedImport(const std::string& file, const std::string& why);
    void expectRefusedProject(const std::string& why);
    void expectRefusedExport(const std::string& why);
    /// No file that the application writes grows beyond that.
    void limit(rlim_t bytes) const {
        rlimit now{};
        ASSERT_EQ(prlimit(app->pid(), RLIMIT_FSIZE, nullptr, &now), 0);
        now.rlim_cur = std::min(bytes, now.rlim_max);
        ASSERT_EQ(prlimit(app->pid(), RLIMIT_FSIZE, &now, nullptr), 0);
    }
    void expectUnsaved(const std::string& why) {
        EXPECT_THAT(expectAlertThatBegins("Your changes could not be saved: "), HasSubstr(why));
        (void)node("label", "Not saved");
    }
};

void FullDisk::expectRefusedImport(const std::string& file, const std::string& why) {
    press("Ctrl+I");
    expectFocus("text", "File name");
    type(file);
    press("Return");
    EXPECT_THAT(expectAlertThatBegins("“"), HasSubstr(why));
    EXPECT_EQ(state()["assets"].size(), 1U);
}

void FullDisk::expectRefusedProject(const std::string& why) {
    press("Ctrl+N");
    expectFocus("text", "Name");
    press("Return");
    EXPECT_THAT(expectAlertThatBegins("“"), HasSubstr(why));
    (void)node("push button", "Project name: Harbour. Rename project");
}

void FullDisk::expectRefusedExport(const std::string& why) {
    press("Ctrl+E");
    expectState(node("push button", "Export…"), "enabled");
    press("Return");
    expectFocus("text", "File name");
    press("Ctrl+A");
    type(folder.path("Kelvane/Film.mp4"));
    press("Return");
    EXPECT_THAT(expectAlertThatBegins("Video export failed."), HasSubstr(why));
    EXPECT_FALSE(folder.exists("Kelvane/Film.mp4"));
}

void FullDisk::workThrough(const std::function<void()>& fill, const std::function<void()>& makeRoom,
                           const std::string& why) {
    launchOn("Harbour");
    const std::string tone = makeTone(folder, "Tone.wav", 440, 1);
    const std::string other = makeTone(folder, "Other.wav", 880, 1);
    const auto asset = import(tone)["imported"][0];
    (void)waitFor([this] { return isThere("label", "Saved"); }, "it isn't saved at first");
    if (HasFailure()) return;
    const auto before = folder.entries();
    fill();
    lay(json{{{"assetID", asset}, {"start", 0}, {"end", 1}, {"timelineStart", 0}}});
    expectUnsaved(why);
    expectRefusedImport(other, why);
    expectRefusedProject(why);
    expectRefusedExport(why);
    // Neither the home nor an end comes before it is saved.
    press("Ctrl+1");
    expectUnsaved(why);
    if (!HasFailure()) app->signal(SIGTERM);
    expectUnsaved(why);
    (void)node("panel", "Timeline viewport");
    if (HasFailure()) return;
    EXPECT_EQ(state()["timeline"].size(), 1U);
    makeRoom();
    press("Ctrl+S");
    (void)node("label", "Saved");
    EXPECT_EQ(folder.entries(), before);
    EXPECT_EQ(app->quit(), 0) << log();
    expectKept(1);
}

TEST_F(FullDisk, IsToldOfAndLosesNothing) {
    const SmallDisk disk(folder.path("Kelvane"));
    if (!disk.isThere()) GTEST_SKIP() << "no disk can be mounted here";
    workThrough([&] { disk.fill(); }, [&] { disk.makeRoom(); }, "No space left on device");
}

TEST_F(FullDisk, IsNoOtherWhereTheSystemKeepsFilesFromGrowing) {
    workThrough([&] { limit(8); }, [&] { limit(RLIM_INFINITY); }, "File too large");
}

TEST_F(FullDisk, EndsATakeWithASentenceAndTheNextIsKept) {
    if (!SoundServer::isInstalled()) GTEST_SKIP() << "no pulseaudio here";
    SoundServer sound;
    ASSERT_TRUE(sound.start()) << sound.log();
    launchOn("Harbour");
    if (HasFailure()) return;
    // Room for what begins a take, and for no sound.
    limit(4096);
    press("R");
    (void)expectAlertThatBegins("The voice-over audio could not be recorded.");
    expectState(node("push button", "Record Voice Over"), "enabled");
    if (HasFailure()) return;
    EXPECT_EQ(state()["timeline"], json::array());
    EXPECT_THAT(folder.entries(), Each(Not(HasSubstr("Voice Over"))));
    limit(RLIM_INFINITY);
    press("R");
    (void)node("push button", "Stop Voice Over");
    (void)waitFor([this] { return state().value("playhead", 0.0) > 0.3; }, "the take doesn't go on");
    press("Space");
    (void)waitFor([this] { return state()["timeline"].size() == 1; }, "no take is kept");
    EXPECT_EQ(app->quit(), 0) << log();
    expectKept(1);
}

}  // namespace
}  // namespace kelvane::testing
