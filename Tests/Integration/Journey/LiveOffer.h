#pragma once

#include <xcb/xcb.h>

#include <QPoint>
#include <atomic>
#include <map>
#include <string>
#include <thread>

namespace kelvane::testing {

/// Another application of a display: it has text in the clipboard, or drags files. A thread of its own hands out what
/// it offers, whenever it is asked.
class LiveOffer {
public:
    explicit LiveOffer(const std::string& display);
    ~LiveOffer();
    LiveOffer(const LiveOffer&) = delete;
    LiveOffer& operator=(const LiveOffer&) = delete;

    /// Puts text into the clipboard. Once.
    void copy(const std::string& text);
    /// Begins to drag a list of files, as URIs, over a window, to this place of the screen. Once.
    void drag(xcb_window_t window, const std::string& uris, QPoint place);
    /// Whether the window takes the files at the place of the drag, or comes to say so.
    bool isWelcome() const;
    /// Lets go of the files; whether the window has taken them.
    bool drop();

private:
    void offer(const char* selection, const char* type, const std::string& data);
    [[nodiscard]] xcb_atom_t atom(const char* name);
    void serve();
    void answer(const xcb_selection_request_event_t& request);
    void tell(const char* message, std::uint32_t second, std::uint32_t third, std::uint32_t fourth,
              std::uint32_t fifth);

    xcb_connection_t* connection_;
    xcb_window_t window_ = 0;
    xcb_window_t target_ = 0;
    std::map<std::string, xcb_atom_t> atoms_;
    xcb_atom_t type_ = 0;
    std::string data_;
    std::atomic<bool> ends_ = false;
    /// What the target has said: nothing yet, no, yes.
    std::atomic<int> welcome_ = -1;
    std::atomic<int> finished_ = -1;
    std::thread thread_;
};

}  // namespace kelvane::testing
