// Times what a request costs in the application: the state document with its hash, and a timeline request step by step,
// at 1,000 clips of 10 sources. Prints medians in milliseconds.

#include <QCoroTask>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "CLI/CLIReply.h"
#include "CLI/CLIRequest.h"
#include "Session/AIAssistantSession.h"
#include "Session/CLIEditing.h"
#include "Support/App/EditorFixture.h"
#include "Timeline/Framing.h"

namespace kelvane::testing {
namespace {

constexpr int clipCount = 1'000;
constexpr int sourceCount = 10;
constexpr int rounds = 101;

double median(std::vector<double> values) {
    std::ranges::nth_element(values, values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2));
    return values[values.size() / 2];
}

/// The median of `rounds` runs, milliseconds. `prepare` is not timed.
void report(const char* name, const std::function<void()>& work, const std::function<void()>& prepare = [] {}) {
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        prepare();
        const auto begin = std::chrono::steady_clock::now();
        work();
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
    }
    std::printf("%-52s %8.3f ms\n", name, median(std::move(times)));
}

class Bench final : public EditorFixture {
public:
    void TestBody() override {}

    void run() {
        prepareProject();
        const auto& clips = editor->clips();
        const auto& assets = editor->assets();
        const std::string request = requestText(0);
        std::printf("%zu clips of %zu sources; request %.0f KiB\n", clips.size(), assets.size(),
                    static_cast<double>(request.size()) / 1024);

        report("revision", [&] { (void)CLIEditing::revision(clips, assets); });
        report("state document with its hash", [&] { (void)editor->ai().projectState(true).value().text(); });
        report("full state document, as a reply",
               [&] { (void)successReply(editor->ai().projectState(false).value()); });

        const auto target = CLIEditing::resolve(request, assets, clips).value();
        report("timeline: resolve, with validate", [&] { (void)CLIEditing::resolve(request, assets, clips).value(); });
        report("timeline: validate", [&] { (void)CLIEditing::validate(target).value(); });
        report("timeline: identical", [&] { (void)CLIEditing::identical(clips, target); });
        report("timeline: build on the fake engine",
               [&] { (void)MediaEngine::build(media, target, Framing::size, MediaEngine::previewFrame, {}).value(); });

        const std::string texts[] = {encoded(requestText(1)), encoded(requestText(2))};
        std::string message;
        int round = 0;
        report(
            "timeline: the whole request, message to reply", [&] { perform(message); },
            [&] {
                settlePreview();
                message = texts[round++ % 2];
                const std::string mark = "REVISION";
                message.replace(message.find(mark), mark.size(),
                                CLIEditing::revision(editor->clips(), editor->assets()));
            });
    }

private:
    void prepareProject() {
        std::vector<Clip> assets;
        for (int i = 0; i < sourceCount; ++i)
            assets.push_back(video(makeManaged("source " + std::to_string(i) + ".mov", FakeFile::video(60)), 60));
        std::vector<Clip> clips;
        for (int i = 0; i < clipCount; ++i) {
            Clip clip = video(assets[static_cast<std::size_t>(i % sourceCount)].url, 60);
            clip.start = i * 0.0371;
            clip.end = clip.start + 1.237;
            clip.zoom = 1 + (i % 7) * 0.123;
            clip.horizontal = (i % 5) * 0.1 - 0.2;
            clip.volume = 0.37;
            clips.push_back(clip);
        }
        load(clips, assets);
        settlePreview();
        media.setRecording(false);
    }
    /// A timeline of other clips than the present ones; `variant` makes it differ from the next.
    [[nodiscard]] std::string requestText(int variant) const {
        std::string text = "[";
        for (int i = 0; i < clipCount; ++i) {
            const auto& asset = editor->assets()[static_cast<std::size_t>(i % sourceCount)];
            if (i > 0) text += ',';
            text += R"({"assetID":")" + asset.id.upper() + R"(","start":)" + jsonNumber(i * 0.0411) + R"(,"end":)" +
                    jsonNumber(i * 0.0411 + 1.5 + variant * 0.25) +
                    R"(,"zoom":1.25,"horizontal":-0.5,"vertical":0.5,"volume":0.8})";
        }
        return text + "]";
    }
    static std::string encoded(const std::string& json) {
        return encodeCLIRequest({"timeline", {{"revision", "REVISION"}, {"json", json}, {"compact", "true"}}, {}});
    }
    static QCoro::Task<void> collect(QCoro::Task<Result<JSONObject>> task, std::string* reply) {
        auto result = co_await task;
        *reply = result ? successReply(*result) : failureReply(result.error());
    }
    void perform(const std::string& message) {
        std::string reply;
        collect(editor->ai().perform(decodeCLIRequest(message).value(), std::nullopt), &reply);
        context.settle();
        check(reply.starts_with(R"({"ok":true)"), "the request failed");
    }
};

}  // namespace
}  // namespace kelvane::testing

int main() { kelvane::testing::Bench().run(); }
