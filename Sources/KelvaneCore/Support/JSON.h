#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "Error.h"

namespace kelvane {

/// How a JSON writer treats the slash in strings: `escaped` writes `\/`, `plain` writes `/`.
enum class Slashes { escaped, plain };

/// Appends `value` to `out` in the shortest plain form that reads back as the same number; a whole number has
/// no fraction ("1", "12.5"), and zero of either sign is "0" or "-0". `value` must be finite.
void appendJSONNumber(std::string& out, double value);
/// Appends `text` as a quoted JSON string. Bytes that are not UTF-8 become U+FFFD; control characters are
/// escaped in their short forms or as \u00XX.
void appendJSONString(std::string& out, std::string_view text, Slashes slashes);
std::string jsonString(std::string_view text, Slashes slashes = Slashes::plain);
std::string jsonNumber(double value);

class JSONArray;

/// One JSON object whose values are finished JSON texts, kept by sorted key. The form in which documents of
/// the command interface travel inside the program. A plain value.
class JSONObject {
public:
    void set(std::string key, std::string_view string);
    void set(std::string key, const char* string) { set(std::move(key), std::string_view(string)); }
    void set(std::string key, double number);
    void set(std::string key, bool value);
    void set(std::string key, const JSONObject& object);
    void set(std::string key, const JSONArray& array);
    /// Stores `json`, which must already be one valid JSON text.
    void setRaw(std::string key, std::string json);

    /// The raw JSON text at `key`, or an empty text when the key is absent.
    [[nodiscard]] std::string raw(const std::string& key) const;
    [[nodiscard]] bool contains(const std::string& key) const { return members_.contains(key); }
    /// The object as one line, keys sorted by their bytes, without blanks.
    [[nodiscard]] std::string text() const;

    bool operator==(const JSONObject&) const = default;

private:
    std::map<std::string, std::string, std::less<>> members_;
};

/// A JSON array that is built from its first element to its last. A plain value.
class JSONArray {
public:
    /// `expectedBytes` is the length that the text will have about; it saves allocations and limits nothing.
    explicit JSONArray(std::size_t expectedBytes = 0) {
        text_.reserve(expectedBytes);
        text_ = '[';
    }

    void add(std::string_view string) { appendJSONString(next(), string, Slashes::plain); }
    void add(double number) { appendJSONNumber(next(), number); }
    void add(const JSONObject& object) { next() += object.text(); }
    /// Begins the next element: whoever asks appends one valid JSON text to what this answers, and nothing else, before
    /// the array is used again.
    std::string& next() {
        if (text_.size() > 1) text_ += ',';
        return text_;
    }

    /// The array as one line, without blanks.
    [[nodiscard]] std::string text() const { return text_ + ']'; }

private:
    /// What is finished, without the closing bracket.
    std::string text_;
};

/// The array of what `projection` makes of each of `elements`: texts, numbers or objects.
template <class Elements, class Projection = std::identity>
JSONArray jsonArray(const Elements& elements, Projection projection = {}) {
    JSONArray array;
    for (const auto& element : elements) array.add(std::invoke(projection, element));
    return array;
}

/// How deep arrays and objects may nest in any text that is read. Documents here use at most 5 levels; the
/// bound keeps recursive code safe from hostile input.
inline constexpr int maximumJSONDepth = 512;
/// How many values any text that is read may hold, so that a small file can't fill the memory: some 280,000 clips.
inline constexpr std::size_t maximumJSONValues = 4'000'000;

/// Reads one JSON text (RFC 8259, UTF-8). A syntax error, a number beyond a double's range, nesting beyond
/// `maximumJSONDepth`, more than `maximumJSONValues` or bytes that are not UTF-8 fail with a sentence that says
/// where. Of duplicate keys the last stands.
Result<nlohmann::json> parseJSON(std::string_view text);

/// Strict getters for decoding: each fails with a sentence that names `key` and what was expected there.
/// A missing key and, for the optional forms, a null are told apart from a wrong type. A number must be
/// a JSON number that a double holds finitely; a boolean or a string is never taken for one.
namespace json {
Result<const nlohmann::json*> object(const nlohmann::json& value, std::string_view what);
Result<std::string> string(const nlohmann::json& object, const char* key);
Result<double> number(const nlohmann::json& object, const char* key);
/// A number without a fraction that a signed 64-bit integer holds exactly (1 and 1.0 both pass).
Result<std::int64_t> integer(const nlohmann::json& object, const char* key);
/// The value at `key`, or nullptr when it is missing or null.
const nlohmann::json* find(const nlohmann::json& object, const char* key);
}  // namespace json

}  // namespace kelvane
