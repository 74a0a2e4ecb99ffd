#include "PulseSoundOutput.h"

#include <algorithm>
#include <utility>

#include "Media/MediaStreams.h"

namespace kelvane {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t frameBytes = 2 * sizeof(float);
/// Of the way from us to the ear that the server may use: a pause of ours that long isn't heard, and a start sounds
/// within it.
constexpr std::chrono::milliseconds latency = 80ms;
/// The server asks for so much at a time.
constexpr std::chrono::milliseconds request = 20ms;
/// So much must lie there before a run sounds, or goes on after it ran dry.
constexpr std::chrono::milliseconds prebuffer = 10ms;
/// How often a queue that was empty is looked at again: it can't call.
constexpr std::chrono::milliseconds look = 5ms;
/// How often the server is asked what is heard. At a run's beginning it changes its mind. The clocks of devices drift
/// by less than a sample in the longer of the two.
constexpr std::chrono::milliseconds firstTimings = 20ms;
constexpr std::chrono::milliseconds laterTimings = 100ms;
constexpr int firstTimingCount = 25;
/// Until a stream that was refused or taken away is asked for again.
constexpr std::chrono::milliseconds retryDelay = 1s;

std::uint32_t bytesOf(std::chrono::milliseconds length) {
    return static_cast<std::uint32_t>(length.count() * soundSampleRate / 1000 * static_cast<int>(frameBytes));
}

std::int64_t samplesIn(std::chrono::nanoseconds time) { return time.count() * soundSampleRate / 1'000'000'000; }

}  // namespace

/// The part that lives on the connection's thread. There is a corked stream ready for the next run at all times; a run
/// takes it and goes with it, so that a stream's time is the run's.
class PulseSoundOutput::Playback final : public PulseClient {
public:
    Playback(PulseConnection& connection, std::weak_ptr<Face> face)
        : connection_(connection), context_(connection.context()), face_(std::move(face)) {}

    void serverChanged() override {
        if (connection_.hasSink() && stream_ == nullptr) open();
        if (!connection_.hasSink()) tell(false);
    }

    void serverWent() override {
        release();
        connection_.cancelTimer(retry_);
        tell(false);
    }

    void begin(std::shared_ptr<SoundQueue> queue, std::uint64_t run) {
        if (isPlaying_) replace();
        queue_ = std::move(queue);
        run_ = run;
        if (isReady()) play();
    }

    void end(std::uint64_t run) {
        queue_ = nullptr;
        run_ = run;
        if (isPlaying_) replace();
    }

    void leave() {
        release();
        connection_.cancelTimer(retry_);
        connection_.remove(*this);
    }

    // The main thread.
    /// A run begins or ends, and its moments count alone.
    std::uint64_t nextRun() {
        const std::scoped_lock lock(mutex_);
        heard_ = {};
        return ++asked_;
    }
    [[nodiscard]] std::optional<SoundMoment> moment() const {
        const std::scoped_lock lock(mutex_);
        if (!heard_.moment) return std::nullopt;
        const auto now = context_.now();
        const auto sample = heard_.moment->sample + samplesIn(now - heard_.moment->at);
        if (sample <= heard_.first) return std::nullopt;
        return SoundMoment{std::min(sample, heard_.given), now};
    }

private:
    /// What is known of what is heard of the present run.
    struct Heard {
        std::optional<SoundMoment> moment;
        /// Of the run, what the stream begins with, and what the server has.
        std::int64_t first = 0;
        std::int64_t given = 0;
    };

    [[nodiscard]] bool isReady() const { return stream_ != nullptr && pa_stream_get_state(stream_) == PA_STREAM_READY; }

    void tell(bool isAvailable) {
        if (std::exchange(isAvailable_, isAvailable) == isAvailable) return;
        context_.post([face = face_, isAvailable] {
            const auto shown = face.lock();
            if (!shown || std::exchange(shown->isAvailable, isAvailable) == isAvailable) return;
            if (const auto observer = shown->observer) observer();
        });
    }

    void open() {
        connection_.cancelTimer(retry_);
        if (connection_.server() == nullptr || !connection_.hasSink()) return;
        const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, soundSampleRate, 2};
        stream_ = newStream(connection_.server(), "Preview", "video", format);
        if (stream_ == nullptr) return refused();
        pa_stream_set_state_callback(
            stream_, [](pa_stream*, void* self) { static_cast<Playback*>(self)->stateChanged(); }, this);
        pa_stream_set_write_callback(
            stream_, [](pa_stream*, std::size_t, void* self) { static_cast<Playback*>(self)->pump(); }, this);
        pa_stream_set_underflow_callback(
            stream_, [](pa_stream*, void* self) { static_cast<Playback*>(self)->ranDry(); }, this);
        pa_stream_set_latency_update_callback(
            stream_, [](pa_stream*, void* self) { static_cast<Playback*>(self)->listen(); }, this);
        constexpr auto byItself = static_cast<std::uint32_t>(-1);
        const pa_buffer_attr buffer{byItself, bytesOf(latency), bytesOf(prebuffer), bytesOf(request), byItself};
        const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_START_CORKED | PA_STREAM_ADJUST_LATENCY);
        if (pa_stream_connect_playback(stream_, nullptr, &buffer, flags, nullptr, nullptr) < 0) refused();
    }

    void stateChanged() {
        const pa_stream_state_t state = pa_stream_get_state(stream_);
        if (!PA_STREAM_IS_GOOD(state)) return refused();
        if (state != PA_STREAM_READY) return;
        tell(true);
        if (queue_) play();
    }

    /// The server has no such stream for us, or none any more.
    void refused() {
        release();
        tell(false);
        const auto again = [](void* data) {
            auto& self = *static_cast<Playback*>(data);
            self.connection_.cancelTimer(self.retry_);
            if (self.stream_ == nullptr) self.open();
        };
        connection_.cancelTimer(retry_);
        retry_ = connection_.startTimer(retryDelay, again, this);
    }

    void release() {
        connection_.cancelTimer(look_);
        connection_.cancelTimer(timing_);
        releaseStream(stream_);
        isPlaying_ = false;
        const std::scoped_lock lock(mutex_);
        heard_ = {};
    }

    void replace() {
        release();
        open();
    }

    void play() {
        isPlaying_ = true;
        base_ = queue_->taken();
        written_ = 0;
        timings_ = 0;
        pump();
        if (pa_operation* operation = pa_stream_cork(stream_, 0, nullptr, nullptr)) pa_operation_unref(operation);
        ask();
    }

    /// Asks what is heard, now and again and again.
    void ask() {
        connection_.cancelTimer(timing_);
        askForTiming(stream_);
        const auto delay = timings_++ < firstTimingCount ? firstTimings : laterTimings;
        timing_ = connection_.startTimer(delay, [](void* self) { static_cast<Playback*>(self)->ask(); }, this);
    }

    /// Gives the server what it wants, as far as it is there.
    void pump() {
        if (!isPlaying_ || !queue_) return;
        connection_.cancelTimer(look_);
        std::size_t wanted = pa_stream_writable_size(stream_);
        if (wanted == static_cast<std::size_t>(-1)) return;
        wanted /= frameBytes;
        const bool isOver = queue_->isOver();
        while (wanted > 0) {
            const auto held = static_cast<std::size_t>(queue_->held());
            const std::size_t given = give(isOver ? wanted : std::min(wanted, held));
            if (given == 0) break;
            wanted -= given;
        }
        noteGiven();
        if (wanted == 0) return;
        look_ = connection_.startTimer(look, [](void* self) { static_cast<Playback*>(self)->pump(); }, this);
    }

    /// Hands over up to `count` frames; what the queue doesn't hold is silence.
    std::size_t give(std::size_t count) {
        if (count == 0) return 0;
        void* place = nullptr;
        std::size_t bytes = count * frameBytes;
        if (pa_stream_begin_write(stream_, &place, &bytes) < 0 || place == nullptr) return 0;
        count = std::min(count, bytes / frameBytes);
        const std::span samples(static_cast<float*>(place), count * 2);
        const auto read = static_cast<std::size_t>(queue_->held() > 0 ? queue_->read(samples) : 0);
        std::ranges::fill(samples.subspan(read * 2), 0.0F);
        if (pa_stream_write(stream_, place, count * frameBytes, nullptr, 0, PA_SEEK_RELATIVE) < 0) return 0;
        written_ += static_cast<std::int64_t>(count);
        return count;
    }

    void ranDry() {
        if (isPlaying_ && queue_ && written_ > 0 && !queue_->isOver()) queue_->countUnderrun();
    }

    void noteGiven() {
        const std::scoped_lock lock(mutex_);
        if (asked_ == run_) heard_.given = base_ + written_;
    }

    /// Takes over what the server says of what is heard. The library's own interpolation counts on while nothing plays.
    void listen() {
        if (!isPlaying_) return;
        const pa_timing_info* timing = pa_stream_get_timing_info(stream_);
        if (timing == nullptr || timing->playing == 0 || timing->read_index_corrupt != 0) return;
        const auto taken = timing->read_index / static_cast<std::int64_t>(frameBytes);
        const auto sample = taken - samplesIn(std::chrono::microseconds(timing->sink_usec));
        const std::scoped_lock lock(mutex_);
        if (asked_ != run_) return;
        heard_.first = base_;
        heard_.moment = {base_ + sample, timeOf(*timing, context_)};
    }

    PulseConnection& connection_;
    MainContext& context_;
    const std::weak_ptr<Face> face_;

    pa_stream* stream_ = nullptr;
    pa_time_event* retry_ = nullptr;
    pa_time_event* look_ = nullptr;
    pa_time_event* timing_ = nullptr;
    int timings_ = 0;
    std::shared_ptr<SoundQueue> queue_;
    std::uint64_t run_ = 0;
    /// Whether the stream was handed to a run.
    bool isPlaying_ = false;
    bool isAvailable_ = false;
    /// The run's sample that is the stream's first, and samples that the stream was given.
    std::int64_t base_ = 0;
    std::int64_t written_ = 0;

    mutable std::mutex mutex_;
    Heard heard_;
    std::uint64_t asked_ = 0;
};

PulseSoundOutput::PulseSoundOutput(std::shared_ptr<PulseConnection> connection) : connection_(std::move(connection)) {
    playback_ = std::make_shared<Playback>(*connection_, face_);
    connection_->run([connection = connection_.get(), playback = playback_] { connection->add(playback); });
}

PulseSoundOutput::~PulseSoundOutput() {
    connection_->context().checkMainThread();
    connection_->run([playback = playback_] { playback->leave(); });
}

void PulseSoundOutput::start(std::shared_ptr<SoundQueue> queue) {
    connection_->context().checkMainThread();
    lastSample_ = 0;
    connection_->run([playback = playback_, queue = std::move(queue), run = playback_->nextRun()]() mutable {
        playback->begin(std::move(queue), run);
    });
}

void PulseSoundOutput::stop() {
    connection_->context().checkMainThread();
    connection_->run([playback = playback_, run = playback_->nextRun()] { playback->end(run); });
}

std::optional<SoundMoment> PulseSoundOutput::moment() const {
    auto moment = playback_->moment();
    if (!moment) return std::nullopt;
    // The server's reports of its latency waver.
    moment->sample = lastSample_ = std::max(lastSample_, moment->sample);
    return moment;
}

bool PulseSoundOutput::isAvailable() const { return face_->isAvailable; }

void PulseSoundOutput::setAvailabilityObserver(std::function<void()> observer) {
    face_->observer = std::move(observer);
}

}  // namespace kelvane
