#include "StrictManager.h"

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

/// "Iconic", as the conventions between clients number it.
constexpr std::uint32_t iconic = 3;

}  // namespace

StrictManager::StrictManager(const std::string& display) : screen_(display) {
    xcb_connection_t* server = screen_.connection();
    const std::uint32_t watched =
        XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(server, screen_.root(), XCB_CW_EVENT_MASK, &watched);
    elsewhere_ = xcb_generate_id(server);
    const std::uint32_t own[] = {1, XCB_EVENT_MASK_PROPERTY_CHANGE};
    xcb_create_window(server, XCB_COPY_FROM_PARENT, elsewhere_, screen_.root(), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK,
                      own);
    xcb_map_window(server, elsewhere_);
    const xcb_atom_t supported[] = {atom("_NET_ACTIVE_WINDOW")};
    xcb_change_property(server, XCB_PROP_MODE_REPLACE, screen_.root(), atom("_NET_SUPPORTED"), XCB_ATOM_ATOM, 32, 1,
                        supported);
    xcb_flush(server);
}

xcb_atom_t StrictManager::atom(const std::string& name) const {
    const auto asked = xcb_intern_atom(screen_.connection(), 0, static_cast<std::uint16_t>(name.size()), name.data());
    const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(screen_.connection(), asked, nullptr));
    return reply ? reply->atom : XCB_ATOM_NONE;
}

void StrictManager::handle() {
    while (true) {
        const Owned<xcb_generic_event_t> event(xcb_poll_for_event(screen_.connection()));
        if (!event) return;
        handle(*event);
    }
}

void StrictManager::handle(const xcb_generic_event_t& event) {
    // What was sent by a client has a bit more.
    switch (event.response_type & 0x7f) {
        case XCB_MAP_REQUEST:
            show(reinterpret_cast<const xcb_map_request_event_t&>(event).window);
            break;
        case XCB_CONFIGURE_REQUEST:
            configure(reinterpret_cast<const xcb_configure_request_event_t&>(event));
            break;
        case XCB_CLIENT_MESSAGE:
            hear(reinterpret_cast<const xcb_client_message_event_t&>(event));
            break;
        case XCB_PROPERTY_NOTIFY:
            if (const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
                change.window == elsewhere_)
                told_ = change.time;
            break;
        default:
            break;
    }
}

void StrictManager::show(xcb_window_t window) {
    if (window_ == 0) window_ = window;
    xcb_map_window(screen_.connection(), window);
    xcb_flush(screen_.connection());
}

void StrictManager::configure(const xcb_configure_request_event_t& wish) const {
    std::vector<std::uint32_t> values;
    const auto take = [&](std::uint16_t bit, auto value) {
        if ((wish.value_mask & bit) != 0) values.push_back(static_cast<std::uint32_t>(value));
    };
    take(XCB_CONFIG_WINDOW_X, wish.x);
    take(XCB_CONFIG_WINDOW_Y, wish.y);
    take(XCB_CONFIG_WINDOW_WIDTH, wish.width);
    take(XCB_CONFIG_WINDOW_HEIGHT, wish.height);
    take(XCB_CONFIG_WINDOW_BORDER_WIDTH, wish.border_width);
    take(XCB_CONFIG_WINDOW_SIBLING, wish.sibling);
    take(XCB_CONFIG_WINDOW_STACK_MODE, wish.stack_mode);
    xcb_configure_window(screen_.connection(), wish.window, wish.value_mask, values.data());
    xcb_flush(screen_.connection());
}

void StrictManager::hear(const xcb_client_message_event_t& message) {
    if (message.type == atom("_NET_ACTIVE_WINDOW")) {
        answer(message);
        return;
    }
    const bool begins = message.type == atom("_NET_STARTUP_INFO_BEGIN");
    if (!begins && message.type != atom("_NET_STARTUP_INFO")) return;
    std::string& text = begun_[message.window];
    if (begins) text.clear();
    for (const std::uint8_t byte : message.data.data8) {
        if (byte == 0) {
            messages_.push_back(text);
            begun_.erase(message.window);
            return;
        }
        text.push_back(static_cast<char>(byte));
    }
}

void StrictManager::answer(const xcb_client_message_event_t& ask) {
    const std::uint32_t time = ask.data.data32[1];
    const bool isGranted = static_cast<std::int32_t>(time - lastAct_) >= 0;
    asks_.push_back({ask.window, ask.data.data32[0], time, isGranted});
    if (!isGranted) return;
    lastAct_ = time;
    xcb_map_window(screen_.connection(), ask.window);
    xcb_set_input_focus(screen_.connection(), XCB_INPUT_FOCUS_NONE, ask.window, XCB_CURRENT_TIME);
    xcb_flush(screen_.connection());
}

std::uint32_t StrictManager::now() {
    told_.reset();
    xcb_change_property(screen_.connection(), XCB_PROP_MODE_REPLACE, elsewhere_, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                        0, nullptr);
    xcb_flush(screen_.connection());
    (void)eventually([this] {
        handle();
        return told_.has_value();
    });
    return told_.value_or(0);
}

void StrictManager::workElsewhere(std::uint32_t time) {
    lastAct_ = time;
    xcb_set_input_focus(screen_.connection(), XCB_INPUT_FOCUS_NONE, elsewhere_, XCB_CURRENT_TIME);
    xcb_flush(screen_.connection());
}

void StrictManager::putAway() {
    const std::uint32_t state[] = {iconic, XCB_WINDOW_NONE};
    const xcb_atom_t property = atom("WM_STATE");
    xcb_change_property(screen_.connection(), XCB_PROP_MODE_REPLACE, window_, property, property, 32, 2, state);
    xcb_unmap_window(screen_.connection(), window_);
    xcb_flush(screen_.connection());
}

bool StrictManager::hasFocus() const {
    const Owned<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(screen_.connection(), xcb_get_input_focus(screen_.connection()), nullptr));
    return reply && reply->focus == window_;
}

bool StrictManager::isShown() const {
    const Owned<xcb_get_window_attributes_reply_t> looks(xcb_get_window_attributes_reply(
        screen_.connection(), xcb_get_window_attributes(screen_.connection(), window_), nullptr));
    return looks && looks->map_state == XCB_MAP_STATE_VIEWABLE;
}

std::string StrictManager::bytes(xcb_window_t window, const std::string& property) const {
    const auto asked =
        xcb_get_property(screen_.connection(), 0, window, atom(property), XCB_GET_PROPERTY_TYPE_ANY, 0, 1024);
    const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(screen_.connection(), asked, nullptr));
    if (!reply) return {};
    const char* data = static_cast<const char*>(xcb_get_property_value(reply.get()));
    return {data, data + xcb_get_property_value_length(reply.get())};
}

std::string StrictManager::text(const std::string& property) const { return bytes(window_, property); }

std::optional<std::uint32_t> StrictManager::number(const std::string& property) const {
    const std::string value = bytes(window_, property);
    std::uint32_t number = 0;
    if (value.size() < sizeof number) return std::nullopt;
    value.copy(reinterpret_cast<char*>(&number), sizeof number);
    return number;
}

void StrictManager::setNumber(const std::string& property, std::uint32_t number) {
    xcb_change_property(screen_.connection(), XCB_PROP_MODE_REPLACE, window_, atom(property), XCB_ATOM_CARDINAL, 32, 1,
                        &number);
    xcb_flush(screen_.connection());
}

}  // namespace kelvane::testing
