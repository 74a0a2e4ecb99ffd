#pragma once

#include <QCoroTask>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "Session/AIAssistantSession.h"
#include "Session/CLIEditing.h"
#include "Support/App/EditorFixture.h"

namespace kelvane::testing {

/// A reply that may still be under way.
using Reply = std::shared_ptr<std::optional<Result<JSONObject>>>;

/// An editor with its session, driven through `perform` on the test's thread.
class SessionFixture : public EditorFixture {
protected:
    SessionFixture() { fill(); }

    /// Loads a library project: the film's seconds 1 to 4, the sound's first 5 s at 2 s, and the whole film of 10 s;
    /// the timeline is 13 s long. Assets: film, sound.
    void fill() {
        film = makeManaged("film.mov", FakeFile::video(10));
        sound = makeManaged("sound.wav", FakeFile::audio(20));
        Clip first = video(film, 10);
        first.start = 1;
        first.end = 4;
        Clip overlay = audio(sound, 20, 2);
        overlay.end = 5;
        const Clip last = video(film, 10);
        const Clip soundAsset = [&] {
            Clip clip = audio(sound, 20);
            clip.timelineStart.reset();
            return clip;
        }();
        load({first, overlay, last}, std::vector<Clip>{video(film, 10), soundAsset});
        settlePreview();
        media.clearCalls();
    }
    /// An editor of a project that has no file, with nothing in it.
    void makeUnsaved() {
        makeEditor(false);
        settlePreview();
    }

    [[nodiscard]] AIAssistantSession& session() const { return editor->ai(); }
    [[nodiscard]] std::string revision() const { return CLIEditing::revision(editor->clips(), editor->assets()); }
    [[nodiscard]] const Clip& clip(std::size_t index) const { return editor->clips().at(index); }
    [[nodiscard]] std::string clipID(std::size_t index) const { return clip(index).id.upper(); }
    [[nodiscard]] std::string assetID(std::size_t index) const { return editor->assets().at(index).id.upper(); }

    using Options = std::map<std::string, std::string>;

    /// Starts a request; it goes on as the context does.
    Reply start(const std::string& command, Options options = {}, std::optional<UUID> generation = std::nullopt) {
        auto reply = std::make_shared<std::optional<Result<JSONObject>>>();
        CLIRequest request;
        request.command = command;
        request.options = std::move(options);
        collect(session().perform(std::move(request), generation), reply);
        return reply;
    }
    /// The same as a write that quotes the present revision.
    Reply startWrite(const std::string& command, Options options = {}) {
        options.emplace("revision", revision());
        return start(command, std::move(options));
    }
    Result<JSONObject> finish(const Reply& reply) {
        context.settle();
        if (!reply->has_value()) return fail("The request has not come to its end.");
        return **reply;
    }
    Result<JSONObject> perform(const std::string& command, Options options = {}) {
        return finish(start(command, std::move(options)));
    }
    Result<JSONObject> write(const std::string& command, Options options = {}) {
        return finish(startWrite(command, std::move(options)));
    }

    /// The failure's sentence, or "done".
    static std::string refusal(const Result<JSONObject>& reply) { return reply ? "done" : reply.error().message; }
    static nlohmann::json document(const Result<JSONObject>& reply) {
        EXPECT_TRUE(reply.has_value()) << reply.error().message;
        return reply ? nlohmann::json::parse(reply->text()) : nlohmann::json();
    }
    [[nodiscard]] nlohmann::json state(bool compact = false) const { return document(session().projectState(compact)); }

    FileURL film;
    FileURL sound;

private:
    static QCoro::Task<void> collect(QCoro::Task<Result<JSONObject>> task, Reply reply) {
        auto result = co_await task;
        *reply = std::move(result);
    }
};

constexpr const char* busyText = "Kelvane is busy. Finish importing, exporting or the current timeline interaction.";
constexpr const char* changedText =
    "The timeline or asset library changed. Read project again and use its latest revision.";
constexpr const char* sessionClosedText = "The Kelvane session is closed.";
constexpr const char* startNewText = "The Kelvane session is closed. Start a new AI session.";
constexpr const char* limitsText = "Require valid clips, at most 1,000 occurrences and 24 hours total.";

}  // namespace kelvane::testing
