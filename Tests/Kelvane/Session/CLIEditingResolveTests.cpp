#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "Session/CLIEditing.h"
#include "Support/ClipBuilder.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::TempFolder;
using testing::uuid;
using testing::videoClip;

constexpr std::string_view shape = "timeline requires an array of up to 1,000 clips, at most 1 MiB.";
constexpr std::string_view fields = "Unsupported clip field or null value. Run cli help for the accepted fields.";
constexpr std::string_view audioFields = "timelineStart and audioTrackID apply to audio clips only.";
constexpr std::string_view clipIDs =
    "clipID must identify a unique existing occurrence of the same asset. Omit it for a new occurrence.";

/// Two assets with files: a video of 10 s (id 11) and a sound of 20 s (id 12). A third (id 13) has no file.
/// On the timeline: the video (1), the sound at 4 s in lane 9 (2), the video (3), the sound in its own lane (4).
class CLIEditingResolve : public ::testing::Test {
protected:
    TempFolder folder;
    FileURL film = folder.write("film.mov");
    FileURL sound = folder.write("sound.wav");
    FileURL gone = folder.url("gone take.mov");
    std::vector<Clip> assets{videoClip(11, film, 10), audioClip(12, sound, 20), videoClip(13, gone, 10)};
    std::vector<Clip> current{videoClip(1, film, 10).stretch(1, 4).zoom(2).volume(0.5),
                              audioClip(2, sound, 20).at(4).lane(uuid(9)).volume(0.25), videoClip(3, film, 10),
                              audioClip(4, sound, 20)};

    /// The text with "$n" for the n-th identifier.
    static std::string expanded(std::string_view text) {
        std::string out;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] != '$') {
                out += text[i];
                continue;
            }
            std::size_t number = 0;
            while (i + 1 < text.size() && std::isdigit(static_cast<unsigned char>(text[i + 1])) != 0)
                number = number * 10 + static_cast<std::size_t>(text[++i] - '0');
            out += uuid(number).upper();
        }
        return out;
    }
    Result<std::vector<Clip>> resolve(std::string_view text) {
        return CLIEditing::resolve(expanded(text), assets, current);
    }
    /// The failure's sentence, or "resolved".
    std::string refusal(std::string_view text) {
        const auto clips = resolve(text);
        return clips ? "resolved" : clips.error().message;
    }
};

TEST_F(CLIEditingResolve, AnEmptyArrayIsAnEmptyTimeline) { EXPECT_EQ(resolve("[]"), std::vector<Clip>{}); }

TEST_F(CLIEditingResolve, ANewVideoEntryTakesDefaults) {
    const auto clips = resolve(R"([{"assetID":"$11","start":0.5,"end":3}])");
    ASSERT_TRUE(clips.has_value()) << clips.error().message;
    ASSERT_EQ(clips->size(), 1U);
    Clip expected = videoClip(0, film, 10).stretch(0.5, 3);
    expected.id = clips->front().id;
    EXPECT_EQ(clips->front(), expected);
    EXPECT_NE(expected.id, UUID{});
}

TEST_F(CLIEditingResolve, AnEntryStatesEveryField) {
    const auto clips = resolve(
        R"([{"assetID":"$12","clipID":"$2","start":1,"end":2.5,"zoom":1.5,"horizontal":-1,"vertical":0.5,"volume":0,
             "timelineStart":7.25,"audioTrackID":"$8"}])");
    ASSERT_TRUE(clips.has_value()) << clips.error().message;
    EXPECT_EQ(
        *clips,
        (std::vector<Clip>{
            audioClip(2, sound, 20).stretch(1, 2.5).zoom(1.5).position(-1, 0.5).volume(0).at(7.25).lane(uuid(8))}));
}

TEST_F(CLIEditingResolve, ARetainedVideoClipGoesBackToDefaults) {
    EXPECT_EQ(resolve(R"([{"assetID":"$11","clipID":"$1","start":0,"end":2}])"),
              (std::vector<Clip>{videoClip(1, film, 10).stretch(0, 2)}));
}

TEST_F(CLIEditingResolve, IdentifiersAreReadInEitherCase) {
    std::string text = expanded(R"([{"assetID":"$11","clipID":"$1","start":0,"end":2}])");
    const auto lower = [](char c) { return static_cast<char>(std::tolower(c)); };
    std::ranges::transform(text.begin() + 13, text.begin() + 49, text.begin() + 13, lower);
    EXPECT_EQ(resolve(text), (std::vector<Clip>{videoClip(1, film, 10).stretch(0, 2)}));
}

TEST_F(CLIEditingResolve, ARetainedAudioClipKeepsItsPlaceAndLane) {
    EXPECT_EQ(resolve(R"([{"assetID":"$12","clipID":"$2","start":0,"end":5},
                          {"assetID":"$12","clipID":"$4","start":0,"end":5}])"),
              (std::vector<Clip>{audioClip(2, sound, 20).stretch(0, 5).at(4).lane(uuid(9)),
                                 audioClip(4, sound, 20).stretch(0, 5).at(0)}));
}

TEST_F(CLIEditingResolve, ANewAudioEntryStartsAtZeroInALaneOfItsOwn) {
    const auto clips = resolve(R"([{"assetID":"$12","start":0,"end":5}])");
    ASSERT_TRUE(clips.has_value());
    EXPECT_EQ(clips->front().timelineStart, 0.0);
    EXPECT_EQ(clips->front().audioTrackID, std::nullopt);
    EXPECT_EQ(clips->front().lane(), clips->front().id);
}

TEST_F(CLIEditingResolve, TheOrderOfTheArrayIsTheOrderOfTheTimeline) {
    const auto clips = resolve(R"([{"assetID":"$12","start":0,"end":5,"audioTrackID":"$70"},
                                   {"assetID":"$11","start":0,"end":5},
                                   {"assetID":"$12","start":0,"end":5,"audioTrackID":"$9"}])");
    ASSERT_TRUE(clips.has_value());
    ASSERT_EQ(clips->size(), 3U);
    EXPECT_EQ((*clips)[0].audioTrackID, uuid(70));
    EXPECT_EQ((*clips)[1].url, film);
    EXPECT_EQ((*clips)[2].audioTrackID, uuid(9));
}

TEST_F(CLIEditingResolve, RefusesInTheWordsOfTheFirstFault) {
    struct Row {
        std::string_view text;
        std::string_view words;
    };
    for (const Row& row : {
             Row{"1", shape},
             Row{"{}", shape},
             Row{"null", shape},
             Row{"\"[]\"", shape},
             Row{"[1]", shape},
             Row{"[[]]", shape},
             Row{"[null]", shape},
             Row{R"([{"assetID":"$11","start":0,"end":1},7])", shape},
             // Fields and nulls, before any type.
             Row{R"([{"assetID":"$11","start":0,"end":1,"clipID":null}])", fields},
             Row{R"([{"assetID":"$11","start":0,"end":1,"zoom":null}])", fields},
             Row{R"([{"assetID":null,"start":0,"end":1}])", fields},
             Row{R"([{"assetID":"$11","start":0,"end":1,"zoom":null,"zoom":2}])", fields},
             Row{R"([{"assetID":"$11","start":0,"end":1,"zoom":2,"zoom":null}])", fields},
             Row{R"([{"assetID":"$11","start":null,"start":0,"end":1}])", fields},
             Row{R"([{"assetID":"$11","start":0,"end":1,"zoom":[null]}])", "Clip 1: zoom must be a number."},
             Row{R"([{"assetID":"$11","start":0,"end":1,"zoom":{"x":null}}])", "Clip 1: zoom must be a number."},
             Row{R"([{"assetID":"$11","start":0,"end":1,"speed":2}])", fields},
             Row{R"([{"assetID":"$11","start":0,"end":1,"Zoom":2}])", fields},
             Row{R"([{"start":"x"},{"assetID":"$11","start":0,"end":1,"url":"x"}])", fields},
             // Types.
             Row{R"([{"start":0,"end":1}])", "Clip 1: assetID is missing."},
             Row{R"([{"assetID":"$11","end":1}])", "Clip 1: start is missing."},
             Row{R"([{"assetID":"$11","start":0}])", "Clip 1: end is missing."},
             Row{"[{}]", "Clip 1: assetID is missing."},
             Row{R"([{"assetID":"x","start":0,"end":1}])", "Clip 1: assetID must be a UUID."},
             Row{R"([{"assetID":11,"start":0,"end":1}])", "Clip 1: assetID must be a UUID."},
             Row{R"([{"assetID":"$11","clipID":true,"start":0,"end":1}])", "Clip 1: clipID must be a UUID."},
             Row{R"([{"assetID":"$11","clipID":"","start":0,"end":1}])", "Clip 1: clipID must be a UUID."},
             Row{R"([{"assetID":"$12","start":0,"end":1,"audioTrackID":"$9x"}])",
                 "Clip 1: audioTrackID must be a UUID."},
             Row{R"([{"assetID":"$11","start":0,"end":1},{"assetID":"$11","start":"0","end":1}])",
                 "Clip 2: start must be a number."},
             Row{R"([{"assetID":"$11","start":0,"end":true}])", "Clip 1: end must be a number."},
             Row{R"([{"assetID":"$11","start":0,"end":1,"volume":[1]}])", "Clip 1: volume must be a number."},
             Row{R"([{"assetID":"$11","start":0,"end":1,"timelineStart":{}}])",
                 "Clip 1: timelineStart must be a number."},
             // All types are read before the first clip is made.
             Row{R"([{"assetID":"$99","start":0,"end":1},{"assetID":"$11","start":0}])", "Clip 2: end is missing."},
             // Entries, one after the other.
             Row{R"([{"assetID":"$99","start":0,"end":1}])", "Clip 1: unknown assetID."},
             Row{R"([{"assetID":"$1","start":0,"end":1}])", "Clip 1: unknown assetID."},
             Row{R"([{"assetID":"$11","start":0,"end":1},{"assetID":"$99","start":0,"end":1}])",
                 "Clip 2: unknown assetID."},
             Row{R"([{"assetID":"$11","start":0,"end":1,"timelineStart":0}])", audioFields},
             Row{R"([{"assetID":"$11","start":0,"end":1,"audioTrackID":"$9"}])", audioFields},
             Row{R"([{"assetID":"$11","clipID":"$77","start":0,"end":1}])", clipIDs},
             Row{R"([{"assetID":"$11","clipID":"$2","start":0,"end":1}])", clipIDs},
             Row{R"([{"assetID":"$11","clipID":"$11","start":0,"end":1}])", clipIDs},
             Row{R"([{"assetID":"$11","clipID":"$1","start":0,"end":1},
                     {"assetID":"$11","clipID":"$1","start":1,"end":2}])",
                 clipIDs},
             // A wrong clipID answers before a wrong trim, and a wrong trim before the next entry.
             Row{R"([{"assetID":"$11","clipID":"$77","start":5,"end":1}])", clipIDs},
             Row{R"([{"assetID":"$11","start":5,"end":1},{"assetID":"$99","start":0,"end":1}])",
                 "Clip 1: invalid trim, framing or volume. Run cli help for ranges."},
         }) {
        EXPECT_EQ(refusal(row.text), row.words) << row.text;
    }
}

TEST_F(CLIEditingResolve, RefusesWhatNoClipMayBe) {
    for (const std::string_view rest :
         {R"("start":-0.1,"end":1)", R"("start":0,"end":0.03)", R"("start":0,"end":10.0011)",
          R"("start":0,"end":1,"zoom":0.99)", R"("start":0,"end":1,"zoom":3.01)",
          R"("start":0,"end":1,"horizontal":-1.01)", R"("start":0,"end":1,"vertical":1.01)",
          R"("start":0,"end":1,"volume":-0.01)", R"("start":0,"end":1,"volume":1.01)"}) {
        const std::string good = R"({"assetID":"$11","start":0,"end":1})";
        EXPECT_EQ(refusal("[" + good + R"(,{"assetID":"$11",)" + std::string(rest) + "}]"),
                  "Clip 2: invalid trim, framing or volume. Run cli help for ranges.")
            << rest;
    }
    EXPECT_EQ(refusal(R"([{"assetID":"$12","start":0,"end":1,"timelineStart":-1}])"),
              "Clip 1: invalid trim, framing or volume. Run cli help for ranges.");
    EXPECT_EQ(refusal(R"([{"assetID":"$11","start":0,"end":10.001}])"), "resolved");
}

TEST_F(CLIEditingResolve, ASyntaxErrorHasWordsOfItsOwn) {
    for (const std::string& text :
         {std::string(), std::string("["), std::string("[{]"), std::string("[] x"),
          std::string(R"([{"assetID":"\uD800"}])"), std::string("[\"\xFF\"]"),
          std::string(R"([{"assetID":"$11","start":0,"end":1e999}])"),
          std::string(R"([{"assetID":"$11","start":0,"end":NaN}])"), std::string(200000, '[')}) {
        const auto words = refusal(text);
        EXPECT_NE(words, "resolved") << text.substr(0, 60);
        EXPECT_NE(words, shape) << text.substr(0, 60);
        EXPECT_NE(words, "") << text.substr(0, 60);
        EXPECT_EQ(words.find("Clip "), std::string::npos) << words;
    }
}

TEST_F(CLIEditingResolve, ATextOfOneMebibyteIsReadAndOneByteMoreIsNot) {
    const auto padded = [](std::size_t size) { return "[" + std::string(size - 2, ' ') + "]"; };
    EXPECT_EQ(refusal(padded(1'048'576)), "resolved");
    EXPECT_EQ(refusal(padded(1'048'577)), shape);
    // The size answers before the syntax.
    EXPECT_EQ(refusal(std::string(1'048'577, 'x')), shape);
}

TEST_F(CLIEditingResolve, AThousandEntriesAreReadAndOneMoreIsNot) {
    const auto entries = [](int count) {
        std::string text = "[";
        for (int i = 0; i < count; ++i) text += (i > 0 ? "," : "") + expanded(R"({"assetID":"$11","start":0,"end":1})");
        return text + "]";
    };
    EXPECT_EQ(refusal(entries(1000)), "resolved");
    EXPECT_EQ(refusal(entries(1001)), shape);
}

TEST_F(CLIEditingResolve, ValidateComesLast) {
    EXPECT_EQ(refusal(R"([{"assetID":"$12","start":0,"end":1,"timelineStart":86399.5}])"),
              "Require valid clips, at most 1,000 occurrences and 24 hours total.");
    EXPECT_EQ(
        refusal(R"([{"assetID":"$12","start":0,"end":1,"timelineStart":86399.5},{"assetID":"$99","start":0,"end":1}])"),
        "Clip 2: unknown assetID.");
    // Whether its file is there is no part of what a timeline is.
    EXPECT_EQ(refusal(R"([{"assetID":"$13","start":0,"end":1}])"), "resolved");
}

TEST_F(CLIEditingResolve, TheSameTimelineSentBackIsIdentical) {
    const auto entry = [](std::size_t i, std::string_view rest) {
        return R"({"clipID":"$)" + std::to_string(i) + R"(",)" + std::string(rest) + "}";
    };
    const std::string first = entry(1, R"("assetID":"$11","start":1,"end":4,"zoom":2,"volume":0.5)");
    const std::string second =
        entry(2, R"("assetID":"$12","start":0,"end":20,"volume":0.25,"timelineStart":4,"audioTrackID":"$9")");
    const std::string third = entry(3, R"("assetID":"$11","start":0,"end":10)");
    const std::string fourth = entry(4, R"("assetID":"$12","start":0,"end":20,"timelineStart":0,"audioTrackID":"$4")");
    // The last clip's position goes from absent to 0 on the first request only.
    current[3].timelineStart = 0;

    std::string same = "[" + first + "," + second + "," + third + "," + fourth + "]";
    EXPECT_TRUE(CLIEditing::identical(current, resolve(same).value()));
    const auto swapped = resolve("[" + third + "," + second + "," + first + "," + fourth + "]");
    EXPECT_FALSE(CLIEditing::identical(current, swapped.value()));

    for (const int id : {1, 2, 3, 4}) {
        const std::string member = R"("clipID":"$)" + std::to_string(id) + R"(",)";
        same.erase(same.find(member), member.size());
    }
    EXPECT_TRUE(CLIEditing::identical(current, resolve(same).value()));
}

class CLIEditingValidate : public CLIEditingResolve {
protected:
    static std::string refusal(const std::vector<Clip>& clips) {
        auto valid = CLIEditing::validate(clips);
        if (valid) valid = CLIEditing::checkSources(clips);
        return valid ? "valid" : valid.error().message;
    }
};

TEST_F(CLIEditingValidate, HoldsTheLimitsOfATimeline) {
    constexpr std::string_view limits = "Require valid clips, at most 1,000 occurrences and 24 hours total.";
    const Clip day = videoClip(1, film, 86'400);
    const Clip instant = videoClip(2, film, 10).stretch(0, 0.5);
    EXPECT_EQ(refusal({}), "valid");
    EXPECT_EQ(refusal({day}), "valid");
    EXPECT_EQ(refusal({day, instant}), limits);
    EXPECT_EQ(refusal({instant, audioClip(3, sound, 20).at(86'380)}), "valid");
    EXPECT_EQ(refusal({instant, audioClip(3, sound, 20).at(86'380.5)}), limits);
    EXPECT_EQ(refusal({instant, videoClip(3, film, 10).zoom(4)}), limits);
    EXPECT_EQ(refusal(std::vector<Clip>(1000, instant)), "valid");
    EXPECT_EQ(refusal(std::vector<Clip>(1001, instant)), limits);
    // The limits answer before the files.
    EXPECT_EQ(refusal({videoClip(4, gone), videoClip(3, film, 10).zoom(4)}), limits);
}

TEST_F(CLIEditingValidate, NamesTheFirstSourceThatIsMissing) {
    const Clip lost = audioClip(4, folder.url("another.take.wav"), 10);
    EXPECT_EQ(refusal({videoClip(1, film), lost, videoClip(2, gone)}),
              "Source missing: another.take. Restore the original video.");
    std::filesystem::remove(film.path());
    EXPECT_EQ(refusal({videoClip(1, film), lost}), "Source missing: film. Restore the original video.");
    folder.write("film.mov");
    EXPECT_EQ(refusal({videoClip(1, film), videoClip(2, film)}), "valid");
}

TEST_F(CLIEditingValidate, LooksThroughLinksAndAtDecodedPaths) {
    std::filesystem::create_symlink(film.path(), folder.path("link.mov"));
    std::filesystem::create_symlink(folder.path("nowhere"), folder.path("dangling.mov"));
    folder.write("two words ü.mov");
    EXPECT_EQ(refusal({videoClip(1, folder.url("link.mov")), videoClip(2, folder.url("two words ü.mov"))}), "valid");
    EXPECT_EQ(refusal({videoClip(1, folder.url("dangling.mov"))}),
              "Source missing: dangling. Restore the original video.");
    // A zero byte ends no path early.
    EXPECT_NE(refusal({videoClip(1, FileURL::fromPath(film.path() + std::string("\0.mov", 5)))}), "valid");
}

}  // namespace
}  // namespace kelvane
