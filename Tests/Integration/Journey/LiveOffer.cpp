#include "LiveOffer.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Integration/LiveApplication.h"

namespace kelvane::testing {

namespace {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};

constexpr std::uint32_t dragVersion = 5;
/// Between two looks at whether it is to end, milliseconds.
constexpr int lookPause = 50;

}  // namespace

LiveOffer::LiveOffer(const std::string& display) : connection_(xcb_connect(display.c_str(), nullptr)) {
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    window_ = xcb_generate_id(connection_);
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    for (const char* name : {"TARGETS", "CLIPBOARD", "XdndSelection", "XdndEnter", "XdndPosition", "XdndStatus",
                             "XdndLeave", "XdndDrop", "XdndFinished", "XdndActionCopy"})
        (void)atom(name);
}

LiveOffer::~LiveOffer() {
    ends_ = true;
    if (thread_.joinable()) thread_.join();
    // Who lets a drag go elsewhere says so to where it was.
    if (isOver_) tell("XdndLeave", 0, 0, 0, 0);
    // Of a client that is gone the server drops what it hasn't read yet.
    std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    xcb_disconnect(connection_);
}

xcb_atom_t LiveOffer::atom(const char* name) {
    const auto known = atoms_.find(name);
    if (known != atoms_.end()) return known->second;
    const auto asked = xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(std::strlen(name)), name);
    const std::unique_ptr<xcb_intern_atom_reply_t, Free> reply(xcb_intern_atom_reply(connection_, asked, nullptr));
    return atoms_[name] = reply ? reply->atom : 0;
}

void LiveOffer::offer(const char* selection, const Kinds& kinds) {
    for (const auto& [name, data] : kinds) {
        types_.push_back(atom(name));
        data_.push_back(data);
    }
    xcb_set_selection_owner(connection_, window_, atom(selection), XCB_CURRENT_TIME);
    // Who pastes next finds it there.
    const auto asked = xcb_get_selection_owner(connection_, atom(selection));
    std::free(xcb_get_selection_owner_reply(connection_, asked, nullptr));
    thread_ = std::thread([this] { serve(); });
}

void LiveOffer::copy(const std::string& text) { offer("CLIPBOARD", {{"UTF8_STRING", text}}); }

void LiveOffer::drag(xcb_window_t window, const Kinds& kinds, QPoint place) {
    target_ = window;
    isOver_ = true;
    offer("XdndSelection", kinds);
    const auto type = [this](std::size_t at) { return at < types_.size() ? types_[at] : XCB_ATOM_NONE; };
    tell("XdndEnter", dragVersion << 24, type(0), type(1), type(2));
    const auto packed = static_cast<std::uint32_t>(place.x()) << 16 | static_cast<std::uint32_t>(place.y());
    tell("XdndPosition", 0, packed, XCB_CURRENT_TIME, atom("XdndActionCopy"));
}

bool LiveOffer::isWelcome() const {
    (void)eventually([this] { return welcome_ >= 0; });
    return welcome_ == 1;
}

bool LiveOffer::drop() {
    isOver_ = false;
    tell("XdndDrop", 0, XCB_CURRENT_TIME, 0, 0);
    (void)eventually([this] { return finished_ >= 0; });
    return finished_ == 1;
}

void LiveOffer::tell(const char* message, std::uint32_t second, std::uint32_t third, std::uint32_t fourth,
                     std::uint32_t fifth) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = target_;
    event.type = atoms_.at(message);
    const std::array<std::uint32_t, 5> words{window_, second, third, fourth, fifth};
    std::memcpy(event.data.data32, words.data(), sizeof words);
    xcb_send_event(connection_, 0, target_, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
    xcb_flush(connection_);
}

void LiveOffer::serve() {
    pollfd ready{xcb_get_file_descriptor(connection_), POLLIN, 0};
    while (!ends_) {
        const std::unique_ptr<xcb_generic_event_t, Free> event(xcb_poll_for_event(connection_));
        if (!event) {
            (void)poll(&ready, 1, lookPause);
            continue;
        }
        const int kind = event->response_type & 0x7f;
        if (kind == XCB_SELECTION_REQUEST) answer(*reinterpret_cast<const xcb_selection_request_event_t*>(event.get()));
        if (kind != XCB_CLIENT_MESSAGE) continue;
        const auto& message = *reinterpret_cast<const xcb_client_message_event_t*>(event.get());
        const int isYes = (message.data.data32[1] & 1) != 0 ? 1 : 0;
        if (message.type == atoms_.at("XdndStatus")) welcome_ = isYes;
        if (message.type == atoms_.at("XdndFinished")) finished_ = isYes;
    }
}

void LiveOffer::answer(const xcb_selection_request_event_t& request) {
    xcb_selection_notify_event_t event{};
    event.response_type = XCB_SELECTION_NOTIFY;
    event.time = request.time;
    event.requestor = request.requestor;
    event.selection = request.selection;
    event.target = request.target;
    event.property = request.property;
    const auto type = std::ranges::find(types_, request.target);
    if (request.target == atoms_.at("TARGETS")) {
        xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, request.requestor, request.property, XCB_ATOM_ATOM, 32,
                            static_cast<std::uint32_t>(types_.size()), types_.data());
    } else if (type != types_.end()) {
        const std::string& data = data_[static_cast<std::size_t>(type - types_.begin())];
        xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, request.requestor, request.property, *type, 8,
                            static_cast<std::uint32_t>(data.size()), data.data());
    } else {
        event.property = XCB_NONE;
    }
    xcb_send_event(connection_, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
    xcb_flush(connection_);
}

}  // namespace kelvane::testing
