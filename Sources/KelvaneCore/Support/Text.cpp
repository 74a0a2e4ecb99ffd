#include "Text.h"

#include <array>

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

}  // namespace kelvane
