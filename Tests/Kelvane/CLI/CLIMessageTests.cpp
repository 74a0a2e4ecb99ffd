#include <gtest/gtest.h>

#include "CLI/CLIError.h"
#include "CLI/CLIReply.h"
#include "CLI/CLIRequest.h"

namespace kelvane {
namespace {

const UUID projectID = *UUID::parse("8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C6");

TEST(Requests, AreOneObjectThatLeavesAnAbsentProjectOut) {
    const std::pair<CLIRequest, std::string> rows[] = {
        {{"project", {}, {}}, R"({"command":"project","options":{}})"},
        {{"rename", {{"name", "a \"b\"\n\\/→"}, {"revision", "R"}}, projectID},
         R"({"command":"rename","options":{"name":"a \"b\"\n\\/→","revision":"R"},)"
         R"("projectID":"8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C6"})"},
        {{"", {{"", ""}}, {}}, R"({"command":"","options":{"":""}})"},
    };
    for (const auto& [request, text] : rows) {
        EXPECT_EQ(encodeCLIRequest(request), text);
        EXPECT_EQ(decodeCLIRequest(text), request) << text;
    }
}

TEST(Requests, OfOddBytesComeOutAsOneLineOfUTF8) {
    EXPECT_EQ(encodeCLIRequest({"a\xFF", {{"n", std::string("x\0y", 3)}}, {}}),
              "{\"command\":\"a\xEF\xBF\xBD\",\"options\":{\"n\":\"x\\u0000y\"}}");
}

TEST(Requests, AreReadWhateverTheOrderAndTheCaseOfTheUUID) {
    const CLIRequest expected{"undo", {{"revision", "R/1"}}, projectID};
    EXPECT_EQ(decodeCLIRequest(R"( {"projectID":"8c1f2e4a-0b3d-4c5e-9f60-718293a4b5c6","extra":[1],)"
                               R"("options":{"revision":"R\/1"},"command":"undo"} )"),
              expected);
    const CLIRequest withoutProject{"undo", {}, {}};
    EXPECT_EQ(decodeCLIRequest(R"({"command":"undo","options":{},"projectID":null})"), withoutProject);
}

TEST(Requests, ThatAreMalformedFailInWords) {
    const std::string nested = std::string(100'000, '[') + std::string(100'000, ']');
    const std::string rows[] = {
        "",
        "null",
        "7",
        "[]",
        "\"project\"",
        "{",
        "{}",
        R"({"command":"project"})",
        R"({"options":{}})",
        R"({"command":null,"options":{}})",
        R"({"command":1,"options":{}})",
        R"({"command":"project","options":null})",
        R"({"command":"project","options":[]})",
        R"({"command":"project","options":{"a":true}})",
        R"({"command":"project","options":{"a":1}})",
        R"({"command":"project","options":{"a":null}})",
        R"({"command":"project","options":{"a":{}}})",
        R"({"command":"project","options":{},"projectID":""})",
        R"({"command":"project","options":{},"projectID":7})",
        R"({"command":"project","options":{},"projectID":"8C1F2E4A"})",
        R"({"command":"project","options":{}} trailing)",
        "{\"command\":\"\xFF\",\"options\":{}}",
        nested,
        R"({"command":"project","options":)" + nested + "}",
    };
    for (const auto& text : rows) {
        const auto request = decodeCLIRequest(text);
        ASSERT_FALSE(request) << text.substr(0, 80);
        EXPECT_FALSE(request.error().message.empty()) << text.substr(0, 80);
        EXPECT_EQ(request.error().kind, ErrorKind::failure);
    }
    EXPECT_EQ(decodeCLIRequest("[]").error().message, "The request must be a JSON object.");
    EXPECT_EQ(decodeCLIRequest(R"({"command":"a","options":[]})").error().message,
              "The request's “options” must be a JSON object of strings.");
    EXPECT_EQ(decodeCLIRequest(R"({"command":"a","options":{"b":1}})").error().message,
              "The request's option “b” must be a string.");
    EXPECT_EQ(decodeCLIRequest(R"({"command":"a","options":{},"projectID":7})").error().message,
              "The request's “projectID” must be a UUID.");
}

TEST(Replies, OfFailuresEscapeSlashesAndOfSuccessesSortKeysAndKeepThem) {
    EXPECT_EQ(failureReply(CLIError("No “a/b.mp4”.\n\"Retry\".")),
              "{\"ok\":false,\"error\":\"No “a\\/b.mp4”.\\n\\\"Retry\\\".\"}");
    JSONObject inner;
    inner.set("z", "a/b");
    inner.set("a", 1.5);
    JSONObject result;
    result.set("revision", "sha256:00");
    result.set("inner", inner);
    EXPECT_EQ(successReply(result), R"({"ok":true,"result":{"inner":{"a":1.5,"z":"a/b"},"revision":"sha256:00"}})");
    EXPECT_EQ(successReply({}), R"({"ok":true,"result":{}})");
}

TEST(OutcomeUnknown, HasItsFixedSentence) {
    const Error error = CLIOutcomeUnknown();
    EXPECT_EQ(error.kind, ErrorKind::outcomeUnknown);
    EXPECT_EQ(error.message,
              "Kelvane disconnected before returning the result. The command may have succeeded or may still be "
              "running. Do not retry the edit automatically; inspect project state before any further edit, and use "
              "preview to retry rendering.");
}

}  // namespace
}  // namespace kelvane
