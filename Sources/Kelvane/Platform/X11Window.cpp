#include "X11Window.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace kelvane {

namespace {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};
template <class Reply>
using Owned = std::unique_ptr<Reply, Free>;

/// More than a property that is read here has.
constexpr std::uint32_t maximumNumbers = 4096;
/// Who asks for the focus: an application, not a pager.
constexpr std::uint32_t fromApplication = 1;

}  // namespace

std::optional<X11Window> X11Window::of(QWindow& window) {
    const auto* application = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (application == nullptr || application->connection() == nullptr) return std::nullopt;
    return X11Window(application->connection(), static_cast<std::uint32_t>(window.winId()));
}

X11Window::X11Window(xcb_connection_t* server, std::uint32_t window) : server_(server), window_(window) {
    const Owned<xcb_get_geometry_reply_t> place(
        xcb_get_geometry_reply(server_, xcb_get_geometry(server_, window_), nullptr));
    if (place) root_ = place->root;
}

std::uint32_t X11Window::atom(std::string_view name) const {
    const auto asked = xcb_intern_atom(server_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(server_, asked, nullptr));
    return reply ? reply->atom : XCB_ATOM_NONE;
}

std::vector<std::uint32_t> X11Window::numbers(std::uint32_t window, std::string_view property) const {
    const auto asked =
        xcb_get_property(server_, 0, window, atom(property), XCB_GET_PROPERTY_TYPE_ANY, 0, maximumNumbers);
    const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(server_, asked, nullptr));
    if (!reply || reply->format != 32) return {};
    const auto* values = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return {values, values + reply->value_len};
}

bool X11Window::canAskToBeActive() const {
    const auto supported = numbers(root_, "_NET_SUPPORTED");
    return std::ranges::find(supported, atom("_NET_ACTIVE_WINDOW")) != supported.end();
}

std::uint32_t X11Window::userTimeWindow() const {
    const auto other = numbers(window_, "_NET_WM_USER_TIME_WINDOW");
    return other.empty() ? window_ : other.front();
}

std::optional<std::uint32_t> X11Window::userTime() const {
    const auto time = numbers(userTimeWindow(), "_NET_WM_USER_TIME");
    return time.empty() || time.front() == XCB_CURRENT_TIME ? std::nullopt : std::optional(time.front());
}

void X11Window::setUserTime(std::uint32_t time) const {
    xcb_change_property(server_, XCB_PROP_MODE_REPLACE, userTimeWindow(), atom("_NET_WM_USER_TIME"), XCB_ATOM_CARDINAL,
                        32, 1, &time);
}

void X11Window::setStartupID(std::string_view startupID) const {
    xcb_change_property(server_, XCB_PROP_MODE_REPLACE, window_, atom("_NET_STARTUP_ID"), atom("UTF8_STRING"), 8,
                        static_cast<std::uint32_t>(startupID.size()), startupID.data());
}

void X11Window::askToBeActive(std::uint32_t time) const {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window_;
    event.type = atom("_NET_ACTIVE_WINDOW");
    event.data.data32[0] = fromApplication;
    event.data.data32[1] = time;
    const QWindow* active = QGuiApplication::focusWindow();
    event.data.data32[2] = active != nullptr ? static_cast<std::uint32_t>(active->winId()) : XCB_WINDOW_NONE;
    xcb_send_event(server_, 0, root_, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&event));
    xcb_flush(server_);
}

void X11Window::endStartup(std::string_view startupID) const {
    // By this window, which nobody sees, the pieces are known to belong together.
    const std::uint32_t sender = xcb_generate_id(server_);
    xcb_create_window(server_, XCB_COPY_FROM_PARENT, sender, root_, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 8;
    event.window = sender;
    event.type = atom("_NET_STARTUP_INFO_BEGIN");
    const std::uint32_t further = atom("_NET_STARTUP_INFO");
    for (const StartupMessagePiece& piece : startupEndMessage(startupID)) {
        std::memcpy(event.data.data8, piece.data(), piece.size());
        xcb_send_event(server_, 0, root_, XCB_EVENT_MASK_PROPERTY_CHANGE, reinterpret_cast<const char*>(&event));
        event.type = further;
    }
    xcb_destroy_window(server_, sender);
    xcb_flush(server_);
}

}  // namespace kelvane
