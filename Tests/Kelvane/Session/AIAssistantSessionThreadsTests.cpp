#include <QCoreApplication>
#include <QEventLoop>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <mutex>
#include <thread>

#include "CLI/LocalCLIConnection.h"
#include "Platform/QtMainContext.h"
#include "SessionFixture.h"
#include "Support/App/FinishTask.h"
#include "Support/Gate.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;

/// A main context of plain threads and locks, which a thread sanitizer sees through as it can't through Qt's. Timers
/// never come due.
class PlainContext final : public MainContext {
public:
    ~PlainContext() override { join(); }

    void post(std::function<void()> work) override {
        const std::lock_guard lock(mutex_);
        posted_.push_back(std::move(work));
        changed_.notify_one();
    }
    void runInBackground(std::function<void()> work, Lane) override {
        const std::lock_guard lock(mutex_);
        threads_.emplace_back(std::move(work));
    }
    Timer after(std::chrono::milliseconds, std::function<void()>) override { return Timer(std::make_shared<int>(0)); }
    [[nodiscard]] bool isMainThread() const override { return std::this_thread::get_id() == thread_; }
    [[nodiscard]] std::chrono::nanoseconds now() const override {
        return std::chrono::steady_clock::now().time_since_epoch();
    }

    /// Runs what is posted now, after a wait of at most a millisecond for something to come.
    void turn() {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::milliseconds(1), [this] { return !posted_.empty(); });
        auto ready = std::exchange(posted_, {});
        lock.unlock();
        for (auto& work : ready) work();
    }
    void join() {
        std::unique_lock lock(mutex_);
        auto threads = std::exchange(threads_, {});
        lock.unlock();
        for (auto& thread : threads) thread.join();
    }

private:
    std::thread::id thread_ = std::this_thread::get_id();
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> posted_;
    std::vector<std::thread> threads_;
};

/// One project of a single film behind a real socket, with callers on threads of their own.
class AIAssistantSessionThreads : public ::testing::Test {
protected:
    static constexpr int callers = 7;
    static constexpr int rounds = 8;

    /// Lets callers read and write while this thread is the main one, and closes the project under the last of them.
    void exercise(MainContext& context, const std::function<void()>& turn) {
        serve(context, turn);
        importFilm();
        while (!isDone_) turn();
        import_.join();
        for (int caller = 0; caller < callers; ++caller)
            threads_.emplace_back([this, caller] { writeRepeatedly(caller); });
        while (finished_ < callers) turn();
        for (auto& thread : threads_) thread.join();
        EXPECT_EQ(committed_ + stale_, callers * rounds);
        EXPECT_GT(committed_, 0);
        // The import is a step, and so is each commit.
        EXPECT_EQ(editor_->undoStack().size(), static_cast<std::size_t>(committed_ + 1));

        isDone_ = false;
        std::thread late([this] {
            for (int i = 0; i < 20; ++i) (void)ask("project", {});
            isDone_ = true;
        });
        turn();
        editor_.reset();
        while (!isDone_) turn();
        late.join();
    }

    void serve(MainContext& context, const std::function<void()>& turn) {
        EditorServices services;
        services.context = &context;
        services.media = &media_;
        services.panels = &panels_;
        services.makePlayer = [](PlayerRole) { return std::make_unique<StillPlayer>(); };
        editor_ = Editor::create(UUID::random(), std::nullopt, services);
        folder_.makeFolder("Registry");
        std::filesystem::permissions(folder_.path("Registry"), std::filesystem::perms::owner_all);
        editor_->ai().registryPath = folder_.path("Registry");
        std::optional<Result<std::string>> connected;
        const auto keeper = keep(editor_->ai().connect(), &connected);
        while (!connected) turn();
        path_ = connected->value();
    }
    void close() { editor_.reset(); }
    /// The state's reply, of which nothing is asked twice; absent after a minute.
    [[nodiscard]] Result<std::string> askOnce() const {
        return LocalCLIConnection::request(encodeCLIRequest({"project", {}, {}}), path_, 60);
    }

private:
    void importFilm() {
        media_.addFileNamed("film.mov", FakeFile::video(10));
        const auto film = folder_.write("film.mov");
        import_ = std::thread([this, film] {
            const json reply = ask("import", {{"revision", ask("project", {})["result"]["revision"]},
                                              {"json", json::array({film.path()}).dump()}});
            EXPECT_EQ(reply["ok"], true) << reply.dump();
            isDone_ = true;
        });
    }
    /// A ninth connection is closed unheard; slots are given back a moment after the reply, so that seven callers may
    /// find them taken. Asking again then repeats nothing, which the number of Undo steps proves.
    [[nodiscard]] json ask(const std::string& command, const std::map<std::string, std::string>& options) const {
        const auto text = encodeCLIRequest({command, options, {}});
        while (true) {
            const auto reply = LocalCLIConnection::request(text, path_, 60);
            if (reply) return json::parse(*reply);
            if (reply.error().kind != ErrorKind::outcomeUnknown)
                return {{"ok", false}, {"error", reply.error().message}};
        }
    }
    void writeRepeatedly(int caller) {
        for (int round = 0; round < rounds; ++round) {
            const json state = ask("project", {})["result"];
            const json entry{
                {"assetID", state["assets"][0]["assetID"]}, {"start", 0}, {"end", 1 + caller * 0.5 + round * 0.0625}};
            const json reply =
                ask("timeline", {{"revision", state["revision"]}, {"json", json::array({entry}).dump()}});
            if (reply["ok"] == true)
                ++committed_;
            else if (reply["error"] == changedText)
                ++stale_;
            else
                ADD_FAILURE() << reply.dump();
        }
        ++finished_;
    }

    TempFolder folder_;
    FakeMediaPlatform media_;
    FakePanels panels_;
    std::shared_ptr<Editor> editor_;
    std::string path_;
    std::thread import_;
    std::vector<std::thread> threads_;
    std::atomic<bool> isDone_ = false;
    std::atomic<int> finished_ = 0;
    std::atomic<int> committed_ = 0;
    std::atomic<int> stale_ = 0;
};

TEST_F(AIAssistantSessionThreads, SevenCallersReadAndWriteOneProject) {
    PlainContext context;
    exercise(context, [&] { context.turn(); });
    context.join();
}

/// Someone waits for a reply, whatever else is at work.
TEST_F(AIAssistantSessionThreads, AReplyFindsAThreadBesideSixteenLongWorks) {
    Gate gate;
    QtMainContext context;
    const auto turn = [] { QCoreApplication::processEvents(QEventLoop::AllEvents, 1); };
    serve(context, turn);
    gate.close();
    for (int i = 0; i < 20; ++i) context.runInBackground([&gate] { (void)gate.pass({}); }, Lane::longWork);
    ASSERT_TRUE(gate.waitForArrivals(16));
    std::atomic<bool> isAnswered = false;
    Result<std::string> reply = fail("No reply came.");
    std::thread caller([&] {
        reply = askOnce();
        isAnswered = true;
    });
    while (!isAnswered) turn();
    caller.join();
    EXPECT_TRUE(reply) << reply.error().message;
    EXPECT_EQ(gate.waiting(), 16);
    gate.open();
    close();
}

TEST_F(AIAssistantSessionThreads, SevenCallersReadAndWriteOverQt) {
    QtMainContext context;
    exercise(context, [] { QCoreApplication::processEvents(QEventLoop::AllEvents, 1); });
}

}  // namespace
}  // namespace kelvane::testing
