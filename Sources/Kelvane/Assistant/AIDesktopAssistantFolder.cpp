#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "AIDesktopAssistant.h"

namespace kelvane {

namespace {

using Scalars = std::vector<utf8proc_int32_t>;

constexpr utf8proc_int32_t replacementCharacter = 0xFFFD;

Scalars decode(std::string_view text) {
    Scalars scalars;
    scalars.reserve(text.size());
    const auto* at = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    auto left = static_cast<utf8proc_ssize_t>(text.size());
    while (left > 0) {
        utf8proc_int32_t scalar = 0;
        utf8proc_ssize_t length = utf8proc_iterate(at, left, &scalar);
        if (length <= 0) {
            scalar = replacementCharacter;
            length = 1;
        }
        scalars.push_back(scalar);
        at += length;
        left -= length;
    }
    return scalars;
}

void append(std::string& text, utf8proc_int32_t scalar) {
    utf8proc_uint8_t bytes[4];
    const auto length = utf8proc_encode_char(scalar, bytes);
    text.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
}

/// The text's characters as a reader counts them.
std::vector<Scalars> graphemeClusters(const Scalars& scalars) {
    std::vector<Scalars> clusters;
    utf8proc_int32_t state = 0;
    for (std::size_t i = 0; i < scalars.size(); ++i) {
        if (i == 0 || utf8proc_grapheme_break_stateful(scalars[i - 1], scalars[i], &state)) clusters.emplace_back();
        clusters.back().push_back(scalars[i]);
    }
    return clusters;
}

bool isControl(utf8proc_int32_t scalar) { return utf8proc_category(scalar) == UTF8PROC_CATEGORY_CC; }

bool isBlank(utf8proc_int32_t scalar) {
    const auto category = utf8proc_category(scalar);
    return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL || category == UTF8PROC_CATEGORY_ZP;
}

bool isReplaced(const Scalars& cluster) {
    if (cluster.size() == 1 && (cluster[0] == '/' || cluster[0] == ':' || cluster[0] == '\\')) return true;
    // A slash under a combining mark is another character to a reader, but would still divide the folder's path.
    return std::ranges::any_of(cluster, [](auto scalar) { return scalar == '/' || isControl(scalar); });
}

Scalars trimmed(const Scalars& scalars) {
    const auto first = std::ranges::find_if_not(scalars, isBlank);
    const auto last = std::find_if_not(scalars.rbegin(), std::make_reverse_iterator(first), isBlank).base();
    return {first, last};
}

/// UTF-8 length of the canonical decomposition, bytes.
std::size_t decomposedLength(const std::string& text) {
    utf8proc_uint8_t* decomposed = nullptr;
    const auto length =
        utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()), static_cast<utf8proc_ssize_t>(text.size()),
                     &decomposed, static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_DECOMPOSE));
    std::free(decomposed);
    return length < 0 ? text.size() : static_cast<std::size_t>(length);
}

}  // namespace

std::string AIDesktopAssistant::workspaceName(std::string_view projectName) {
    Scalars safe;
    for (const auto& cluster : graphemeClusters(decode(projectName)))
        if (isReplaced(cluster))
            safe.push_back('-');
        else
            safe.insert(safe.end(), cluster.begin(), cluster.end());
    auto characters = graphemeClusters(trimmed(safe));
    if (characters.size() > maximumNameCharacters) characters.resize(maximumNameCharacters);

    std::string kept;
    std::size_t budget = maximumNameBytes;
    for (const auto& character : characters) {
        std::string text;
        for (const auto scalar : character) append(text, scalar);
        const std::size_t cost = decomposedLength(text);
        if (cost > budget) break;
        budget -= cost;
        kept += text;
    }
    return "Kelvane - " + (kept.empty() ? "Untitled" : kept);
}

FileURL AIDesktopAssistant::sessionFolder(const FileURL& projectURL, std::string_view projectName) {
    return projectURL.parentFolder().appending("AI").appending(workspaceName(projectName));
}

}  // namespace kelvane
