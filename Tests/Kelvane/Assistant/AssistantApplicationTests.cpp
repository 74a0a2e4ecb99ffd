#include <gtest/gtest.h>

#include <QByteArray>
#include <QUrl>
#include <QUrlQuery>

#include "Assistant/AIDesktopAssistant.h"
#include "Support/App/FakeDesktopServices.h"

namespace kelvane {
namespace {

using testing::FakeDesktopServices;
using Assistants = std::vector<AIDesktopAssistant>;

const AIDesktopAssistant chatGPT = AIDesktopAssistant::chatGPT;
const AIDesktopAssistant claude = AIDesktopAssistant::claude;

/// The answer of a task that is done at once.
Result<void> opened(FakeDesktopServices& desktop, AIDesktopAssistant assistant, const std::string& folder,
                    const std::string& prompt) {
    std::optional<Result<void>> answer;
    const auto waiter = [](QCoro::Task<Result<void>> task, std::optional<Result<void>>* place) -> QCoro::Task<void> {
        Result<void> result = co_await task;
        place->emplace(std::move(result));
    }(assistant.open(desktop, FileURL::fromPath(folder), prompt), &answer);
    check(answer.has_value(), "the fake desktop answers at once");
    return *answer;
}

TEST(AssistantApplication, TheTableIsThatOfTheAssistants) {
    EXPECT_EQ(chatGPT.rawValue(), "chatGPT");
    EXPECT_EQ(chatGPT.label(), "ChatGPT");
    EXPECT_EQ(chatGPT.bundleIdentifier(), "com.openai.codex");
    EXPECT_EQ(chatGPT.instructionFile(), "AGENTS.md");
    EXPECT_EQ(chatGPT.taskScheme(), "codex");
    EXPECT_EQ(claude.rawValue(), "claude");
    EXPECT_EQ(claude.label(), "Claude");
    EXPECT_EQ(claude.bundleIdentifier(), "com.anthropic.claudefordesktop");
    EXPECT_EQ(claude.instructionFile(), "CLAUDE.md");
    EXPECT_EQ(claude.taskScheme(), "claude");
}

TEST(AssistantApplication, InstalledOnesAreListedInOrderAndAskedForAnew) {
    FakeDesktopServices desktop;
    EXPECT_EQ(AIDesktopAssistant::installed(desktop), Assistants{});
    desktop.install("com.anthropic.claudefordesktop");
    EXPECT_EQ(AIDesktopAssistant::installed(desktop), Assistants{claude});
    desktop.install("com.openai.codex");
    EXPECT_EQ(AIDesktopAssistant::installed(desktop), (Assistants{chatGPT, claude}));
    EXPECT_EQ(chatGPT.applicationURL(desktop), FileURL::fromPath("/desktop/com.openai.codex.desktop"));
    desktop.applications.clear();
    EXPECT_EQ(AIDesktopAssistant::installed(desktop), Assistants{});
    EXPECT_EQ(chatGPT.applicationURL(desktop), std::nullopt);
}

TEST(AssistantApplication, AHandlerOfItsLinksCountsAsTheAssistant) {
    FakeDesktopServices desktop;
    desktop.install("claude-desktop");
    desktop.handlers["claude"] = "claude-desktop";
    EXPECT_EQ(AIDesktopAssistant::installed(desktop), Assistants{claude});
    EXPECT_TRUE(opened(desktop, claude, "/f", "go"));
    EXPECT_EQ(desktop.opened,
              (std::vector<FakeDesktopServices::Opened>{{"claude://code/new?folder=/f&q=go", "claude-desktop"}}));
}

TEST(AssistantApplication, ATaskURLHoldsTheFolderAndThePrompt) {
    const auto folder = FileURL::fromPath("/library/AI/Kelvane - Holiday");
    EXPECT_EQ(chatGPT.taskURL(folder, "Help me"),
              "codex://threads/new?path=/library/AI/Kelvane%20-%20Holiday&prompt=Help%20me&mode=work");
    EXPECT_EQ(claude.taskURL(folder, "Help me"),
              "claude://code/new?folder=/library/AI/Kelvane%20-%20Holiday&q=Help%20me");
    EXPECT_EQ(claude.taskURL(folder, ""), "claude://code/new?folder=/library/AI/Kelvane%20-%20Holiday&q=");
}

TEST(AssistantApplication, EveryByteOfAPromptIsEncodedOrPlain) {
    const auto value = [](const std::string& text) {
        return claude.taskURL(FileURL::fromPath("/"), text).substr(std::string("claude://code/new?folder=/&q=").size());
    };
    const std::string plain = "AZaz09-._~!$'()*+,;:@/?";
    EXPECT_EQ(value(plain), plain);
    EXPECT_EQ(value("a=b&c #d%e\"f<g>h[i]j\\k^l`m{n|o}p"),
              "a%3Db%26c%20%23d%25e%22f%3Cg%3Eh%5Bi%5Dj%5Ck%5El%60m%7Bn%7Co%7Dp");
    EXPECT_EQ(value("“Ü” 🎬\n\t\x7F"), "%E2%80%9C%C3%9C%E2%80%9D%20%F0%9F%8E%AC%0A%09%7F");
    // Whatever the text, a reader of the URL finds exactly it, in its place.
    std::string all;
    for (int byte = 1; byte < 128; ++byte) all += static_cast<char>(byte);
    const QUrl url(QString::fromStdString(chatGPT.taskURL(FileURL::fromPath("/a&b=c#d"), all)), QUrl::StrictMode);
    ASSERT_TRUE(url.isValid());
    const auto items = QUrlQuery(url).queryItems(QUrl::FullyDecoded);
    ASSERT_EQ(items.size(), 3);
    EXPECT_EQ(items[0], (std::pair<QString, QString>("path", "/a&b=c#d")));
    EXPECT_EQ(items[1], (std::pair<QString, QString>("prompt", QString::fromStdString(all))));
    EXPECT_EQ(items[2], (std::pair<QString, QString>("mode", "work")));
}

TEST(AssistantApplication, AnAssistantThatWentMeanwhileIsTold) {
    FakeDesktopServices desktop;
    for (const auto& [assistant, sentence] :
         {std::pair{chatGPT, "ChatGPT is no longer installed."}, std::pair{claude, "Claude is no longer installed."}}) {
        const auto answer = opened(desktop, assistant, "/f", "go");
        ASSERT_FALSE(answer);
        EXPECT_EQ(answer.error(), Error(sentence));
    }
    EXPECT_TRUE(desktop.opened.empty());
}

TEST(AssistantApplication, TheDesktopsRefusalIsPassedOn) {
    FakeDesktopServices desktop;
    desktop.install("com.openai.codex");
    desktop.refusal = Error("“ChatGPT” could not be opened: Permission denied.");
    EXPECT_EQ(opened(desktop, chatGPT, "/f", "go").error(), *desktop.refusal);
    EXPECT_EQ(desktop.opened, (std::vector<FakeDesktopServices::Opened>{
                                  {"codex://threads/new?path=/f&prompt=go&mode=work", "com.openai.codex"}}));
}

}  // namespace
}  // namespace kelvane
