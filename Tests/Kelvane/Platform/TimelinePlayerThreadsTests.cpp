#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <atomic>
#include <mutex>
#include <random>
#include <thread>

#include "Platform/QtMainContext.h"
#include "PlayerRig.h"

namespace kelvane::testing {
namespace {

/// Streams that answer at once, from whatever thread, and count themselves.
struct QuickSources {
    std::atomic<int> alive = 0;
    std::atomic<int> calls = 0;
    std::atomic<int> collisions = 0;
};

/// Counts calls that run beside each other although they mustn't.
class OneAtATime {
public:
    OneAtATime(std::atomic<int>& running, QuickSources& sources) : running_(running) {
        ++sources.calls;
        if (running_++ > 0) ++sources.collisions;
    }
    ~OneAtATime() { --running_; }

private:
    std::atomic<int>& running_;
};

class QuickPictureStream final : public PictureStream {
public:
    QuickPictureStream(QuickSources& sources, Size canvas) : sources_(sources), canvas_(canvas) { ++sources_.alive; }
    ~QuickPictureStream() override { --sources_.alive; }
    void setCanvas(Size pixels) override {
        const std::scoped_lock lock(mutex_);
        canvas_ = pixels;
    }
    Result<StreamPicture> picture(MediaTime time, std::uint64_t number, std::stop_token stop) override {
        const OneAtATime turn(drawing_, sources_);
        if (stop.stop_requested()) return fail(Error::cancelled());
        if (number < overtaken_) return StreamPicture();
        const std::scoped_lock lock(mutex_);
        return StreamPicture{taggedPicture(time, canvas_), time, true};
    }
    void overtake(std::uint64_t number) override { overtaken_ = number; }
    void prepareCut(MediaTime, MediaTime, std::stop_token) override { const OneAtATime turn(preparing_, sources_); }

private:
    QuickSources& sources_;
    std::mutex mutex_;
    Size canvas_;
    std::atomic<std::uint64_t> overtaken_ = 0;
    std::atomic<int> drawing_ = 0;
    std::atomic<int> preparing_ = 0;
};

class QuickSoundStream final : public SoundStream {
public:
    explicit QuickSoundStream(QuickSources& sources) : sources_(sources) { ++sources_.alive; }
    ~QuickSoundStream() override { --sources_.alive; }
    Result<void> read(std::int64_t, std::span<float> out, std::stop_token stop) override {
        const OneAtATime turn(reading_, sources_);
        if (stop.stop_requested()) return fail(Error::cancelled());
        std::ranges::fill(out, 0.5F);
        return {};
    }

private:
    QuickSources& sources_;
    std::atomic<int> reading_ = 0;
};

/// A device with a thread of its own that takes sound as fast as it comes, and says nothing of when it is heard.
class GreedyOutput final : public SoundOutput {
public:
    ~GreedyOutput() override { stop(); }
    void start(std::shared_ptr<SoundQueue> queue) override {
        stop();
        thread_ = std::jthread([this, queue](const std::stop_token& stop) {
            std::vector<float> samples(960);
            while (!stop.stop_requested() && !queue->isOver())
                if (const auto count = queue->read(samples); count == 0)
                    std::this_thread::yield();
                else
                    taken += count;
        });
    }
    void stop() override { thread_ = {}; }
    [[nodiscard]] std::optional<SoundMoment> moment() const override { return std::nullopt; }
    [[nodiscard]] bool isAvailable() const override { return true; }
    void setAvailabilityObserver(std::function<void()>) override {}

    std::atomic<std::int64_t> taken = 0;

private:
    std::jthread thread_;
};

/// A player on the real event loop, the real pool and a device's thread, so that a race would show itself to a
/// sanitizer.
class PlayingOnThreads : public ::testing::Test {
protected:
    PlayingOnThreads() { make(); }
    ~PlayingOnThreads() override {
        player = nullptr;
        context = nullptr;
        EXPECT_EQ(sources.alive, 0);
        EXPECT_EQ(sources.collisions, 0);
    }
    void make() {
        PlayerServices services{.context = context.get(), .output = output};
        services.makePictureStream = [this](const EditedMediaPtr&, Size canvas) -> std::unique_ptr<PictureStream> {
            return std::make_unique<QuickPictureStream>(sources, canvas);
        };
        services.makeSoundStream = [this](const EditedMediaPtr&) -> std::unique_ptr<SoundStream> {
            return std::make_unique<QuickSoundStream>(sources);
        };
        player = std::make_unique<TimelinePlayer>(std::move(services));
        player->pictures()->setSurfaceSize({400, 711});
    }
    template <class Condition>
    static void runUntil(Condition isDone) {
        while (!isDone()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    QuickSources sources;
    std::shared_ptr<GreedyOutput> output = std::make_shared<GreedyOutput>();
    std::unique_ptr<QtMainContext> context = std::make_unique<QtMainContext>();
    std::unique_ptr<TimelinePlayer> player;
};

TEST_F(PlayingOnThreads, AnItemIsPlayedToItsEnd) {
    bool hasEnded = false;
    player->setEndObserver([&](const EditedMediaPtr&) { hasEnded = true; });
    player->replaceItem(itemOf(0.4));
    player->play();
    runUntil([&] { return hasEnded && player->pictures()->picture(); });
    const auto last = [&] { return tagOf(player->pictures()->picture()).time == MediaTime(220); };
    runUntil(last);
    EXPECT_LE(output->taken, 19200);
}

TEST_F(PlayingOnThreads, AnyOperationsEndWithoutARace) {
    std::mt19937 random(5);
    for (int i = 0; i < 400; ++i) {
        switch (random() % 8) {
            case 0:
                player->play();
                break;
            case 1:
                player->pause();
                break;
            case 2:
            case 3:
                player->seek(static_cast<double>(random() % 100) / 10);
                break;
            case 4:
                player->replaceItem(itemOf(10));
                break;
            case 5:
                player->setMuted(random() % 2 == 0);
                break;
            case 6:
                player->pictures()->setSurfaceSize({100.0 + static_cast<double>(random() % 300), 711});
                break;
            default:
                if (random() % 4 == 0) make();
        }
        QCoreApplication::processEvents();
    }
    player->replaceItem(itemOf(10));
    player->seek(5);
    const auto isShown = [&] {
        const auto picture = player->pictures()->picture();
        return picture && tagOf(picture).time == MediaTime(3000);
    };
    runUntil(isShown);
    EXPECT_GT(sources.calls, 0);
}

}  // namespace
}  // namespace kelvane::testing
