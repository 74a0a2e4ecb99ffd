#pragma once

#include <xcb/xcb.h>

#include <QPoint>
#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kelvane::testing {

/// Another application of a display: it has text in the clipboard, or drags files. A thread of its own hands out what
/// it offers, whenever it is asked.
class LiveOffer {
public:
    /// Names of types, the dearest first, and what is handed out as each: three at most.
    using Kinds = std::vector<std::pair<const char*, std::string>>;

    explicit LiveOffer(const std::string& display);
    ~LiveOffer();
    LiveOffer(const LiveOffer&) = delete;
    LiveOffer& operator=(const LiveOffer&) = delete;

    /// Puts text into the clipboard. Once.
    void copy(const std::string& text);
    /// Begins to drag something over a window, to this place of the screen. Once.
    void drag(xcb_window_t window, const Kinds& kinds, QPoint place);
    /// The same of a list of files, as URIs.
    void drag(xcb_window_t window, const std::string& uris, QPoint place) {
        drag(window, Kinds{{"text/uri-list", uris}}, place);
    }
    /// Whether the window takes it at the place of the drag, or comes to say so.
    bool isWelcome() const;
    /// Lets go of it; whether the window has taken it.
    bool drop();

private:
    void offer(const char* selection, const Kinds& kinds);
    [[nodiscard]] xcb_atom_t atom(const char* name);
    void serve();
    void answer(const xcb_selection_request_event_t& request);
    void tell(const char* message, std::uint32_t second, std::uint32_t third, std::uint32_t fourth,
              std::uint32_t fifth);

    xcb_connection_t* connection_;
    xcb_window_t window_ = 0;
    xcb_window_t target_ = 0;
    /// A drag is over it, and was neither dropped nor taken away.
    bool isOver_ = false;
    std::map<std::string, xcb_atom_t> atoms_;
    /// What is offered: the types in their order, and what stands behind each.
    std::vector<xcb_atom_t> types_;
    std::vector<std::string> data_;
    std::atomic<bool> ends_ = false;
    /// What the target has said: nothing yet, no, yes.
    std::atomic<int> welcome_ = -1;
    std::atomic<int> finished_ = -1;
    std::thread thread_;
};

}  // namespace kelvane::testing
