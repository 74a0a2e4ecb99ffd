#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "Session/CLIEditing.h"
#include "Support/ClipBuilder.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::uuid;
using testing::videoClip;

std::vector<Clip> clips() {
    return {videoClip(1, "/media/two words.mov", 10).stretch(0.5, 3.25).zoom(1.5).position(-0.25, 1).volume(0.03),
            audioClip(2, "/media/sound.wav", 9.5).at(4.5)};
}
std::vector<Clip> assets() {
    return {videoClip(11, "/media/two words.mov", 10), audioClip(12, "/media/sound.wav", 9.5)};
}

TEST(CLIEditingRevision, OfNothingIsTheHashOfFiveLines) {
    // printf 'Kelvane editing revision 2\n8:timeline\n1:0\n6:assets\n1:0' | sha256sum
    EXPECT_EQ(CLIEditing::revision({}, {}), "sha256:45d0a61d8d94a98b51e187cfe04fcda72aac71b1043db7330830dccab7d00f17");
}

TEST(CLIEditingRevision, OfAVideoAndAnAudioClipIsTheHashOfTheirLines) {
    // By sha256sum from the text written out by hand.
    EXPECT_EQ(CLIEditing::revision(clips(), assets()),
              "sha256:220a32ed62f3422d5bf696327ca761d39dfae8b9cc91f85e75d2ad86b95c4e18");
}

TEST(CLIEditingRevision, LeavesOutWhatNoEditDependsOn) {
    struct Row {
        const char* what;
        std::function<void(std::vector<Clip>&, std::vector<Clip>&)> change;
    };
    const auto before = CLIEditing::revision(clips(), assets());
    for (const Row& row : std::vector<Row>{
             {"zero of the other sign", [](auto& c, auto&) { c[1].start = -0.0; }},
             {"negative zero as a position", [](auto& c, auto&) { c[1].horizontal = -0.0; }},
             {"the implied lane made explicit", [](auto& c, auto&) { c[1].audioTrackID = c[1].id; }},
             {"the original file", [](auto& c, auto&) { c[0].originalURL = FileURL::fromPath("/card/a.mov"); }},
             {"a video clip's position", [](auto& c, auto&) { c[0].timelineStart = 3; }},
             {"a video clip's lane", [](auto& c, auto&) { c[0].audioTrackID = uuid(9); }},
             {"false for absent", [](auto& c, auto&) { c[0].audioOnly = false; }},
             {"an asset's volume", [](auto&, auto& a) { a[0].volume = 0.5; }},
             {"an asset's kind", [](auto&, auto& a) { a[0].audioOnly = true; }},
         }) {
        auto changedClips = clips();
        auto changedAssets = assets();
        row.change(changedClips, changedAssets);
        EXPECT_EQ(CLIEditing::revision(changedClips, changedAssets), before) << row.what;
    }
}

TEST(CLIEditingRevision, TakesInEveryFieldThatAnEditDependsOn) {
    struct Row {
        const char* what;
        std::function<void(std::vector<Clip>&, std::vector<Clip>&)> change;
    };
    const auto before = CLIEditing::revision(clips(), assets());
    for (const Row& row : std::vector<Row>{
             {"id", [](auto& c, auto&) { c[0].id = uuid(99); }},
             {"url", [](auto& c, auto&) { c[0].url = FileURL::fromPath("/media/other.mov"); }},
             {"kind", [](auto& c, auto&) { c[0].audioOnly = true; }},
             {"position", [](auto& c, auto&) { c[1].timelineStart = 4.25; }},
             {"position absent", [](auto& c, auto&) { c[1].timelineStart.reset(); }},
             {"lane", [](auto& c, auto&) { c[1].audioTrackID = uuid(7); }},
             {"sourceDuration", [](auto& c, auto&) { c[0].sourceDuration = 10.5; }},
             {"start", [](auto& c, auto&) { c[0].start = 0.75; }},
             {"end", [](auto& c, auto&) { c[0].end = 3.5; }},
             {"the last bit of end", [](auto& c, auto&) { c[0].end = std::nextafter(3.25, 4.0); }},
             {"zoom", [](auto& c, auto&) { c[0].zoom = 2; }},
             {"horizontal", [](auto& c, auto&) { c[0].horizontal = 0.25; }},
             {"vertical", [](auto& c, auto&) { c[0].vertical = -1; }},
             {"volume", [](auto& c, auto&) { c[0].volume = 0.3; }},
             {"order", [](auto& c, auto&) { std::swap(c[0], c[1]); }},
             {"a clip less", [](auto& c, auto&) { c.pop_back(); }},
             {"asset id", [](auto&, auto& a) { a[0].id = uuid(99); }},
             {"asset url", [](auto&, auto& a) { a[0].url = FileURL::fromPath("/media/other.mov"); }},
             {"asset length", [](auto&, auto& a) { a[0].sourceDuration = 11; }},
             {"asset order", [](auto&, auto& a) { std::swap(a[0], a[1]); }},
             {"an asset less", [](auto&, auto& a) { a.pop_back(); }},
         }) {
        auto changedClips = clips();
        auto changedAssets = assets();
        row.change(changedClips, changedAssets);
        EXPECT_NE(CLIEditing::revision(changedClips, changedAssets), before) << row.what;
    }
}

TEST(CLIEditingIdentical, AcceptsWhatChangesNothing) {
    const std::vector<Clip> current{videoClip(1), audioClip(2).at(3), audioClip(3).at(4).lane(uuid(9)), videoClip(4)};
    struct Row {
        const char* what;
        std::function<void(std::vector<Clip>&)> change;
    };
    for (const Row& row : std::vector<Row>{
             {"nothing", [](auto&) {}},
             {"fresh ids",
              [](auto& c) {
                  for (auto& clip : c) clip.id = UUID::random();
              }},
             {"the implied lane made explicit", [](auto& c) { c[1].audioTrackID = uuid(2); }},
             {"a fresh id in the implied lane, named",
              [](auto& c) {
                  c[1].id = UUID::random();
                  c[1].audioTrackID = uuid(2);
              }},
             {"the original file", [](auto& c) { c[0].originalURL = FileURL::fromPath("/card/a.mov"); }},
             {"a video clip's lane", [](auto& c) { c[0].audioTrackID = uuid(9); }},
             {"zero of the other sign", [](auto& c) { c[0].horizontal = -0.0; }},
         }) {
        auto target = current;
        row.change(target);
        // A fresh clip without a lane takes over only a lane that was implied.
        if (std::string_view(row.what) == "fresh ids") target[2].audioTrackID = uuid(9);
        EXPECT_TRUE(CLIEditing::identical(current, target)) << row.what;
    }
    EXPECT_TRUE(CLIEditing::identical({}, {}));
}

TEST(CLIEditingIdentical, SeesEveryChangeThatMatters) {
    const std::vector<Clip> current{videoClip(1), audioClip(2).at(3), audioClip(3).at(4).lane(uuid(9)), videoClip(4)};
    struct Row {
        const char* what;
        std::function<void(std::vector<Clip>&)> change;
    };
    for (const Row& row : std::vector<Row>{
             {"a clip less", [](auto& c) { c.pop_back(); }},
             {"a clip more", [](auto& c) { c.push_back(videoClip(5)); }},
             {"retained clips swapped", [](auto& c) { std::swap(c[0], c[3]); }},
             {"a retained id moved to its like", [](auto& c) { c[0].id = uuid(4); }},
             {"a lane left", [](auto& c) { c[2].audioTrackID.reset(); }},
             {"a fresh id that leaves an explicit lane",
              [](auto& c) {
                  c[2].id = UUID::random();
                  c[2].audioTrackID.reset();
              }},
             {"another lane", [](auto& c) { c[1].audioTrackID = uuid(9); }},
             {"url", [](auto& c) { c[0].url = FileURL::fromPath("/media/other.mov"); }},
             {"sourceDuration", [](auto& c) { c[0].sourceDuration = 11; }},
             {"start", [](auto& c) { c[0].start = 1; }},
             {"end", [](auto& c) { c[0].end = 9; }},
             {"kind", [](auto& c) { c[0].audioOnly = true; }},
             {"false for absent", [](auto& c) { c[0].audioOnly = false; }},
             {"position", [](auto& c) { c[1].timelineStart = 3.5; }},
             {"position absent", [](auto& c) { c[1].timelineStart.reset(); }},
             {"zoom", [](auto& c) { c[0].zoom = 2; }},
             {"horizontal", [](auto& c) { c[0].horizontal = 1; }},
             {"vertical", [](auto& c) { c[0].vertical = 1; }},
             {"volume", [](auto& c) { c[0].volume = 0; }},
         }) {
        auto target = current;
        row.change(target);
        EXPECT_FALSE(CLIEditing::identical(current, target)) << row.what;
    }
}

TEST(CLIEditingIdentical, TakesAFreshClipForTheLaneThatWasImpliedOnly) {
    Clip fresh = audioClip(50).at(3);
    EXPECT_TRUE(CLIEditing::identical(std::vector<Clip>{audioClip(2).at(3)}, std::vector<Clip>{fresh}));
    EXPECT_FALSE(CLIEditing::identical(std::vector<Clip>{audioClip(2).at(3).lane(uuid(9))}, std::vector<Clip>{fresh}));
}

}  // namespace
}  // namespace kelvane
