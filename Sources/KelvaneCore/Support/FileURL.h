#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace kelvane {

/// An absolute URL text, nearly always of a file ("file:///" and the percent-encoded path). A plain
/// value that compares by its text, so that one file under two paths is two URLs.
class FileURL {
public:
    FileURL() = default;

    /// The URL of a path: made absolute against the current folder, standardised ("." and ".." and
    /// doubled slashes removed, without asking the disk), links not resolved.
    static FileURL fromPath(std::string_view path);
    /// Reads a URL's text as it stands. Text that is empty or holds a character or percent sequence
    /// that no URL may hold gives nothing, and so does the byte 0, which no path holds. Any scheme passes.
    static std::optional<FileURL> parse(std::string_view text);

    /// The absolute text, percent-encoded.
    [[nodiscard]] const std::string& absoluteString() const { return text_; }
    /// The decoded path, without a trailing slash (but "/" for the root). For a URL of another scheme,
    /// its path component. May hold bytes that are not UTF-8.
    [[nodiscard]] std::string path() const;
    [[nodiscard]] bool isFile() const;
    [[nodiscard]] bool empty() const { return text_.empty(); }

    /// Last path component, decoded: "take1.wav".
    [[nodiscard]] std::string fileName() const;
    /// Last path component without its extension: "take1". A leading dot starts no extension.
    [[nodiscard]] std::string baseName() const;
    /// Extension of the last path component without its dot, as written; empty when there is none.
    [[nodiscard]] std::string extension() const;

    [[nodiscard]] FileURL appending(std::string_view component) const;
    /// The URL of the folder that holds this file.
    [[nodiscard]] FileURL parentFolder() const;
    /// The last component's extension replaced ("Trailer.kelvane" to "Trailer.media"), or added.
    [[nodiscard]] FileURL replacingExtension(std::string_view extension) const;
    /// This URL standardised with symbolic links resolved, as far as the path exists; the rest is kept.
    [[nodiscard]] FileURL resolved() const;

    bool operator==(const FileURL&) const = default;
    auto operator<=>(const FileURL&) const = default;

private:
    std::string text_;
};

/// `text` as a URL's component: letters, digits, "-", ".", "_", "~" and the characters of `plain` stand for themselves,
/// all other bytes become percent sequences.
std::string percentEncoded(std::string_view text, std::string_view plain);
/// A URL's component with its percent sequences read; what is none stays as it stands.
std::string percentDecoded(std::string_view text);

/// Lexical standardisation of a path: absolute, no ".", "..", doubled or trailing slashes.
std::string standardizedPath(std::string_view path);
/// `standardizedPath` with symbolic links resolved for the longest part that exists.
std::string resolvedPath(std::string_view path);

}  // namespace kelvane

template <>
struct std::hash<kelvane::FileURL> {
    std::size_t operator()(const kelvane::FileURL& url) const noexcept {
        return std::hash<std::string>{}(url.absoluteString());
    }
};
