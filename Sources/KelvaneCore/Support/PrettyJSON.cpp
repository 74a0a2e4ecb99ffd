#include "PrettyJSON.h"

#include <cmath>

namespace kelvane {

void PrettyJSONWriter::beginEntry() {
    if (depth_ == 0) return;
    if (!isEmpty_) text_ += ',';
    text_ += '\n';
    text_.append(static_cast<std::size_t>(depth_) * 2, ' ');
    isEmpty_ = false;
}

void PrettyJSONWriter::beginMember(std::string_view key) {
    beginEntry();
    appendJSONString(text_, key, Slashes::escaped);
    text_ += " : ";
}

void PrettyJSONWriter::close(char bracket) {
    --depth_;
    text_ += isEmpty_ ? "\n\n" : "\n";
    text_.append(static_cast<std::size_t>(depth_) * 2, ' ');
    text_ += bracket;
    // What was closed is an entry of what is open now.
    isEmpty_ = false;
}

void PrettyJSONWriter::openObject() {
    beginEntry();
    text_ += '{';
    ++depth_;
    isEmpty_ = true;
}

void PrettyJSONWriter::closeObject() { close('}'); }

void PrettyJSONWriter::openArray(std::string_view key) {
    beginMember(key);
    text_ += '[';
    ++depth_;
    isEmpty_ = true;
}

void PrettyJSONWriter::closeArray() { close(']'); }

void PrettyJSONWriter::member(std::string_view key, std::string_view string) {
    beginMember(key);
    appendJSONString(text_, string, Slashes::escaped);
}

void PrettyJSONWriter::member(std::string_view key, double number) {
    beginMember(key);
    if (!std::isfinite(number)) {
        if (unwritableKey_.empty()) unwritableKey_ = key;
        number = 0;
    }
    appendJSONNumber(text_, number);
}

void PrettyJSONWriter::member(std::string_view key, std::int64_t number) {
    beginMember(key);
    text_ += std::to_string(number);
}

void PrettyJSONWriter::member(std::string_view key, bool value) {
    beginMember(key);
    text_ += value ? "true" : "false";
}

}  // namespace kelvane
