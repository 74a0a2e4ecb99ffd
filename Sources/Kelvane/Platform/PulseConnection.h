#pragma once

#include <pulse/pulseaudio.h>

#include <QCoroTask>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "MainContext.h"
#include "Support/FileDescriptor.h"

namespace kelvane {

/// What wants to hear of the sound server. All calls come on the connection's thread.
class PulseClient {
public:
    virtual ~PulseClient() = default;
    /// The server is there, or its devices or defaults have changed.
    virtual void serverChanged() = 0;
    /// The server has gone, or the connection ends: streams must be released.
    virtual void serverWent() = 0;
};

/// The program's one connection to the user's sound server, shared by all that plays and records. It connects by
/// itself and tries again for ever when there is no server. All that touches the library runs on a thread of its own,
/// to which work is handed over, so that no caller ever waits for the server, nor for that thread.
class PulseConnection {
public:
    explicit PulseConnection(MainContext& context);
    /// Ends the thread, which waits for nothing but the callback that it runs. The main thread.
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    /// Runs `work` on the connection's thread, later and in order; never when the connection ends before. Any thread.
    void run(std::function<void()> work);
    /// Whether a server answers within `patience`. Tries at once. The main thread.
    QCoro::Task<bool> serverAnswers(std::chrono::milliseconds patience);
    [[nodiscard]] MainContext& context() const { return context_; }

    // On the connection's thread.
    /// The server; null while there is none.
    [[nodiscard]] pa_context* server() const { return isReady_ ? server_ : nullptr; }
    /// Whether the server has a sink to play to.
    [[nodiscard]] bool hasSink() const { return isReady_ && hasSink_; }
    /// `client` is told from now on, and at once where the server is there.
    void add(std::shared_ptr<PulseClient> client);
    void remove(const PulseClient& client);
    /// Calls `due(data)` once. It goes with `cancelTimer`, before or after the call.
    pa_time_event* startTimer(std::chrono::microseconds delay, void (*due)(void* data), void* data);
    void cancelTimer(pa_time_event*& timer);

private:
    void serve();
    void connect();
    void stateChanged();
    void lost();
    void askForDefaults();
    void dropServer();

    MainContext& context_;
    std::mutex mutex_;
    std::vector<std::function<void()>> works_;
    FileDescriptor wake_;
    pa_threaded_mainloop* loop_ = nullptr;
    pa_mainloop_api* api_ = nullptr;
    pa_io_event* wakeEvent_ = nullptr;

    // Of the connection's thread.
    pa_context* server_ = nullptr;
    bool isReady_ = false;
    bool hasSink_ = false;
    pa_time_event* retry_ = nullptr;
    std::chrono::milliseconds retryDelay_;
    std::vector<std::shared_ptr<PulseClient>> clients_;
    /// Who waits for the server.
    std::vector<std::function<void()>> waiting_;
};

/// Ends a stream and lets go of it; null stays null. Calls nothing of its owner afterwards. The connection's thread.
void releaseStream(pa_stream*& stream);
/// Asks for a stream's timing anew; its latency callback is called when it is there. The connection's thread.
void askForTiming(pa_stream* stream);
/// When, on the clock of MainContext::now, the server told this.
std::chrono::nanoseconds timeOf(const pa_timing_info& timing, const MainContext& context);
/// Properties of a stream: its name and, for mixers and policies, what kind of sound it is.
pa_stream* newStream(pa_context* server, const char* name, const char* role, const pa_sample_spec& format);

}  // namespace kelvane
