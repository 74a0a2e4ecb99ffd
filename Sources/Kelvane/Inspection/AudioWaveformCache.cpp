#include "AudioWaveformCache.h"

#include <algorithm>
#include <list>
#include <optional>
#include <unordered_map>
#include <utility>

#include "Media/AudioWaveform.h"
#include "Platform/Reply.h"
#include "Platform/TurnQueue.h"

namespace kelvane {

namespace {

using Samples = AudioWaveformCache::Samples;
using Answer = Result<Samples>;

/// Finished peaks, bounded in bytes and in number.
class KeptPeaks {
public:
    /// Those of `url`, which count as used last from now on.
    std::optional<Samples> find(const FileURL& url) {
        const auto found = std::ranges::find(entries_, url, &Entry::url);
        if (found == entries_.end()) return std::nullopt;
        entries_.splice(entries_.begin(), entries_, found);
        return found->samples;
    }

    void store(FileURL url, Samples samples) {
        if (costOf(samples) > AudioWaveformCache::totalCostLimit) return;
        cost_ += costOf(samples);
        entries_.push_front({std::move(url), std::move(samples)});
        while (cost_ > AudioWaveformCache::totalCostLimit || entries_.size() > AudioWaveformCache::countLimit) {
            cost_ -= costOf(entries_.back().samples);
            entries_.pop_back();
        }
    }

private:
    struct Entry {
        FileURL url;
        Samples samples;
    };

    static std::size_t costOf(const Samples& samples) { return samples.values->size() * sizeof(float); }

    /// Used last first. So few that looking through them costs nothing beside a drawing.
    std::list<Entry> entries_;
    std::size_t cost_ = 0;
};

}  // namespace

/// Lives as long as the decodes, which may outlive the cache.
struct AudioWaveformCache::State {
    MainContext& context;
    Read read;
    KeptPeaks cache;
    /// The decodes that wait or are under way, each with those who wait for it.
    std::unordered_map<FileURL, std::vector<Reply<Answer>>> tasks;
    /// Whose turn it is to decode.
    TurnQueue decodes{context};
    std::stop_source stop;

    /// Decodes a file of `tasks` in its turn and answers all who wait for it.
    static QCoro::Task<void> decode(std::shared_ptr<State> state, FileURL url);
    /// In its turn.
    QCoro::Task<Answer> readPeaks(FileURL url);
};

QCoro::Task<void> AudioWaveformCache::State::decode(std::shared_ptr<State> state, FileURL url) {
    auto request = state->decodes.next();
    const auto turn = co_await request;
    auto reading = state->readPeaks(url);
    const Answer answer = co_await reading;
    // Before anybody hears of it, who may ask again.
    const auto ended = state->tasks.extract(url);
    if (answer) state->cache.store(url, *answer);
    for (const Reply<Answer>& waiting : ended.mapped()) waiting.give(answer);
}

QCoro::Task<Answer> AudioWaveformCache::State::readPeaks(FileURL url) {
    if (stop.stop_requested()) co_return fail(Error::cancelled());
    auto work = [read = read, url, token = stop.get_token()] { return read(url, token); };
    auto reading = inBackground(context, std::move(work));
    Result<std::vector<float>> values = co_await reading;
    if (!values) co_return fail(values.error());
    co_return Samples{std::make_shared<const std::vector<float>>(std::move(*values))};
}

AudioWaveformCache::AudioWaveformCache(MainContext& context, MediaPlatform& media)
    : AudioWaveformCache(context, [&media](const FileURL& url, const std::stop_token& stop) {
          return AudioWaveform::readMedia(media, url, stop);
      }) {}

AudioWaveformCache::AudioWaveformCache(MainContext& context, Read read)
    : state_(new State{.context = context, .read = std::move(read)}) {}

AudioWaveformCache::~AudioWaveformCache() { retire(); }

QCoro::Task<Result<Samples>> AudioWaveformCache::peaks(FileURL url) {
    const std::shared_ptr<State> state = state_;
    state->context.checkMainThread();
    if (auto kept = state->cache.find(url)) co_return std::move(*kept);
    const Reply<Answer> reply;
    const auto [task, isNew] = state->tasks.try_emplace(url);
    task->second.push_back(reply);
    if (isNew) State::decode(state, std::move(url));
    co_return co_await reply;
}

void AudioWaveformCache::retire() {
    state_->context.checkMainThread();
    state_->stop.request_stop();
}

}  // namespace kelvane
