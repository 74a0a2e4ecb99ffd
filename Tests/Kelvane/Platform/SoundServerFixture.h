#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QCoroTask>
#include <QEventLoop>
#include <array>
#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <numbers>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include "Platform/PulseConnection.h"
#include "Platform/PulseSoundOutput.h"
#include "Platform/QtMainContext.h"
#include "Support/App/SoundEar.h"
#include "Support/Patience.h"
#include "Support/SoundServer.h"

namespace kelvane::testing {

using namespace std::chrono_literals;

/// A sound server of its own and the real event loop. What is waited for comes by itself.
class SoundServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!SoundServer::isInstalled()) GTEST_SKIP() << "no pulseaudio here";
    }
    void startServer(SoundServer::Devices devices = SoundServer::Devices::earsAndMicrophone) {
        ASSERT_TRUE(server.start(devices)) << server.log();
    }
    bool eventually(const std::function<bool()>& holds) {
        const auto end = std::chrono::steady_clock::now() + patience;
        while (!holds()) {
            if (std::chrono::steady_clock::now() >= end) return false;
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            std::this_thread::sleep_for(1ms);
        }
        return true;
    }
    template <class T>
    std::optional<T> result(QCoro::Task<T> task) {
        auto answer = std::make_shared<std::optional<T>>();
        auto following = follow(std::move(task), answer);
        (void)eventually([&] { return answer->has_value(); });
        return *answer;
    }

    /// Silence, and a tone of 1 kHz from sample `first` on.
    static std::vector<float> burst(std::int64_t first, std::int64_t count) {
        std::vector<float> stereo(static_cast<std::size_t>(count) * 2);
        // A period is 48 samples.
        std::array<float, 48> wave{};
        for (std::size_t i = 0; i < wave.size(); ++i)
            wave[i] = 0.5F * static_cast<float>(std::cos(2 * std::numbers::pi * static_cast<double>(i) / 48));
        for (std::int64_t i = first; i < count; ++i)
            stereo[static_cast<std::size_t>(i) * 2] = stereo[static_cast<std::size_t>(i) * 2 + 1] =
                wave[static_cast<std::size_t>(i - first) % wave.size()];
        return stereo;
    }
    static std::shared_ptr<SoundQueue> queueOf(const std::vector<float>& stereo, bool isAll = true) {
        auto queue = std::make_shared<SoundQueue>(static_cast<std::int64_t>(stereo.size()), nullptr);
        (void)queue->write(stereo);
        if (isAll) queue->finish();
        return queue;
    }
    static double milliseconds(std::chrono::nanoseconds time) { return static_cast<double>(time.count()) / 1e6; }

    SoundServer server;
    QtMainContext context;
    std::shared_ptr<PulseConnection> connection;

private:
    template <class T>
    static QCoro::Task<void> follow(QCoro::Task<T> task, std::shared_ptr<std::optional<T>> answer) {
        T value = co_await task;
        answer->emplace(std::move(value));
    }
};

}  // namespace kelvane::testing
