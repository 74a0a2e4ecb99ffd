#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "JSON.h"

namespace kelvane {

/// Writes the form in which documents lie on disk: two blanks of indentation, a blank on both sides of the colon, one
/// key or element a line, escaped slashes, an empty array as an empty line between its brackets, no line break at the
/// end. Keys come out in the order of the calls; callers give them sorted. Not for use by two threads at once.
class PrettyJSONWriter {
public:
    /// An object: the document itself, or an array's next element.
    void openObject();
    void closeObject();
    void openArray(std::string_view key);
    void closeArray();

    void member(std::string_view key, std::string_view string);
    /// A number that is not finite has no JSON form: it is written as 0 and remembered.
    void member(std::string_view key, double number);
    void member(std::string_view key, std::int64_t number);
    void member(std::string_view key, bool value);
    void member(std::string_view key, const char*) = delete;

    /// The key of the first number that was not finite; empty when there was none.
    [[nodiscard]] const std::string& unwritableKey() const { return unwritableKey_; }
    [[nodiscard]] const std::string& text() const { return text_; }
    std::string take() { return std::move(text_); }
    void reserve(std::size_t size) { text_.reserve(size); }

private:
    void beginEntry();
    void beginMember(std::string_view key);
    void close(char bracket);

    std::string text_;
    std::string unwritableKey_;
    int depth_ = 0;
    /// True until the innermost open object or array has an entry.
    bool isEmpty_ = true;
};

}  // namespace kelvane
