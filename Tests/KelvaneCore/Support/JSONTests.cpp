#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>

#include "Support/JSON.h"

namespace kelvane {
namespace {

std::string failure(std::string_view text) {
    const auto parsed = parseJSON(text);
    return parsed ? "(read)" : parsed.error().message;
}

std::string nested(int depth) {
    return std::string(static_cast<std::size_t>(depth), '[') + std::string(static_cast<std::size_t>(depth), ']');
}

TEST(JSONNumbers, AreWrittenInTheShortestPlainForm) {
    const struct {
        double value;
        const char* text;
    } rows[] = {
        {0, "0"},
        {-0.0, "-0"},
        {1, "1"},
        {-1, "-1"},
        {12.5, "12.5"},
        {0.8, "0.8"},
        {-0.25, "-0.25"},
        {0.1 + 0.2, "0.30000000000000004"},
        {1.0 / 30, "0.03333333333333333"},
        {1.0 / 30 + 0.000001, "0.033334333333333334"},
        {100000, "100000"},
        {123456789, "123456789"},
        {804508800.123456, "804508800.123456"},
        {9007199254740991, "9007199254740991"},
        {0.0001, "0.0001"},
        {0.00001, "1e-05"},
        {1e16, "1e+16"},
        {1e300, "1e+300"},
        {-2.5e-10, "-2.5e-10"},
        {5e-324, "5e-324"},
        {1.7976931348623157e308, "1.7976931348623157e+308"},
    };
    for (const auto& row : rows) EXPECT_EQ(jsonNumber(row.value), row.text);
}

TEST(JSONNumbers, ReadBackAsTheSameBits) {
    const double values[] = {0,      -0.0,   1,      1e15,   1e16,         1e17,   0.1,   1.0 / 3, 5e-324, 1e-5,
                             9.9e-5, 1e-4,   4.25,   1e308,  2.0 / 30,     -1e-9,  1e22,  9e15,    59.96,  3599.9,
                             0x1p53, 0x1p54, 0x1p63, 0x1p64, 1.0000000001, -12345, 1e100, 65.3,    0.0001, 7e-7};
    for (const double value : values) {
        const auto parsed = parseJSON(jsonNumber(value));
        ASSERT_TRUE(parsed) << value;
        const double back = parsed->get<double>();
        EXPECT_EQ(std::memcmp(&back, &value, sizeof value), 0) << jsonNumber(value);
    }
}

TEST(JSONNumbersDeathTest, ThatAreNotFiniteEndTheProgram) {
    EXPECT_DEATH(jsonNumber(std::numeric_limits<double>::infinity()), "not finite");
    EXPECT_DEATH(jsonNumber(std::nan("")), "not finite");
}

TEST(JSONStrings, AreEscapedInTheirShortForms) {
    const struct {
        std::string_view text;
        Slashes slashes;
        const char* json;
    } rows[] = {
        {"", Slashes::plain, R"("")"},
        {"plain", Slashes::plain, R"("plain")"},
        {"a/b", Slashes::plain, R"("a/b")"},
        {"file:///a", Slashes::escaped, R"("file:\/\/\/a")"},
        {"\"\\", Slashes::plain, R"("\"\\")"},
        {"\b\f\n\r\t", Slashes::plain, R"("\b\f\n\r\t")"},
        {std::string_view("\0\x01\x1f\x7f", 4), Slashes::plain, "\"\\u0000\\u0001\\u001f\x7f\""},
        {"Größe 東京 🎬", Slashes::plain, "\"Größe 東京 🎬\""},
    };
    for (const auto& row : rows) EXPECT_EQ(jsonString(row.text, row.slashes), row.json);
}

TEST(JSONStrings, BytesThatAreNotUTF8BecomeReplacementCharacters) {
    const struct {
        std::string_view text;
        const char* json;
    } rows[] = {
        {"\xff", "\"\uFFFD\""},
        {"a\x80z", "\"a\uFFFDz\""},
        {"a\xC3", "\"a\uFFFD\""},
        {"\xC0\xAF", "\"\uFFFD\uFFFD\""},
        {"\xE6\x9D!", "\"\uFFFD!\""},
        {"\xED\xA0\x80", "\"\uFFFD\uFFFD\uFFFD\""},
        {"\xF0\x9F\x8E", "\"\uFFFD\""},
        {"\xF4\x90\x80\x80", "\"\uFFFD\uFFFD\uFFFD\uFFFD\""},
        {"\xE0\x80\x80", "\"\uFFFD\uFFFD\uFFFD\""},
        {"\xFF/\xFE\n", "\"\uFFFD/\uFFFD\\n\""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(jsonString(row.text), row.json);
        EXPECT_TRUE(parseJSON(jsonString(row.text)));
    }
}

TEST(JSONObjects, AreWrittenWithSortedKeysOnOneLine) {
    JSONObject inner;
    inner.set("b", true);
    inner.set("a", "x/y");
    JSONObject object;
    object.set("zebra", 1.5);
    object.set("Apple", std::string_view("\"q\""));
    object.set("inner", inner);
    object.setRaw("list", "[1,2]");
    object.set("replaced", 1.0);
    object.set("replaced", false);
    object.set("a/\"b", "key");
    EXPECT_EQ(
        object.text(),
        R"({"Apple":"\"q\"","a/\"b":"key","inner":{"a":"x/y","b":true},"list":[1,2],"replaced":false,"zebra":1.5})");
    EXPECT_EQ(object.raw("list"), "[1,2]");
    EXPECT_EQ(object.raw("none"), "");
    EXPECT_TRUE(object.contains("zebra"));
    EXPECT_FALSE(object.contains("none"));
    EXPECT_EQ(JSONObject().text(), "{}");
}

TEST(JSONArrays, AreWrittenInTheOrderOfTheirElements) {
    EXPECT_EQ(JSONArray().text(), "[]");
    JSONObject object;
    object.set("a", 1.0);
    JSONArray array;
    array.add("x/\"y\"");
    array.add(0.1);
    array.add(object);
    array.next() += "null";
    EXPECT_EQ(array.text(), R"(["x/\"y\"",0.1,{"a":1},null])");
    JSONObject holder;
    holder.set("list", array);
    EXPECT_EQ(holder.text(), R"({"list":["x/\"y\"",0.1,{"a":1},null]})");
    EXPECT_EQ(jsonArray(std::vector<float>{0.5F, 2}).text(), "[0.5,2]");
    EXPECT_EQ(jsonArray(std::vector<std::string>{"", "b"}).text(), R"(["","b"])");
}

TEST(JSONReading, GivesEveryKindOfValue) {
    const auto value = parseJSON(" {\"a\" : [1, -2, 2.5, true, null, \"\\u00e9\\/\", {}, []]}\n");
    ASSERT_TRUE(value) << value.error().message;
    EXPECT_EQ(
        *value,
        nlohmann::json({{"a", {1, -2, 2.5, true, nullptr, "é/", nlohmann::json::object(), nlohmann::json::array()}}}));
    EXPECT_EQ(parseJSON("\"alone\"")->get<std::string>(), "alone");
    EXPECT_EQ(parseJSON("18446744073709551615")->get<std::uint64_t>(), UINT64_MAX);
    EXPECT_EQ(parseJSON("123456789012345678901234567890")->get<double>(), 123456789012345678901234567890.0);
}

TEST(JSONReading, KeepsTheLastOfDuplicateKeys) {
    const auto value = parseJSON(R"({"a":{"deep":1},"b":2,"a":[3]})");
    ASSERT_TRUE(value);
    EXPECT_EQ(*value, (nlohmann::json{{"a", nlohmann::json::array({3})}, {"b", 2}}));
}

TEST(JSONReading, RefusesWithASentenceThatSaysWhere) {
    const struct {
        std::string_view text;
        const char* sentence;
    } rows[] = {
        {"", "The JSON ends too early, at line 1, column 1."},
        {"  \n", "The JSON ends too early, at line 2, column 1."},
        {"{", "The JSON ends too early, at line 1, column 2."},
        {"{\"a\":1", "The JSON ends too early, at line 1, column 7."},
        {"{\"a\":}", "The JSON is not valid at line 1, column 6."},
        {"{\n  \"a\" : 1,\n  b\n}", "The JSON is not valid at line 3, column 3."},
        {"[1,]", "The JSON is not valid at line 1, column 4."},
        {"[1] x", "The JSON is not valid at line 1, column 5."},
        {"{} {}", "The JSON is not valid at line 1, column 4."},
        {"[01]", "The JSON is not valid at line 1, column 3."},
        {"[NaN]", "The JSON is not valid at line 1, column 2."},
        {"[Infinity]", "The JSON is not valid at line 1, column 2."},
        {"// no\n1", "The JSON is not valid at line 1, column 1."},
        {std::string_view("{}\0{}", 5), "The JSON is not valid at line 1, column 3."},
        {std::string_view("\0", 1), "The JSON is not valid at line 1, column 1."},
        {"[1e999]", "The JSON holds a number that is too large at line 1, column 6."},
        {"[-1e999]", "The JSON holds a number that is too large at line 1, column 7."},
        {"[\"\xff\"]", "The JSON holds text that is not UTF-8 at line 1, column 3."},
        {"[\"\xC0\xAF\"]", "The JSON holds text that is not UTF-8 at line 1, column 3."},
        {"[\"\xED\xA0\x80\"]", "The JSON holds text that is not UTF-8 at line 1, column 4."},
        {"\xff", "The JSON is not valid at line 1, column 1."},
        {"[\"\\ud800\"]", "The JSON is not valid at line 1, column 9."},
        {"[\"tab\t\"]", "The JSON is not valid at line 1, column 6."},
        {"['a']", "The JSON is not valid at line 1, column 2."},
    };
    for (const auto& row : rows) EXPECT_EQ(failure(row.text), row.sentence) << row.text;
}

TEST(JSONReading, BoundsTheDepth) {
    EXPECT_TRUE(parseJSON(nested(512)));
    EXPECT_EQ(failure(nested(513)), "The JSON nests deeper than 512 levels.");
    EXPECT_EQ(failure(std::string(10'000'000, '[')), "The JSON nests deeper than 512 levels.");
    std::string objects;
    for (int i = 0; i < 1'000'000; ++i) objects += "{\"a\":";
    EXPECT_EQ(failure(objects), "The JSON nests deeper than 512 levels.");
    // Depth is what is open at once, not what was opened.
    std::string wide = "[";
    for (int i = 0; i < 1000; ++i) wide += nested(63) + ",";
    EXPECT_TRUE(parseJSON(wide + "0]"));
}

TEST(JSONReading, BoundsTheNumberOfValues) {
    std::string text = "[";
    for (std::size_t i = 0; i < maximumJSONValues; ++i) text += "0,";
    text += "0]";
    EXPECT_EQ(failure(text), "The JSON holds more than 4000000 values.");
}

TEST(JSONReading, SurvivesEveryCutAndEveryChangedByte) {
    const std::string text = R"({"clips":[{"start":-1.5e3,"url":"file:\/\/\/\u00e9\ud83d\ude00"},true,null],"v":1})";
    ASSERT_TRUE(parseJSON(text));
    for (std::size_t i = 0; i < text.size(); ++i) {
        EXPECT_FALSE(parseJSON(text.substr(0, i)));
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = text;
            changed[i] = static_cast<char>(byte);
            const auto parsed = parseJSON(changed);
            if (!parsed) EXPECT_TRUE(parsed.error().message.ends_with('.'));
        }
    }
}

class JSONGetters : public ::testing::Test {
protected:
    const nlohmann::json object = *parseJSON(R"({
        "text": "a", "zero": 0, "one": 1, "whole": 1.0, "half": 2.7, "true": true, "null": null, "list": [], "digits": "1",
        "minus": -5, "huge": 9223372036854775808, "largest": 9223372036854775807, "smallest": -9223372036854775808,
        "float huge": 9.3e18, "float smallest": -9.223372036854775808e18, "minus zero": -0})");
};

TEST_F(JSONGetters, TakeOnlyTheirOwnKind) {
    EXPECT_EQ(json::string(object, "text"), "a");
    EXPECT_EQ(json::string(object, "one").error().message, "one must be a string.");
    EXPECT_EQ(json::string(object, "null").error().message, "null must be a string.");
    EXPECT_EQ(json::string(object, "nothing").error().message, "nothing is missing.");

    EXPECT_EQ(json::number(object, "one"), 1.0);
    EXPECT_EQ(json::number(object, "half"), 2.7);
    EXPECT_EQ(json::number(object, "minus"), -5.0);
    EXPECT_EQ(json::number(object, "huge"), 0x1p63);
    EXPECT_EQ(json::number(object, "true").error().message, "true must be a number.");
    EXPECT_EQ(json::number(object, "digits").error().message, "digits must be a number.");
    EXPECT_EQ(json::number(object, "null").error().message, "null must be a number.");
    EXPECT_EQ(json::number(object, "nothing").error().message, "nothing is missing.");
    EXPECT_TRUE(std::signbit(*json::number(object, "minus zero")));
    EXPECT_FALSE(std::signbit(*json::number(object, "zero")));
}

TEST_F(JSONGetters, TakeWholeNumbersThatFit) {
    const struct {
        const char* key;
        std::int64_t value;
    } rows[] = {{"zero", 0},
                {"one", 1},
                {"whole", 1},
                {"minus", -5},
                {"minus zero", 0},
                {"largest", INT64_MAX},
                {"smallest", INT64_MIN},
                {"float smallest", INT64_MIN}};
    for (const auto& row : rows) EXPECT_EQ(json::integer(object, row.key), row.value) << row.key;
    for (const char* key : {"half", "true", "digits", "null", "list", "huge", "float huge"}) {
        const auto integer = json::integer(object, key);
        ASSERT_FALSE(integer) << key;
        EXPECT_EQ(integer.error().message, std::string(key) + " must be a whole number.");
    }
    EXPECT_EQ(json::integer(object, "nothing").error().message, "nothing is missing.");
}

TEST_F(JSONGetters, TellMissingAndNullFromTheRest) {
    EXPECT_EQ(json::find(object, "nothing"), nullptr);
    EXPECT_EQ(json::find(object, "null"), nullptr);
    ASSERT_NE(json::find(object, "list"), nullptr);
    EXPECT_EQ(json::find(object.at("list"), "a"), nullptr);
    EXPECT_TRUE(json::object(object, "The request"));
    EXPECT_EQ(json::object(object.at("list"), "The request").error().message, "The request must be an object.");
    EXPECT_EQ(json::number(object.at("list"), "a").error().message, "a is missing.");
}

}  // namespace
}  // namespace kelvane
