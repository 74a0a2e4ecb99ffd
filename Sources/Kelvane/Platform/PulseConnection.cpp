#include "PulseConnection.h"

#include <sys/eventfd.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <utility>

#include "Reply.h"
#include "Support/Error.h"

namespace kelvane {

namespace {

using namespace std::chrono_literals;

/// A server that restarts is there again within a second, and one that isn't installed costs a failed connect(2) every
/// two.
constexpr std::chrono::milliseconds firstRetry = 250ms;
constexpr std::chrono::milliseconds lastRetry = 2s;

/// What a timer calls.
struct Due {
    void (*call)(void*);
    void* data;
};

void forget(pa_operation* operation) {
    if (operation != nullptr) pa_operation_unref(operation);
}

/// Follows a stream that nobody owns any more to its end: one that is being made can't be ended before it is there.
void followToEnd(pa_stream* stream, void* /*data*/) {
    const pa_stream_state_t state = pa_stream_get_state(stream);
    if (state == PA_STREAM_CREATING) return;
    if (state == PA_STREAM_READY && pa_stream_disconnect(stream) >= 0) return;
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_unref(stream);
}

}  // namespace

PulseConnection::PulseConnection(MainContext& context)
    : context_(context),
      wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      loop_(pa_threaded_mainloop_new()),
      retryDelay_(firstRetry) {
    context_.checkMainThread();
    check(wake_.isOpen() && loop_ != nullptr, "no event loop for sound");
    pa_threaded_mainloop_set_name(loop_, "sound");
    api_ = pa_threaded_mainloop_get_api(loop_);
    const auto woken = [](pa_mainloop_api*, pa_io_event*, int, pa_io_event_flags_t, void* self) {
        static_cast<PulseConnection*>(self)->serve();
    };
    wakeEvent_ = api_->io_new(api_, wake_.get(), PA_IO_EVENT_INPUT, woken, this);
    run([this] { connect(); });
    // Without a thread there is no sound, as without a server.
    (void)pa_threaded_mainloop_start(loop_);
}

PulseConnection::~PulseConnection() {
    context_.checkMainThread();
    pa_threaded_mainloop_stop(loop_);
    // From here on this is the connection's thread.
    waiting_.clear();
    works_.clear();
    dropServer();
    clients_.clear();
    cancelTimer(retry_);
    api_->io_free(wakeEvent_);
    pa_threaded_mainloop_free(loop_);
}

void PulseConnection::run(std::function<void()> work) {
    {
        const std::scoped_lock lock(mutex_);
        works_.push_back(std::move(work));
    }
    constexpr std::uint64_t one = 1;
    // Full, it is read all the same.
    (void)!::write(wake_.get(), &one, sizeof one);
}

void PulseConnection::serve() {
    std::uint64_t count = 0;
    (void)!::read(wake_.get(), &count, sizeof count);
    std::vector<std::function<void()>> works;
    {
        const std::scoped_lock lock(mutex_);
        works = std::exchange(works_, {});
    }
    for (std::function<void()>& work : works) std::exchange(work, nullptr)();
}

QCoro::Task<bool> PulseConnection::serverAnswers(std::chrono::milliseconds patience) {
    context_.checkMainThread();
    const Reply<bool> reply;
    const Timer timer = context_.after(patience, [reply] { reply.give(false); });
    run([this, reply] {
        auto tell = [&context = context_, reply] { context.post([reply] { reply.give(true); }); };
        if (isReady_) return tell();
        waiting_.push_back(std::move(tell));
        connect();
    });
    co_return co_await reply;
}

void PulseConnection::add(std::shared_ptr<PulseClient> client) {
    clients_.push_back(client);
    if (isReady_) client->serverChanged();
}

void PulseConnection::remove(const PulseClient& client) {
    std::erase_if(clients_, [&](const auto& one) { return one.get() == &client; });
}

pa_time_event* PulseConnection::startTimer(std::chrono::microseconds delay, void (*due)(void*), void* data) {
    timeval time{};
    gettimeofday(&time, nullptr);
    pa_timeval_add(&time, static_cast<pa_usec_t>(delay.count()));
    const auto call = [](pa_mainloop_api*, pa_time_event*, const timeval*, void* made) {
        // The call may cancel its own timer.
        const Due copy = *static_cast<Due*>(made);
        copy.call(copy.data);
    };
    pa_time_event* timer = api_->time_new(api_, &time, call, new Due{due, data});
    api_->time_set_destroy(timer, [](pa_mainloop_api*, pa_time_event*, void* made) { delete static_cast<Due*>(made); });
    return timer;
}

void PulseConnection::cancelTimer(pa_time_event*& timer) {
    if (timer != nullptr) api_->time_free(std::exchange(timer, nullptr));
}

void PulseConnection::connect() {
    if (server_ != nullptr) return;
    cancelTimer(retry_);
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, "Kelvane");
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ICON_NAME, "kelvane");
    server_ = pa_context_new_with_proplist(api_, "Kelvane", properties);
    pa_proplist_free(properties);
    if (server_ == nullptr) return lost();
    pa_context_set_state_callback(
        server_, [](pa_context*, void* self) { static_cast<PulseConnection*>(self)->stateChanged(); }, this);
    // The session starts its server, by a socket that waits for the first client; we never do.
    if (pa_context_connect(server_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) lost();
}

void PulseConnection::stateChanged() {
    if (server_ == nullptr) return;
    const pa_context_state_t state = pa_context_get_state(server_);
    if (!PA_CONTEXT_IS_GOOD(state)) return lost();
    if (state != PA_CONTEXT_READY || isReady_) return;
    isReady_ = true;
    retryDelay_ = firstRetry;
    const auto changed = [](pa_context*, pa_subscription_event_type_t what, std::uint32_t, void* self) {
        const auto kind = what & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
        const auto of = what & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
        // A device that changes is one whose volume was turned, most of the time.
        if (of == PA_SUBSCRIPTION_EVENT_SERVER || kind != PA_SUBSCRIPTION_EVENT_CHANGE)
            static_cast<PulseConnection*>(self)->askForDefaults();
    };
    pa_context_set_subscribe_callback(server_, changed, this);
    const auto kinds = static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SINK |
                                                           PA_SUBSCRIPTION_MASK_SOURCE);
    forget(pa_context_subscribe(server_, kinds, nullptr, nullptr));
    askForDefaults();
    for (const auto& tell : std::exchange(waiting_, {})) tell();
}

void PulseConnection::askForDefaults() {
    if (!isReady_) return;
    const auto answered = [](pa_context*, const pa_server_info* info, void* data) {
        auto& self = *static_cast<PulseConnection*>(data);
        if (info == nullptr || !self.isReady_) return;
        self.hasSink_ = info->default_sink_name != nullptr && *info->default_sink_name != '\0';
        // A client may leave while it is told.
        for (const auto& client : std::vector(self.clients_)) client->serverChanged();
    };
    forget(pa_context_get_server_info(server_, answered, this));
}

void PulseConnection::lost() {
    dropServer();
    const auto again = [](void* data) {
        auto& self = *static_cast<PulseConnection*>(data);
        self.cancelTimer(self.retry_);
        self.connect();
    };
    cancelTimer(retry_);
    retry_ = startTimer(retryDelay_, again, this);
    retryDelay_ = std::min(retryDelay_ * 2, lastRetry);
}

void PulseConnection::dropServer() {
    isReady_ = false;
    hasSink_ = false;
    for (const auto& client : std::vector(clients_)) client->serverWent();
    if (server_ == nullptr) return;
    pa_context* old = std::exchange(server_, nullptr);
    pa_context_set_state_callback(old, nullptr, nullptr);
    pa_context_set_subscribe_callback(old, nullptr, nullptr);
    pa_context_disconnect(old);
    pa_context_unref(old);
}

void releaseStream(pa_stream*& stream) {
    if (stream == nullptr) return;
    pa_stream* old = std::exchange(stream, nullptr);
    pa_stream_set_write_callback(old, nullptr, nullptr);
    pa_stream_set_read_callback(old, nullptr, nullptr);
    pa_stream_set_underflow_callback(old, nullptr, nullptr);
    pa_stream_set_latency_update_callback(old, nullptr, nullptr);
    pa_stream_set_state_callback(old, followToEnd, nullptr);
    followToEnd(old, nullptr);
}

void askForTiming(pa_stream* stream) { forget(pa_stream_update_timing_info(stream, nullptr, nullptr)); }

std::chrono::nanoseconds timeOf(const pa_timing_info& timing, const MainContext& context) {
    // The library's stamps are of the wall clock. One that was set meanwhile is taken for a fresh one.
    timeval wall{};
    gettimeofday(&wall, nullptr);
    const auto age = std::chrono::seconds(wall.tv_sec - timing.timestamp.tv_sec) +
                     std::chrono::microseconds(wall.tv_usec - timing.timestamp.tv_usec);
    return context.now() - (age >= 0s && age < 2s ? age : 0us);
}

pa_stream* newStream(pa_context* server, const char* name, const char* role, const pa_sample_spec& format) {
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_MEDIA_ROLE, role);
    pa_stream* stream = pa_stream_new_with_proplist(server, name, &format, nullptr, properties);
    pa_proplist_free(properties);
    return stream;
}

}  // namespace kelvane
