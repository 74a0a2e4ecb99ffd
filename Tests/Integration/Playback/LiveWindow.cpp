#include "LiveWindow.h"

#include <xcb/xtest.h>

#include <array>
#include <cstdlib>
#include <memory>

#include "Integration/LiveApplication.h"

namespace kelvane::testing {

namespace {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};
template <class Reply>
using Owned = std::unique_ptr<Reply, Free>;

/// Narrower ones are not the application's.
constexpr int narrowest = 400;

}  // namespace

int ScreenImage::luma(int x, int y) const {
    const std::uint8_t* pixel = pixels.data() + 4 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                                     static_cast<std::size_t>(x));
    return (18 * pixel[0] + 183 * pixel[1] + 54 * pixel[2]) / 255;
}

ScreenImage ScreenImage::part(const ScreenRect& rect) const {
    ScreenImage cut{rect.width, rect.height, {}};
    for (int y = rect.y; y < rect.y + rect.height; ++y) {
        const auto row = pixels.begin() + 4 * (static_cast<std::ptrdiff_t>(y) * width + rect.x);
        cut.pixels.insert(cut.pixels.end(), row, row + 4 * static_cast<std::ptrdiff_t>(rect.width));
    }
    return cut;
}

Screen::Screen(const std::string& display) : connection_(xcb_connect(display.c_str(), nullptr)) {
    if (xcb_connection_has_error(connection_) != 0) return;
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
}

Screen::~Screen() { xcb_disconnect(connection_); }

ScreenImage Screen::image(const ScreenRect& rect) const {
    const auto asked = xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, static_cast<std::int16_t>(rect.x),
                                     static_cast<std::int16_t>(rect.y), static_cast<std::uint16_t>(rect.width),
                                     static_cast<std::uint16_t>(rect.height), ~0U);
    const Owned<xcb_get_image_reply_t> reply(xcb_get_image_reply(connection_, asked, nullptr));
    if (!reply) return {};
    const std::uint8_t* data = xcb_get_image_data(reply.get());
    return {rect.width, rect.height, std::vector(data, data + xcb_get_image_data_length(reply.get()))};
}

xcb_window_t LiveWindow::find() {
    xcb_connection_t* server = screen_.connection();
    const Owned<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(server, xcb_query_tree(server, screen_.root()), nullptr));
    if (!tree) return 0;
    const xcb_window_t* windows = xcb_query_tree_children(tree.get());
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        const Owned<xcb_get_window_attributes_reply_t> looks(
            xcb_get_window_attributes_reply(server, xcb_get_window_attributes(server, windows[i]), nullptr));
        const Owned<xcb_get_geometry_reply_t> place(
            xcb_get_geometry_reply(server, xcb_get_geometry(server, windows[i]), nullptr));
        if (!looks || !place || looks->map_state != XCB_MAP_STATE_VIEWABLE || place->width < narrowest) continue;
        rect_ = {place->x, place->y, place->width, place->height};
        return windows[i];
    }
    return 0;
}

bool LiveWindow::waitForIt() {
    if (!eventually([this] { return (window_ = find()) != 0; })) return false;
    setActive(true);
    return true;
}

void LiveWindow::setActive(bool isActive) {
    xcb_set_input_focus(screen_.connection(), XCB_INPUT_FOCUS_NONE, isActive ? window_ : XCB_NONE, XCB_CURRENT_TIME);
    xcb_flush(screen_.connection());
}

void LiveWindow::moveTo(int x, int y) {
    const std::array<std::uint32_t, 2> corner{static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)};
    xcb_configure_window(screen_.connection(), window_, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, corner.data());
    xcb_flush(screen_.connection());
}

void LiveWindow::send(std::uint8_t type, std::uint8_t detail, int x, int y) {
    xcb_test_fake_input(screen_.connection(), type, detail, XCB_CURRENT_TIME, screen_.root(),
                        static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), 0);
    xcb_flush(screen_.connection());
}

void LiveWindow::press(char symbol) {
    xcb_connection_t* server = screen_.connection();
    const xcb_setup_t* setup = xcb_get_setup(server);
    const auto asked = xcb_get_keyboard_mapping(server, setup->min_keycode,
                                                static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1));
    const Owned<xcb_get_keyboard_mapping_reply_t> keys(xcb_get_keyboard_mapping_reply(server, asked, nullptr));
    if (!keys) return;
    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(keys.get());
    for (int i = 0; i < xcb_get_keyboard_mapping_keysyms_length(keys.get()); ++i) {
        if (symbols[i] != static_cast<xcb_keysym_t>(symbol)) continue;
        const auto key = static_cast<std::uint8_t>(setup->min_keycode + i / keys->keysyms_per_keycode);
        send(XCB_KEY_PRESS, key);
        send(XCB_KEY_RELEASE, key);
        return;
    }
}

void LiveWindow::pointAt(int x, int y) { send(XCB_MOTION_NOTIFY, 0, x, y); }

void LiveWindow::hold(bool isHeld) { send(isHeld ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, 1); }

}  // namespace kelvane::testing
