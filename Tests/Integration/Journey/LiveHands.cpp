#include "LiveHands.h"

#include <gtest/gtest.h>
#include <xcb/xtest.h>

#include <QString>
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <memory>

namespace kelvane::testing {

namespace {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};

// As the protocol numbers them (keysymdef.h).
constexpr xcb_keysym_t shiftKey = 0xffe1;
const std::map<std::string, xcb_keysym_t> namedKeys = {
    {"Ctrl", 0xffe3},   {"Shift", shiftKey}, {"Alt", 0xffe9},      {"Return", 0xff0d}, {"Tab", 0xff09},
    {"Escape", 0xff1b}, {"Delete", 0xffff},  {"Left", 0xff51},     {"Up", 0xff52},     {"Right", 0xff53},
    {"Down", 0xff54},   {"PageUp", 0xff55},  {"PageDown", 0xff56}, {"End", 0xff57},    {"Home", 0xff50},
    {"Space", 0x20},    {"F1", 0xffbe},      {"F2", 0xffbf},       {"F6", 0xffc3},     {"F10", 0xffc7}};
/// Keysyms of characters beyond Latin-1 are their numbers with this bit.
constexpr xcb_keysym_t unicode = 0x01000000;

xcb_keysym_t symbolOf(char32_t character) {
    return character < 0x100 ? static_cast<xcb_keysym_t>(character) : unicode | static_cast<xcb_keysym_t>(character);
}

/// Steps of a drag: enough for each threshold to be passed.
constexpr int dragSteps = 8;

}  // namespace

LiveHands::LiveHands(const std::string& display) : screen_(display) { readKeyboard(); }

void LiveHands::readKeyboard() {
    xcb_connection_t* server = screen_.connection();
    const xcb_setup_t* setup = xcb_get_setup(server);
    first_ = setup->min_keycode;
    const auto asked = xcb_get_keyboard_mapping(server, setup->min_keycode,
                                                static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1));
    const std::unique_ptr<xcb_get_keyboard_mapping_reply_t, Free> keys(
        xcb_get_keyboard_mapping_reply(server, asked, nullptr));
    if (!keys) return;
    columns_ = keys->keysyms_per_keycode;
    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(keys.get());
    symbols_.assign(symbols, symbols + xcb_get_keyboard_mapping_keysyms_length(keys.get()));
}

LiveHands::Key LiveHands::keyOf(xcb_keysym_t symbol) const {
    for (int column = 0; column < 2; ++column)
        for (std::size_t at = static_cast<std::size_t>(column); at < symbols_.size();
             at += static_cast<std::size_t>(columns_))
            if (symbols_[at] == symbol) return {first_ + static_cast<int>(at) / columns_, column == 1};
    return {};
}

void LiveHands::provide(const std::vector<xcb_keysym_t>& wanted) {
    const auto columns = static_cast<std::size_t>(columns_);
    bool isChanged = false;
    for (const auto symbol : wanted) {
        if (keyOf(symbol).code != 0) continue;
        for (std::size_t at = 0; at + columns <= symbols_.size(); at += columns) {
            const auto begin = symbols_.begin() + static_cast<std::ptrdiff_t>(at);
            if (std::any_of(begin, begin + columns_, [](xcb_keysym_t taken) { return taken != 0; })) continue;
            // In both columns, so that no key is taken for one with an upper case of its own.
            *begin = *(begin + 1) = symbol;
            xcb_change_keyboard_mapping(screen_.connection(), 1,
                                        static_cast<xcb_keycode_t>(first_ + static_cast<int>(at) / columns_),
                                        static_cast<std::uint8_t>(columns_), &*begin);
            isChanged = true;
            break;
        }
    }
    if (isChanged) xcb_flush(screen_.connection());
}

void LiveHands::tap(Key key) {
    const int shift = key.isShifted ? keyOf(shiftKey).code : 0;
    if (shift != 0) send(XCB_KEY_PRESS, shift);
    send(XCB_KEY_PRESS, key.code);
    send(XCB_KEY_RELEASE, key.code);
    if (shift != 0) send(XCB_KEY_RELEASE, shift);
}

void LiveHands::press(const std::string& chord) {
    std::vector<int> held;
    std::size_t at = 0;
    for (std::size_t plus = 0; (plus = chord.find('+', at)) != std::string::npos && plus > at; at = plus + 1) {
        held.push_back(keyOf(namedKeys.at(chord.substr(at, plus - at))).code);
        send(XCB_KEY_PRESS, held.back());
    }
    const std::string name = chord.substr(at);
    const auto named = namedKeys.find(name);
    const auto letter = static_cast<unsigned char>(std::tolower(static_cast<unsigned char>(name.front())));
    const Key key = keyOf(named != namedKeys.end() ? named->second : symbolOf(letter));
    EXPECT_NE(key.code, 0) << chord;
    tap(key);
    for (; !held.empty(); held.pop_back()) send(XCB_KEY_RELEASE, held.back());
}

void LiveHands::type(const std::string& text) {
    std::vector<xcb_keysym_t> symbols;
    for (const char32_t character : QString::fromStdString(text).toStdU32String())
        symbols.push_back(symbolOf(character));
    provide(symbols);
    for (const auto symbol : symbols) {
        const Key key = keyOf(symbol);
        EXPECT_NE(key.code, 0) << text;
        tap(key);
    }
}

void LiveHands::pointAt(QPoint place) { send(XCB_MOTION_NOTIFY, 0, place); }

void LiveHands::hold(bool isHeld, int button) { send(isHeld ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, button); }

void LiveHands::click(QPoint place, int button) {
    pointAt(place);
    hold(true, button);
    hold(false, button);
}

void LiveHands::doubleClick(QPoint place) {
    click(place);
    click(place);
}

void LiveHands::take(QPoint from, QPoint to) {
    pointAt(from);
    hold(true);
    for (int step = 1; step <= dragSteps; ++step) pointAt(from + (to - from) * step / dragSteps);
}

void LiveHands::send(int type, int detail, QPoint place) {
    xcb_test_fake_input(screen_.connection(), static_cast<std::uint8_t>(type), static_cast<std::uint8_t>(detail),
                        XCB_CURRENT_TIME, screen_.root(), static_cast<std::int16_t>(place.x()),
                        static_cast<std::int16_t>(place.y()), 0);
    xcb_flush(screen_.connection());
}

}  // namespace kelvane::testing
