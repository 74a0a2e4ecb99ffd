#include "SoundServerFixture.h"

namespace kelvane::testing {
namespace {

class SoundOut : public SoundServerTest {
protected:
    void connect() {
        connection = std::make_shared<PulseConnection>(context);
        output = std::make_unique<PulseSoundOutput>(connection);
        output->setAvailabilityObserver([this] { told.push_back(output->isAvailable()); });
    }
    void startAvailable() {
        startServer();
        if (HasFatalFailure()) return;
        connect();
        ASSERT_TRUE(eventually([this] { return output->isAvailable(); })) << server.log();
    }
    bool waitForSample(std::int64_t sample) {
        return eventually([&] {
            const auto moment = output->moment();
            return moment && moment->sample >= sample;
        });
    }
    /// When a sample of the run is heard, as the output says now.
    std::chrono::nanoseconds timeOf(std::int64_t sample) {
        const auto moment = output->moment();
        EXPECT_TRUE(moment);
        return moment ? moment->at + std::chrono::nanoseconds((sample - moment->sample) * 1'000'000'000 / 48000) : 0ns;
    }

    std::unique_ptr<SoundOutput> output;
    std::vector<bool> told;
};

TEST_F(SoundOut, IsHeardWhenItSaysSo) {
    startAvailable();
    if (HasFatalFailure()) return;
    const SoundEar ear;
    for (const std::int64_t onset : {9600, 24000}) {
        const auto begun = context.now();
        const auto queue = queueOf(burst(onset, 48000));
        output->start(queue);
        ASSERT_TRUE(waitForSample(onset + 4800));
        const auto said = timeOf(onset);
        ASSERT_TRUE(eventually([&] { return ear.loudSince(begun).has_value(); }));
        EXPECT_NEAR(milliseconds(*ear.loudSince(begun) - said), 0, 20) << onset;
        EXPECT_EQ(queue->underruns(), 0);
        RecordProperty("startedAfterMilliseconds" + std::to_string(onset),
                       std::to_string(milliseconds(*ear.loudSince(begun) - begun) - static_cast<double>(onset) / 48));
        output->stop();
        EXPECT_FALSE(output->moment());
        // The next one is told from this one by the silence between them.
        ASSERT_TRUE(eventually([&, stopped = context.now()] { return ear.heardUntil() > stopped + 300ms; }));
    }
    EXPECT_EQ(told, std::vector<bool>{true});
}

TEST_F(SoundOut, IsSilentOnceItIsStopped) {
    startAvailable();
    if (HasFatalFailure()) return;
    const SoundEar ear;
    const auto queue = queueOf(burst(0, 48000 * 20));
    output->start(queue);
    ASSERT_TRUE(waitForSample(24000));
    output->stop();
    const auto stopped = context.now();
    EXPECT_FALSE(output->moment());
    ASSERT_TRUE(eventually([&] { return ear.heardUntil() > stopped + 1s; }));
    const auto last = ear.lastLoud();
    ASSERT_TRUE(last);
    // What was asked to stop at once stops long before what had been given to the server would have been heard.
    EXPECT_LT(*last, stopped + 500ms);
    RecordProperty("silentAfterMilliseconds", std::to_string(milliseconds(*last - stopped)));
    EXPECT_LT(queue->taken(), 48000 * 3);
}

TEST_F(SoundOut, CountsARunFromItsOwnBeginning) {
    startAvailable();
    if (HasFatalFailure()) return;
    output->start(queueOf(burst(0, 48000 * 20)));
    ASSERT_TRUE(waitForSample(20000));
    // Without a stop, as a seek while it plays.
    output->start(queueOf(burst(0, 48000 * 20)));
    EXPECT_FALSE(output->moment());
    ASSERT_TRUE(eventually([&] { return output->moment().has_value(); }));
    EXPECT_LT(output->moment()->sample, 15000);
    std::int64_t last = 0;
    EXPECT_TRUE(eventually([&] {
        const auto moment = output->moment();
        EXPECT_TRUE(moment);
        EXPECT_GE(moment ? moment->sample : 0, last);
        last = moment ? moment->sample : last;
        return last > 24000;
    }));
}

TEST_F(SoundOut, TellsItsEnd) {
    startAvailable();
    if (HasFatalFailure()) return;
    // Shorter than what the server takes before it begins to play, too.
    for (const std::int64_t length : {100, 2000, 24000}) {
        const auto queue = queueOf(burst(0, length));
        output->start(queue);
        EXPECT_TRUE(waitForSample(length)) << length;
        EXPECT_TRUE(queue->isOver());
        EXPECT_EQ(queue->underruns(), 0);
        output->stop();
    }
}

TEST_F(SoundOut, WaitsForAQueueThatRunsDryAndLosesNothing) {
    startAvailable();
    if (HasFatalFailure()) return;
    const SoundEar ear;
    const auto queue = queueOf(burst(48000, 9600), false);
    const auto begun = context.now();
    output->start(queue);
    // All that there is was heard: the device is dry.
    ASSERT_TRUE(eventually([&] { return queue->underruns() == 1; }));
    const auto stuck = output->moment();
    ASSERT_TRUE(stuck);
    EXPECT_LE(stuck->sample, 9600);
    EXPECT_FALSE(queue->isOver());
    (void)queue->write(burst(0, 9600));
    queue->finish();
    ASSERT_TRUE(waitForSample(9600 + 4800));
    const auto said = timeOf(9600);
    ASSERT_TRUE(eventually([&] { return ear.loudSince(begun).has_value(); }));
    EXPECT_NEAR(milliseconds(*ear.loudSince(begun) - said), 0, 25);
    EXPECT_EQ(queue->underruns(), 1);
}

TEST_F(SoundOut, BeginsAQueueThatIsStillEmptyAndCountsNothing) {
    startAvailable();
    if (HasFatalFailure()) return;
    const auto queue = std::make_shared<SoundQueue>(48000, nullptr);
    output->start(queue);
    const auto begun = context.now();
    ASSERT_TRUE(eventually([&] { return context.now() > begun + 200ms; }));
    EXPECT_FALSE(output->moment());
    (void)queue->write(burst(0, 24000));
    ASSERT_TRUE(waitForSample(4800));
    EXPECT_EQ(queue->underruns(), 0);
}

TEST_F(SoundOut, IsNotThereWithoutAServerAndComesWithIt) {
    connect();
    output->start(queueOf(burst(0, 48000 * 60)));
    EXPECT_FALSE(output->isAvailable());
    EXPECT_FALSE(output->moment());
    startServer();
    ASSERT_TRUE(eventually([this] { return output->isAvailable(); })) << server.log();
    EXPECT_EQ(told, std::vector<bool>{true});
    EXPECT_TRUE(waitForSample(4800));
}

TEST_F(SoundOut, OutlivesItsServerInTheMidstOfARun) {
    startAvailable();
    if (HasFatalFailure()) return;
    const auto queue = queueOf(burst(0, 48000 * 60));
    output->start(queue);
    ASSERT_TRUE(waitForSample(9600));
    server.kill();
    ASSERT_TRUE(eventually([this] { return !output->isAvailable(); }));
    EXPECT_FALSE(output->moment());
    const auto taken = queue->taken();
    startServer();
    ASSERT_TRUE(eventually([this] { return output->isAvailable(); })) << server.log();
    EXPECT_EQ(told, (std::vector<bool>{true, false, true}));
    const SoundEar ear;
    ASSERT_TRUE(waitForSample(taken + 9600));
    EXPECT_TRUE(eventually([&] { return ear.loudSince(0ns).has_value(); }));
}

TEST_F(SoundOut, ServesNothingWithoutADeviceAndFollowsOneThatComes) {
    startServer(SoundServer::Devices::none);
    if (HasFatalFailure()) return;
    connect();
    ASSERT_EQ(result(connection->serverAnswers(10s)), true);
    EXPECT_FALSE(output->isAvailable());
    ASSERT_TRUE(server.addSink("plugged"));
    EXPECT_TRUE(eventually([this] { return output->isAvailable(); })) << server.log();
    ASSERT_TRUE(server.command("unload-module module-null-sink"));
    EXPECT_TRUE(eventually([this] { return !output->isAvailable(); })) << server.log();
    ASSERT_TRUE(server.addSink("again"));
    EXPECT_TRUE(eventually([this] { return output->isAvailable(); })) << server.log();
    EXPECT_EQ(told, (std::vector<bool>{true, false, true}));
}

TEST_F(SoundOut, FollowsTheDefaultInTheMidstOfARun) {
    startAvailable();
    if (HasFatalFailure()) return;
    ASSERT_TRUE(server.addSink("phones"));
    const SoundEar ears;
    const SoundEar phones("phones.monitor");
    output->start(queueOf(burst(0, 48000 * 120)));
    ASSERT_TRUE(waitForSample(4800));
    ASSERT_TRUE(eventually([&] { return ears.loudSince(0ns).has_value(); }));
    EXPECT_FALSE(phones.loudSince(0ns));
    ASSERT_TRUE(server.command("set-default-sink phones"));
    EXPECT_TRUE(eventually([&] { return phones.loudSince(0ns).has_value(); })) << server.ask("list-sink-inputs");
    // Unplugged, it goes back to the other.
    const auto before = context.now();
    const std::string modules = server.ask("list-modules");
    const auto named = modules.find("sink_name=phones");
    const auto at = modules.rfind("index: ", named);
    ASSERT_NE(at, std::string::npos);
    ASSERT_TRUE(server.command("unload-module " + std::to_string(std::atoi(modules.c_str() + at + 7))));
    EXPECT_TRUE(eventually([&] { return ears.loudSince(before + 100ms).has_value(); }))
        << server.ask("list-sink-inputs");
    EXPECT_TRUE(waitForSample(output->moment() ? output->moment()->sample + 4800 : 0));
    EXPECT_TRUE(output->isAvailable());
}

TEST_F(SoundOut, OfSeveralPlayersStandBesideOneAnother) {
    startAvailable();
    if (HasFatalFailure()) return;
    PulseSoundOutput other(connection);
    output->start(queueOf(burst(0, 48000 * 60)));
    other.start(queueOf(burst(0, 48000 * 60)));
    EXPECT_TRUE(waitForSample(9600));
    EXPECT_TRUE(eventually([&] { return other.moment() && other.moment()->sample > 9600; }));
    output = nullptr;
    EXPECT_TRUE(eventually([&] { return other.moment() && other.moment()->sample > 24000; }));
}

TEST_F(SoundOut, EndsInTheMidstOfAnything) {
    startServer();
    if (HasFatalFailure()) return;
    for (int step = 0; step < 6; ++step) {
        connect();
        if (step > 0) (void)result(connection->serverAnswers(10s));
        if (step > 1) output->start(queueOf(burst(0, 48000)));
        if (step > 2) EXPECT_TRUE(waitForSample(1));
        if (step > 3) output->stop();
        if (step > 4) server.kill();
        output = nullptr;
        connection = nullptr;
    }
}

}  // namespace
}  // namespace kelvane::testing
