#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaEngine.h"
#include "Platform/PulseSoundRecorder.h"
#include "SoundServerFixture.h"

namespace kelvane::testing {
namespace {

/// While it lives, no file of this process grows beyond `bytes`: its writers meet a failure of the system.
class SmallFiles {
public:
    explicit SmallFiles(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallFiles() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    rlimit before_{};
    void (*handler_)(int);
};

class SoundIn : public SoundServerTest {
protected:
    void connect() {
        connection = std::make_shared<PulseConnection>(context);
        output = std::make_unique<PulseSoundOutput>(connection);
        recording = std::make_unique<PulseSoundRecording>(connection, media);
    }
    void make() {
        recorder = recording->makeRecorder(folder.url("take.m4a"));
        recorder->onFinish = [this](bool successfully) { finished.push_back(successfully); };
        recorder->onEncodeError = [this](const Error& error) { errors.push_back(error.message); };
    }
    void startTake() {
        startServer();
        if (HasFatalFailure()) return;
        connect();
        ASSERT_EQ(result(recording->requestAccess()), true);
        make();
        ASSERT_EQ(result(recorder->prepareToRecord()), true) << server.log();
        EXPECT_EQ(recorder->currentTime(), 0);
        ASSERT_EQ(result(recorder->record()), true) << server.log();
        begun = context.now();
    }
    Result<Clip> import() {
        auto imported = MediaEngine::importClip(media, folder.url("take.m4a"), {});
        if (!imported) return fail(imported.error());
        return imported->clip;
    }
    /// When the take is louder than `level`, seconds from its beginning; none when it never is.
    std::optional<double> loudAt(float level) {
        std::optional<double> found;
        auto asset = media.openAsset(folder.url("take.m4a"), {});
        const auto tracks = asset ? (*asset)->loadTracks(MediaType::audio) : Result<std::vector<MediaTrackPtr>>();
        if (!tracks || tracks->empty()) return std::nullopt;
        const auto look = [&](const SampleBlock& block) {
            for (std::size_t i = 0; i < block.samples.size() && !found; ++i)
                if (std::abs(block.samples[i]) > level)
                    found = static_cast<double>(block.position + static_cast<std::int64_t>(i)) / block.rate;
        };
        EXPECT_TRUE(media.readSamples(tracks->front(), "take", 0, std::nullopt, look, {}));
        return found;
    }

    TempFolder folder;
    FFmpegPlatform media;
    std::unique_ptr<SoundOutput> output;
    std::unique_ptr<PulseSoundRecording> recording;
    std::unique_ptr<SoundRecorder> recorder;
    std::vector<bool> finished;
    std::vector<std::string> errors;
    std::chrono::nanoseconds begun{0};
};

TEST_F(SoundIn, HoldsAToneAtTheTimeAtWhichItSounded) {
    startTake();
    if (HasFatalFailure()) return;
    constexpr std::int64_t onset = 24000;
    output->start(queueOf(burst(onset, 96000)));
    ASSERT_TRUE(eventually([&] { return output->moment() && output->moment()->sample > onset + 9600; }));
    const auto moment = *output->moment();
    const auto sounded = moment.at + std::chrono::nanoseconds((onset - moment.sample) * 1'000'000'000 / 48000);
    EXPECT_GT(recorder->currentTime(), 0.5);
    recorder->updateMeters();
    EXPECT_NEAR(recorder->peakPower(0), -6, 0.5);
    recorder->stop();
    const auto stopped = context.now();
    recorder->stop();
    ASSERT_TRUE(eventually([this] { return !finished.empty(); }));
    EXPECT_EQ(finished, std::vector<bool>{true});
    const auto clip = import();
    ASSERT_TRUE(clip) << clip.error().message;
    EXPECT_TRUE(clip->audioOnly);
    EXPECT_NEAR(clip->sourceDuration * 1000, milliseconds(stopped - begun), 40);
    EXPECT_NEAR(clip->sourceDuration, recorder->currentTime(), 0.001);
    const auto heard = loudAt(0.2F);
    ASSERT_TRUE(heard);
    EXPECT_NEAR(*heard * 1000, milliseconds(sounded - begun), 25);
    RecordProperty("toneOffMilliseconds", std::to_string(*heard * 1000 - milliseconds(sounded - begun)));
    // All has ended, and nothing comes again.
    recorder->stop();
    (void)result(connection->serverAnswers(1s));
    EXPECT_EQ(finished.size(), 1U);
    EXPECT_TRUE(errors.empty());
}

TEST_F(SoundIn, MeasuresSilenceAsSilence) {
    startTake();
    if (HasFatalFailure()) return;
    ASSERT_TRUE(eventually([this] { return recorder->currentTime() > 0.1; }));
    EXPECT_EQ(recorder->peakPower(0), -160);
    recorder->updateMeters();
    EXPECT_LE(recorder->peakPower(0), -60);
}

TEST_F(SoundIn, HasNoAccessWithoutAServer) {
    connect();
    EXPECT_EQ(result(recording->requestAccess()), false);
    make();
    EXPECT_EQ(result(recorder->prepareToRecord()), false);
    EXPECT_EQ(result(recorder->record()), false);
    recorder->stop();
    EXPECT_TRUE(finished.empty() && errors.empty());
}

TEST_F(SoundIn, HasAccessToAServerWithoutASourceButCannotStart) {
    startServer(SoundServer::Devices::none);
    if (HasFatalFailure()) return;
    connect();
    EXPECT_EQ(result(recording->requestAccess()), true);
    make();
    EXPECT_EQ(result(recorder->prepareToRecord()), false);
    EXPECT_EQ(result(recorder->record()), false);
    EXPECT_TRUE(finished.empty() && errors.empty());
}

TEST_F(SoundIn, CannotStartWhereNoFileCanBeMade) {
    startServer();
    if (HasFatalFailure()) return;
    connect();
    ASSERT_EQ(result(recording->requestAccess()), true);
    folder.write("take.m4a", "a letter");
    make();
    EXPECT_EQ(result(recorder->prepareToRecord()), false);
    EXPECT_EQ(result(recorder->record()), false);
    EXPECT_EQ(folder.read("take.m4a"), "a letter");
}

TEST_F(SoundIn, KeepsWhatItHeardWhenTheServerGoes) {
    startTake();
    if (HasFatalFailure()) return;
    ASSERT_TRUE(eventually([this] { return recorder->currentTime() > 1; }));
    server.kill();
    ASSERT_TRUE(eventually([this] { return !finished.empty(); }));
    EXPECT_EQ(finished, std::vector<bool>{true});
    const auto clip = import();
    ASSERT_TRUE(clip) << clip.error().message;
    EXPECT_GT(clip->sourceDuration, 1);
    EXPECT_NEAR(clip->sourceDuration, recorder->currentTime(), 0.001);
    recorder->stop();
    EXPECT_EQ(finished.size(), 1U);
}

TEST_F(SoundIn, FollowsTheDefaultAndOutlivesItsSource) {
    startTake();
    if (HasFatalFailure()) return;
    ASSERT_TRUE(server.addSink("phones"));
    ASSERT_TRUE(server.command("set-default-source phones.monitor"));
    ASSERT_TRUE(server.command("set-default-sink phones"));
    output->start(queueOf(burst(0, 48000 * 60)));
    // The tone plays on the other sink alone.
    EXPECT_TRUE(eventually([this] {
        recorder->updateMeters();
        return recorder->peakPower(0) > -10;
    })) << server.ask("list-source-outputs");
    ASSERT_TRUE(server.command("unload-module module-null-sink"));
    // Without any source the take is over.
    ASSERT_TRUE(eventually([this] { return !finished.empty(); })) << server.ask("list-source-outputs");
    EXPECT_EQ(finished, std::vector<bool>{true});
    EXPECT_TRUE(import());
}

TEST_F(SoundIn, TellsThatTheDiskIsFull) {
    startTake();
    if (HasFatalFailure()) return;
    const SmallFiles small(1024);
    ASSERT_TRUE(eventually([this] { return !errors.empty(); }));
    EXPECT_EQ(errors, std::vector<std::string>{"“take.m4a” could not be written: File too large."});
    recorder->stop();
    (void)result(connection->serverAnswers(1s));
    EXPECT_TRUE(finished.empty());
}

TEST_F(SoundIn, EndsInTheMidstOfATakeWithAWholeFile) {
    startTake();
    if (HasFatalFailure()) return;
    ASSERT_TRUE(eventually([this] { return recorder->currentTime() > 0.5; }));
    recorder = nullptr;
    EXPECT_TRUE(eventually([this] {
        const auto clip = import();
        return clip && clip->sourceDuration > 0.5;
    }));
    EXPECT_TRUE(finished.empty() && errors.empty());
}

TEST_F(SoundIn, MayEndAtOnce) {
    startTake();
    if (HasFatalFailure()) return;
    recorder->stop();
    ASSERT_TRUE(eventually([this] { return !finished.empty(); }));
    EXPECT_EQ(finished, std::vector<bool>{true});
    EXPECT_LT(recorder->currentTime(), 1.0);
}

TEST_F(SoundIn, MayEndBeforeItsAnswersCome) {
    startServer();
    if (HasFatalFailure()) return;
    connect();
    ASSERT_EQ(result(recording->requestAccess()), true);
    make();
    {
        const auto preparing = recorder->prepareToRecord();
        recorder = nullptr;
        EXPECT_TRUE(eventually([&] { return preparing.isReady(); }));
    }
    std::filesystem::remove(folder.path("take.m4a"));
    make();
    ASSERT_EQ(result(recorder->prepareToRecord()), true);
    const auto starting = recorder->record();
    recorder = nullptr;
    EXPECT_TRUE(eventually([&] { return starting.isReady(); }));
    EXPECT_TRUE(finished.empty() && errors.empty());
}

}  // namespace
}  // namespace kelvane::testing
