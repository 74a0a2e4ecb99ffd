#include "JSON.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

namespace kelvane {

namespace {

/// Within these magnitudes a number is written without an exponent: ten thousandths, as readers expect of plain
/// times, up to where neighbouring doubles lie further apart than 1.
constexpr double smallestPlainNumber = 1e-4;
constexpr double largestPlainNumber = 1e16;

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

struct UTF8Sequence {
    /// Bytes of the character, or of the broken sequence that one replacement character stands for.
    std::size_t length = 1;
    bool valid = false;
};

/// The sequence at the head of `text`, by Unicode table 3-7 (no surrogates, no overlong forms).
UTF8Sequence utf8Sequence(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char head = byte(0);
    std::size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (head < 0x80) return {1, true};
    if (head >= 0xC2 && head <= 0xDF) {
        length = 2;
    } else if (head >= 0xE0 && head <= 0xEF) {
        length = 3;
        if (head == 0xE0) low = 0xA0;
        if (head == 0xED) high = 0x9F;
    } else if (head >= 0xF0 && head <= 0xF4) {
        length = 4;
        if (head == 0xF0) low = 0x90;
        if (head == 0xF4) high = 0x8F;
    } else {
        return {1, false};
    }
    for (std::size_t i = 1; i < length; ++i) {
        if (i >= text.size() || byte(i) < low || byte(i) > high) return {i, false};
        low = 0x80;
        high = 0xBF;
    }
    return {length, true};
}

void appendEscaped(std::string& out, unsigned char c) {
    constexpr char digits[] = "0123456789abcdef";
    switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '/':
            out += "\\/";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            out += "\\u00";
            out += digits[c >> 4];
            out += digits[c & 15];
    }
}

/// "line 3, column 14" of a byte offset, both counted from 1, the column in bytes.
std::string place(std::string_view text, std::size_t offset) {
    const auto head = text.substr(0, offset);
    const auto lines = std::count(head.begin(), head.end(), '\n');
    const auto lineStart = head.rfind('\n');
    const auto column = lineStart == std::string_view::npos ? offset : offset - lineStart - 1;
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(column + 1);
}

/// Builds the value from the parser's events. The parser itself does not recurse; the bound on depth is for the code
/// that walks, copies and destroys values.
class ValueBuilder : public nlohmann::json_sax<nlohmann::json> {
public:
    explicit ValueBuilder(std::string_view text) : text_(text) {}

    [[nodiscard]] Result<nlohmann::json> take(bool complete) {
        if (failure_) return fail(std::move(*failure_));
        check(complete, "a JSON parser stopped without saying why");
        return std::move(root_);
    }

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    // The parser gives the text "-0" as a whole 0; as a double it keeps its sign.
    bool number_integer(number_integer_t value) override { return value == 0 ? add(-0.0) : add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t value, const string_t&) override { return add(value); }
    bool string(string_t& value) override { return add(std::move(value)); }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return open(nlohmann::json::object()); }
    bool start_array(std::size_t) override { return open(nlohmann::json::array()); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }

    bool key(string_t& value) override {
        slot_ = &(*open_.back())[std::move(value)];
        return true;
    }

    bool parse_error(std::size_t position, const std::string&, const nlohmann::json::exception& exception) override {
        const std::size_t offset = std::min(position > 0 ? position - 1 : 0, text_.size());
        const std::string_view what = exception.what();
        if (what.find("number overflow") != std::string_view::npos)
            failure_ = "The JSON holds a number that is too large at " + place(text_, offset) + ".";
        else if (what.find("ill-formed UTF-8") != std::string_view::npos)
            failure_ = "The JSON holds text that is not UTF-8 at " + place(text_, offset) + ".";
        else if (offset == text_.size() || position > text_.size())
            failure_ = "The JSON ends too early, at " + place(text_, offset) + ".";
        else
            failure_ = "The JSON is not valid at " + place(text_, offset) + ".";
        return false;
    }

private:
    bool count() {
        if (++values_ <= maximumJSONValues) return true;
        failure_ = "The JSON holds more than " + std::to_string(maximumJSONValues) + " values.";
        return false;
    }

    nlohmann::json& place_(nlohmann::json value) {
        if (open_.empty()) return root_ = std::move(value);
        if (open_.back()->is_array()) {
            auto& elements = open_.back()->get_ref<nlohmann::json::array_t&>();
            return elements.emplace_back(std::move(value));
        }
        return *slot_ = std::move(value);
    }

    template <class T>
    bool add(T&& value) {
        if (!count()) return false;
        place_(nlohmann::json(std::forward<T>(value)));
        return true;
    }

    bool open(nlohmann::json value) {
        if (!count()) return false;
        if (open_.size() >= static_cast<std::size_t>(maximumJSONDepth)) {
            failure_ = "The JSON nests deeper than " + std::to_string(maximumJSONDepth) + " levels.";
            return false;
        }
        open_.push_back(&place_(std::move(value)));
        return true;
    }

    bool close() {
        open_.pop_back();
        return true;
    }

    std::string_view text_;
    nlohmann::json root_;
    /// The containers that are still open, outermost first. A container takes no element while one of its own is
    /// open, so that the pointers hold.
    std::vector<nlohmann::json*> open_;
    nlohmann::json* slot_ = nullptr;
    std::size_t values_ = 0;
    std::optional<std::string> failure_;
};

/// The value at `key`; a sentence when it is missing.
Result<const nlohmann::json*> required(const nlohmann::json& object, const char* key) {
    if (object.is_object()) {
        const auto found = object.find(key);
        if (found != object.end()) return &*found;
    }
    return fail(std::string(key) + " is missing.");
}

}  // namespace

void appendJSONNumber(std::string& out, double value) {
    check(std::isfinite(value), "a number that is not finite has no JSON form");
    char buffer[64];
    const double magnitude = std::abs(value);
    const bool plain = magnitude == 0 || (magnitude >= smallestPlainNumber && magnitude < largestPlainNumber);
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, value,
                                   plain ? std::chars_format::fixed : std::chars_format::scientific);
    out.append(buffer, end.ptr);
}

void appendJSONString(std::string& out, std::string_view text, Slashes slashes) {
    out.push_back('"');
    std::size_t copied = 0;
    const auto copyUpTo = [&](std::size_t end) {
        out.append(text.substr(copied, end - copied));
        copied = end;
    };
    for (std::size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 || c == '"' || c == '\\' || (c == '/' && slashes == Slashes::escaped)) {
            copyUpTo(i);
            appendEscaped(out, c);
            copied = ++i;
        } else if (c < 0x80) {
            ++i;
        } else {
            const UTF8Sequence sequence = utf8Sequence(text.substr(i));
            if (!sequence.valid) {
                copyUpTo(i);
                out += replacementCharacter;
                copied = i + sequence.length;
            }
            i += sequence.length;
        }
    }
    copyUpTo(text.size());
    out.push_back('"');
}

std::string jsonString(std::string_view text, Slashes slashes) {
    std::string out;
    out.reserve(text.size() + 2);
    appendJSONString(out, text, slashes);
    return out;
}

std::string jsonNumber(double value) {
    std::string out;
    appendJSONNumber(out, value);
    return out;
}

void JSONObject::set(std::string key, std::string_view string) { setRaw(std::move(key), jsonString(string)); }
void JSONObject::set(std::string key, double number) { setRaw(std::move(key), jsonNumber(number)); }
void JSONObject::set(std::string key, bool value) { setRaw(std::move(key), value ? "true" : "false"); }
void JSONObject::set(std::string key, const JSONObject& object) { setRaw(std::move(key), object.text()); }

void JSONObject::set(std::string key, const JSONArray& array) { setRaw(std::move(key), array.text()); }

void JSONObject::setRaw(std::string key, std::string json) {
    members_.insert_or_assign(std::move(key), std::move(json));
}

std::string JSONObject::raw(const std::string& key) const {
    const auto found = members_.find(key);
    return found == members_.end() ? std::string() : found->second;
}

std::string JSONObject::text() const {
    std::size_t size = 2;
    for (const auto& [key, json] : members_) size += key.size() + json.size() + 4;
    std::string out;
    out.reserve(size);
    out.push_back('{');
    for (const auto& [key, json] : members_) {
        if (out.size() > 1) out.push_back(',');
        appendJSONString(out, key, Slashes::plain);
        out.push_back(':');
        out += json;
    }
    out.push_back('}');
    return out;
}

Result<nlohmann::json> parseJSON(std::string_view text) {
    // No JSON text holds the byte 0, but the parser takes it for the text's end.
    const std::size_t zero = text.find('\0');
    if (zero != std::string_view::npos) return fail("The JSON is not valid at " + place(text, zero) + ".");
    ValueBuilder builder(text);
    const bool complete = nlohmann::json::sax_parse(text.begin(), text.end(), &builder);
    return builder.take(complete);
}

namespace json {

Result<const nlohmann::json*> object(const nlohmann::json& value, std::string_view what) {
    if (!value.is_object()) return fail(std::string(what) + " must be an object.");
    return &value;
}

Result<std::string> string(const nlohmann::json& object, const char* key) {
    const auto value = required(object, key);
    if (!value) return fail(value.error());
    const auto* text = (*value)->get_ptr<const nlohmann::json::string_t*>();
    if (text == nullptr) return fail(std::string(key) + " must be a string.");
    return *text;
}

Result<double> number(const nlohmann::json& object, const char* key) {
    const auto value = required(object, key);
    if (!value) return fail(value.error());
    if (!(*value)->is_number()) return fail(std::string(key) + " must be a number.");
    return (*value)->get<double>();
}

Result<std::int64_t> integer(const nlohmann::json& object, const char* key) {
    const auto value = required(object, key);
    if (!value) return fail(value.error());
    const nlohmann::json& json = **value;
    if (json.is_number_unsigned()) {
        const auto whole = json.get<std::uint64_t>();
        if (whole <= static_cast<std::uint64_t>(INT64_MAX)) return static_cast<std::int64_t>(whole);
    } else if (json.is_number_integer()) {
        return json.get<std::int64_t>();
    } else if (json.is_number_float()) {
        const auto real = json.get<double>();
        // 2^63 itself is one above the largest value; -2^63 is the smallest.
        if (std::trunc(real) == real && real >= -0x1p63 && real < 0x1p63) return static_cast<std::int64_t>(real);
    }
    return fail(std::string(key) + " must be a whole number.");
}

const nlohmann::json* find(const nlohmann::json& object, const char* key) {
    if (!object.is_object()) return nullptr;
    const auto found = object.find(key);
    return found == object.end() || found->is_null() ? nullptr : &*found;
}

}  // namespace json

}  // namespace kelvane
