#include "Text.h"

#include <locale.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <system_error>

namespace kelvane {

namespace {

constexpr std::array<std::string_view, 25> blanks = {
    "\t",           "\n",           "\v",
    "\f",           "\r",           " ",
    "\xC2\x85",     "\xC2\xA0",     "\xE1\x9A\x80",  // next line, no-break space, ogham space
    "\xE2\x80\x80", "\xE2\x80\x81", "\xE2\x80\x82",
    "\xE2\x80\x83",  // the spaces U+2000 to U+200A
    "\xE2\x80\x84", "\xE2\x80\x85", "\xE2\x80\x86",
    "\xE2\x80\x87", "\xE2\x80\x88", "\xE2\x80\x89",
    "\xE2\x80\x8A", "\xE2\x80\xA8", "\xE2\x80\xA9",
    "\xE2\x80\xAF", "\xE2\x81\x9F", "\xE3\x80\x80",  // separators, narrow, math, wide
};

}  // namespace

std::string_view trimmedText(std::string_view text) {
    const auto cutHead = [&] {
        for (const auto blank : blanks) {
            if (!text.starts_with(blank)) continue;
            text.remove_prefix(blank.size());
            return true;
        }
        return false;
    };
    const auto cutTail = [&] {
        for (const auto blank : blanks) {
            if (!text.ends_with(blank)) continue;
            text.remove_suffix(blank.size());
            return true;
        }
        return false;
    };
    while (cutHead()) {
    }
    while (cutTail()) {
    }
    return text;
}

std::string lowered(std::string_view text) {
    std::string out(text);
    for (char& character : out)
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
    return out;
}

std::string quotedName(std::string_view text) { return "“" + std::string(text) + "”"; }

std::string quotedFileName(std::string_view path) {
    while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
    const auto slash = path.rfind('/');
    if (slash != std::string_view::npos && path.size() > 1) path.remove_prefix(slash + 1);
    return quotedName(path);
}

std::optional<double> finiteNumber(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return std::nullopt;
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size() || error == std::errc::invalid_argument) return std::nullopt;
    if (error == std::errc::result_out_of_range) {
        // Too large or too small, which from_chars doesn't tell apart.
        static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
        value = strtod_l(std::string(text).c_str(), nullptr, plain);
    }
    return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

}  // namespace kelvane
