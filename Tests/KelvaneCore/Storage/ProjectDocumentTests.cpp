#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>

#include "Storage/ProjectDocument.h"
#include "Support/ClipBuilder.h"
#include "Support/TestData.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::uuid;
using testing::videoClip;

Project goldenProject() {
    const FileURL movie = FileURL::fromPath("/Users/me/Media/7D1E/Grüße #1.mov");
    const FileURL sound = FileURL::fromPath("/Users/me/Library/Projects/1B5C/Media/7D1E/take1.wav");
    Clip audio = audioClip(0, sound, 9.5).stretch(1, 4.25).at(12.5).volume(0.8);
    audio.id = *UUID::parse("2F3A9B57-5C57-4C57-A8F2-4E6A1B2C3D4E");
    audio.audioTrackID = UUID::parse("8E7C6C0B-7E5B-4C0D-9D2D-0F1C7A6E1B11");
    audio.originalURL = FileURL::fromPath("/Volumes/Card/take1.wav");
    Clip video = videoClip(2, movie, 12).stretch(1.0 / 30, 3.0333333333333337).zoom(2.5).position(-0.25, 1).volume(0);
    video.audioOnly = false;
    const Clip asset = videoClip(1, movie, 9.5).original(FileURL::fromPath("/Volumes/Card/Grüße #1.mov"));
    return {1, {audio, video}, std::vector{asset}, FileURL::fromPath("/Users/me/Media")};
}

std::string failure(std::string_view json) {
    const auto project = decodeProject(json);
    return project ? "(read)" : project.error().message;
}

/// A whole document with one clip, in which `from` is replaced by `to`.
std::string document(const std::string& from = "", const std::string& to = "") {
    std::string text = R"({"version":1,"clips":[{"id":"00000000-0000-0000-0000-000000000001","url":"file:///a.mov",)"
                       R"("sourceDuration":10,"start":0,"end":10,"zoom":1,"horizontal":0,"vertical":0,"volume":1}]})";
    if (!from.empty()) {
        const auto place = text.find(from);
        if (place == std::string::npos) ADD_FAILURE() << from;
        text.replace(place, from.size(), to);
    }
    return text;
}

TEST(ProjectEncoding, OfANewProjectIsTheGoldenFile) {
    EXPECT_EQ(encodeProject({1, {}, std::vector<Clip>(), std::nullopt}), testing::testData("EmptyProject.kelvane"));
}

TEST(ProjectEncoding, OfAProjectIsTheGoldenFile) {
    EXPECT_EQ(encodeProject(goldenProject()), testing::testData("Project.kelvane"));
}

TEST(ProjectEncoding, LeavesOutWhatIsAbsent) {
    EXPECT_EQ(encodeProject(Project()), "{\n  \"clips\" : [\n\n  ],\n  \"version\" : 1\n}");
    Project other;
    other.version = -7;
    other.mediaRoot = FileURL::parse("file:///m/");
    EXPECT_EQ(encodeProject(other),
              "{\n  \"clips\" : [\n\n  ],\n  \"mediaRoot\" : \"file:\\/\\/\\/m\\/\",\n  \"version\" : -7\n}");
}

TEST(ProjectEncoding, FailsOnANumberThatIsNotFiniteAndNamesItsPlace) {
    for (const double value : {std::nan(""), std::numeric_limits<double>::infinity()}) {
        const struct {
            double Clip::* field;
            const char* name;
        } rows[] = {{&Clip::sourceDuration, "sourceDuration"},
                    {&Clip::start, "start"},
                    {&Clip::end, "end"},
                    {&Clip::zoom, "zoom"},
                    {&Clip::horizontal, "horizontal"},
                    {&Clip::vertical, "vertical"},
                    {&Clip::volume, "volume"}};
        for (const auto& row : rows) {
            Project project;
            project.clips = {videoClip(1), videoClip(2)};
            project.clips[1].*row.field = value;
            EXPECT_EQ(encodeProject(project).error().message,
                      std::string("clips[1].") + row.name + " must be a finite number.");
        }
        Project project;
        project.assets = {audioClip(1).at(value)};
        EXPECT_EQ(encodeProject(project).error().message, "assets[0].timelineStart must be a finite number.");
    }
}

TEST(ProjectDecoding, GivesBackWhatWasEncoded) {
    Project project = goldenProject();
    EXPECT_EQ(decodeProject(*encodeProject(project)), project);
    project.assets.reset();
    project.mediaRoot.reset();
    EXPECT_EQ(decodeProject(*encodeProject(project)), project);
    project.assets.emplace();
    EXPECT_EQ(decodeProject(*encodeProject(project)), project);
}

TEST(ProjectDecoding, IsLenientAboutOrderBlanksAndUnknownKeys) {
    const auto project = decodeProject(R"(
        { "unknown" : {"deep": [1, {"a": null}]}, "clips":[{ "zoom":1, "volume":1, "vertical":0, "horizontal":0,
          "url":"file:///a.mov", "start":0, "end":10.0, "sourceDuration":1e1, "more":"x",
          "id":"8e7c6c0b-7e5b-4c0d-9d2d-0f1c7a6e1b11", "audioOnly":null, "timelineStart":null, "audioTrackID":null,
          "originalURL":null }], "mediaRoot":null, "assets":null, "version":1.0 })");
    ASSERT_TRUE(project) << project.error().message;
    Clip clip = videoClip(0, "/a.mov", 10);
    clip.id = *UUID::parse("8E7C6C0B-7E5B-4C0D-9D2D-0F1C7A6E1B11");
    EXPECT_EQ(*project, (Project{1, {clip}, std::nullopt, std::nullopt}));
}

TEST(ProjectDecoding, TestsNoRange) {
    const auto project = decodeProject(document(R"("end":10,"zoom":1)", R"("end":-3,"zoom":99)"));
    ASSERT_TRUE(project);
    EXPECT_EQ(project->clips[0].end, -3);
    EXPECT_EQ(project->clips[0].zoom, 99);
    EXPECT_EQ(decodeProject(document("\"version\":1", "\"version\":-2"))->version, -2);
}

TEST(ProjectDecoding, RequiresEveryRequiredKey) {
    EXPECT_EQ(failure(R"({"clips":[]})"), "version is missing.");
    EXPECT_EQ(failure(R"({"version":1})"), "clips is missing.");
    const struct {
        const char* member;
        const char* key;
    } rows[] = {{R"("id":"00000000-0000-0000-0000-000000000001",)", "id"},
                {R"("url":"file:///a.mov",)", "url"},
                {R"("sourceDuration":10,)", "sourceDuration"},
                {R"("start":0,)", "start"},
                {R"("end":10,)", "end"},
                {R"("zoom":1,)", "zoom"},
                {R"("horizontal":0,)", "horizontal"},
                {R"("vertical":0,)", "vertical"},
                {R"(,"volume":1)", "volume"}};
    for (const auto& row : rows)
        EXPECT_EQ(failure(document(row.member, "")), std::string("clips[0].") + row.key + " is missing.");
}

TEST(ProjectDecoding, RefusesWrongTypesAndNamesTheirPlace) {
    const struct {
        const char* from;
        const char* to;
        const char* sentence;
    } rows[] = {
        {"\"version\":1", "\"version\":\"1\"", "version must be a whole number."},
        {"\"version\":1", "\"version\":2.7", "version must be a whole number."},
        {"\"version\":1", "\"version\":true", "version must be a whole number."},
        {"\"version\":1", "\"version\":null", "version must be a whole number."},
        {"\"version\":1", "\"version\":99999999999999999999", "version must be a whole number."},
        {"\"version\":1", "\"version\":1,\"mediaRoot\":3", "mediaRoot must be a string."},
        {"\"version\":1", "\"version\":1,\"mediaRoot\":\"a b\"", "mediaRoot must be a URL."},
        {"\"version\":1", "\"version\":1,\"assets\":{}", "assets must be an array."},
        {"\"version\":1", "\"version\":1,\"assets\":[7]", "assets[0] must be an object."},
        {"\"version\":1", "\"version\":1,\"assets\":[{}]", "assets[0].id is missing."},
        {"[{", "[[],{", "clips[0] must be an object."},
        {"}]", "},null]", "clips[1] must be an object."},
        {"-000000000001", "-00000000000", "clips[0].id must be a UUID."},
        {"\"00000000-0000-0000-0000-000000000001\"", "1", "clips[0].id must be a string."},
        {"file:///a.mov", "", "clips[0].url must be a URL."},
        {"file:///a.mov", "/a b.mov", "clips[0].url must be a URL."},
        {"\"start\":0", "\"start\":\"0\"", "clips[0].start must be a number."},
        {"\"start\":0", "\"start\":false", "clips[0].start must be a number."},
        {"\"start\":0", "\"start\":null", "clips[0].start must be a number."},
        {"\"zoom\":1", "\"zoom\":[1]", "clips[0].zoom must be a number."},
        {"\"zoom\":1", "\"zoom\":1,\"audioOnly\":1", "clips[0].audioOnly must be true or false."},
        {"\"zoom\":1", "\"zoom\":1,\"audioOnly\":\"true\"", "clips[0].audioOnly must be true or false."},
        {"\"zoom\":1", "\"zoom\":1,\"timelineStart\":\"2\"", "clips[0].timelineStart must be a number."},
        {"\"zoom\":1", "\"zoom\":1,\"timelineStart\":true", "clips[0].timelineStart must be a number."},
        {"\"zoom\":1", "\"zoom\":1,\"audioTrackID\":\"x\"", "clips[0].audioTrackID must be a UUID."},
        {"\"zoom\":1", "\"zoom\":1,\"originalURL\":\"\"", "clips[0].originalURL must be a URL."},
        {"\"zoom\":1", "\"zoom\":1,\"originalURL\":{}", "clips[0].originalURL must be a string."},
        {"\"zoom\":1", "\"zoom\":1e999", "The JSON holds a number that is too large at line 1, column 140."},
    };
    for (const auto& row : rows) EXPECT_EQ(failure(document(row.from, row.to)), row.sentence) << row.to;
    EXPECT_EQ(failure("[]"), "The project must be an object.");
    EXPECT_EQ(failure("null"), "The project must be an object.");
    EXPECT_EQ(failure(R"({"version":1,"clips":{}})"), "clips must be an array.");
    EXPECT_EQ(failure(R"({"version":1,"clips":null})"), "clips must be an array.");
    EXPECT_EQ(failure(""), "The JSON ends too early, at line 1, column 1.");
    EXPECT_EQ(failure(document()), "(read)");
}

}  // namespace
}  // namespace kelvane
