#include "FileURL.h"

#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <vector>

namespace kelvane {

namespace {

constexpr std::string_view filePrefix = "file://";

bool isUnreserved(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_' || c == '~';
}

/// Characters that stay as they are in a path: RFC 3986 `pchar` and the slash, less the semicolon.
constexpr std::string_view plainInPath = "!$&'()*+,=:@/";

bool isURLCharacter(unsigned char c) {
    return isUnreserved(c) ||
           std::string_view("!$&'()*+,;=:@/?#[]%").find(static_cast<char>(c)) != std::string_view::npos;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

/// The encoded path component of a URL text: behind scheme and authority, before query and fragment.
std::string_view encodedPath(std::string_view text) {
    const auto scheme = text.find(':');
    if (scheme != std::string_view::npos) {
        text.remove_prefix(scheme + 1);
        if (text.starts_with("//")) {
            text.remove_prefix(2);
            const auto slash = text.find('/');
            if (slash == std::string_view::npos) return {};
            text.remove_prefix(slash);
        }
    }
    return text.substr(0, text.find_first_of("?#"));
}

}  // namespace

std::string percentEncoded(std::string_view text, std::string_view plain) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size() + 16);
    for (const char character : text) {
        const auto c = static_cast<unsigned char>(character);
        if (isUnreserved(c) || plain.find(character) != std::string_view::npos) {
            out.push_back(character);
        } else {
            out.push_back('%');
            out.push_back(digits[c >> 4]);
            out.push_back(digits[c & 15]);
        }
    }
    return out;
}

std::string percentDecoded(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const int high = hexValue(text[i + 1]);
            const int low = hexValue(text[i + 2]);
            if (high >= 0 && low >= 0) {
                out.push_back(static_cast<char>(high * 16 + low));
                i += 2;
                continue;
            }
        }
        out.push_back(text[i]);
    }
    return out;
}

std::string standardizedPath(std::string_view path) {
    std::string absolute(path);
    if (!absolute.starts_with('/')) {
        char folder[PATH_MAX];
        const char* current = getcwd(folder, sizeof folder);
        absolute = std::string(current != nullptr ? current : "/") + "/" + absolute;
    }
    std::vector<std::string_view> parts;
    std::string_view rest = absolute;
    while (!rest.empty()) {
        const auto slash = rest.find('/');
        const auto part = rest.substr(0, slash);
        if (part == "..") {
            if (!parts.empty()) parts.pop_back();
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        if (slash == std::string_view::npos) break;
        rest.remove_prefix(slash + 1);
    }
    std::string out;
    out.reserve(absolute.size());
    for (const auto part : parts) {
        out.push_back('/');
        out.append(part);
    }
    return out.empty() ? "/" : out;
}

std::string resolvedPath(std::string_view path) {
    const std::string standard = standardizedPath(path);
    std::string head = standard;
    std::string tail;
    while (true) {
        char buffer[PATH_MAX];
        if (realpath(head.c_str(), buffer) != nullptr) {
            std::string out = buffer;
            if (tail.empty()) return out;
            return (out == "/" ? std::string() : out) + tail;
        }
        const auto slash = head.rfind('/');
        if (slash == std::string::npos || head == "/") return standard;
        tail.insert(0, head.substr(slash));
        head.resize(slash);
        if (head.empty()) head = "/";
    }
}

FileURL FileURL::fromPath(std::string_view path) {
    FileURL url;
    url.text_ = std::string(filePrefix) + percentEncoded(standardizedPath(path), plainInPath);
    return url;
}

std::optional<FileURL> FileURL::parse(std::string_view text) {
    if (text.empty()) return std::nullopt;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!isURLCharacter(static_cast<unsigned char>(text[i]))) return std::nullopt;
        if (text[i] == '%' && (i + 2 >= text.size() || hexValue(text[i + 1]) < 0 || hexValue(text[i + 2]) < 0 ||
                               text.substr(i, 3) == "%00")) {
            return std::nullopt;
        }
    }
    FileURL url;
    url.text_ = std::string(text);
    return url;
}

std::string FileURL::path() const {
    std::string out = percentDecoded(encodedPath(text_));
    while (out.size() > 1 && out.ends_with('/')) out.pop_back();
    return out;
}

bool FileURL::isFile() const {
    return text_.size() >= 5 && (text_[0] | 32) == 'f' && (text_[1] | 32) == 'i' && (text_[2] | 32) == 'l' &&
           (text_[3] | 32) == 'e' && text_[4] == ':';
}

std::string FileURL::fileName() const {
    const std::string whole = path();
    if (whole == "/") return whole;
    return whole.substr(whole.rfind('/') + 1);
}

std::string FileURL::baseName() const {
    std::string name = fileName();
    const auto dot = name.rfind('.');
    if (dot != std::string::npos && dot != 0 && dot + 1 < name.size()) name.resize(dot);
    return name;
}

std::string FileURL::extension() const {
    const std::string name = fileName();
    const auto dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) return {};
    return name.substr(dot + 1);
}

FileURL FileURL::appending(std::string_view component) const {
    FileURL url;
    url.text_ = text_;
    while (url.text_.ends_with('/') && !url.text_.ends_with("://")) url.text_.pop_back();
    url.text_ += '/';
    url.text_ += percentEncoded(component, plainInPath);
    return url;
}

FileURL FileURL::parentFolder() const {
    const std::string whole = path();
    const auto slash = whole.rfind('/');
    return fromPath(slash == std::string::npos || slash == 0 ? "/" : whole.substr(0, slash));
}

FileURL FileURL::replacingExtension(std::string_view extension) const {
    return parentFolder().appending(baseName() + "." + std::string(extension));
}

FileURL FileURL::resolved() const {
    if (!isFile()) return *this;
    return fromPath(resolvedPath(path()));
}

}  // namespace kelvane
