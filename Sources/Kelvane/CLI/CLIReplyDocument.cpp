#include "CLIReplyDocument.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "CLIError.h"
#include "Support/JSON.h"

namespace kelvane {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

/// Checks one JSON text without building it. Containers that are open are kept in a string rather than on the call
/// stack, so that a text of nothing but brackets is harmless.
class SyntaxReader {
public:
    explicit SyntaxReader(std::string_view text) : text_(text) {}

    /// Whether the text is one object or array, with blanks around it at most.
    bool read() {
        skipBlanks();
        if (head() != '{' && head() != '[') return false;
        do {
            if (!readEntry()) return false;
        } while (!open_.empty());
        skipBlanks();
        return at_ == text_.size();
    }
    [[nodiscard]] bool isSuccess() const { return isSuccess_; }
    /// Where reading has come to, in bytes.
    [[nodiscard]] std::size_t position() const { return at_; }

private:
    /// 0 at the end of the text, where no JSON text goes on either.
    [[nodiscard]] char head() const { return at_ < text_.size() ? text_[at_] : '\0'; }
    bool take(char c) {
        if (head() != c || at_ >= text_.size()) return false;
        ++at_;
        return true;
    }
    bool take(std::string_view word) {
        if (!text_.substr(at_).starts_with(word)) return false;
        at_ += word.size();
        return true;
    }
    void skipBlanks() {
        while (head() == ' ' || head() == '\t' || head() == '\n' || head() == '\r') ++at_;
    }

    /// Reads up to the next value's end or a container's beginning, and closes the containers that end there.
    bool readEntry() {
        bool isOk = false;
        if (open_.ends_with('{') && !readKey(isOk)) return false;
        skipBlanks();
        const char opening = head();
        const std::size_t begin = at_;
        if (take('{') || take('[')) {
            if (isOk) isSuccess_ = false;
            open_ += opening;
            skipBlanks();
            if (!take(closing())) return true;
            open_.pop_back();
        } else {
            if (!readScalar()) return false;
            if (isOk) isSuccess_ = text_.substr(begin, at_ - begin) == "true";
        }
        return closeEntries();
    }

    bool closeEntries() {
        while (!open_.empty()) {
            skipBlanks();
            if (take(',')) return true;
            if (!take(closing())) return false;
            open_.pop_back();
        }
        return true;
    }
    [[nodiscard]] char closing() const { return open_.back() == '{' ? '}' : ']'; }

    bool readKey(bool& isOk) {
        skipBlanks();
        const std::size_t begin = at_;
        if (!readString()) return false;
        if (open_.size() == 1) isOk = isNameOk(text_.substr(begin, at_ - begin));
        skipBlanks();
        return take(':');
    }
    static bool isNameOk(std::string_view quoted) {
        if (quoted.find('\\') == std::string_view::npos) return quoted == "\"ok\"";
        const auto name = parseJSON(quoted);
        return name && *name == "ok";
    }

    bool readScalar() {
        switch (head()) {
            case '"':
                return readString();
            case 't':
                return take("true");
            case 'f':
                return take("false");
            case 'n':
                return take("null");
            default:
                return readNumber();
        }
    }

    bool readString() {
        if (!take('"')) return false;
        for (; at_ < text_.size(); ++at_) {
            const char c = text_[at_];
            if (static_cast<unsigned char>(c) < 0x20) return false;
            if (c == '"') {
                ++at_;
                return true;
            }
            if (c != '\\') continue;
            ++at_;
            if (head() == 'u') {
                for (int i = 0; i < 4; ++i) {
                    ++at_;
                    if (!isHexDigit(head())) return false;
                }
            } else if (head() == '\0' || !std::string_view("\"\\/bfnrt").contains(head())) {
                return false;
            }
        }
        return false;
    }

    bool readNumber() {
        take('-');
        if (!take('0') && !readDigits()) return false;
        if (take('.') && !readDigits()) return false;
        if (take('e') || take('E')) {
            if (!take('+')) take('-');
            return readDigits();
        }
        return true;
    }
    bool readDigits() {
        const std::size_t begin = at_;
        while (isDigit(head())) ++at_;
        return at_ > begin;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::string open_;
    bool isSuccess_ = false;
};

}  // namespace

bool isUTF8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const auto lead = static_cast<unsigned char>(text[at]);
        if (lead < 0x80) {
            ++at;
            continue;
        }
        const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
        if (lead < 0xC2 || lead > 0xF4 || at + length > text.size()) return false;
        std::uint32_t point = lead & (0x7FU >> length);
        for (std::size_t i = 1; i < length; ++i) {
            const auto next = static_cast<unsigned char>(text[at + i]);
            if ((next & 0xC0) != 0x80) return false;
            point = point << 6 | (next & 0x3F);
        }
        constexpr std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
        if (point < smallest[length] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) return false;
        at += length;
    }
    return true;
}

Result<bool> replyIsSuccess(std::string_view text) {
    if (!isUTF8(text)) return fail(CLIError("The reply is not UTF-8."));
    SyntaxReader reader(text);
    if (reader.read()) return reader.isSuccess();
    return fail(CLIError("The reply is not a JSON object or array; the fault is at byte " +
                         std::to_string(reader.position() + 1) + "."));
}

}  // namespace kelvane
