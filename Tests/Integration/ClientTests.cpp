// The real executable as a caller sees it, against a server made of bare system calls.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>

#include "Support/TempFolder.h"
#include "Support/TestData.h"
#include "Support/UUID.h"

extern char** environ;

namespace kelvane {
namespace {

using Words = std::vector<std::string>;

constexpr const char* outcomeUnknown =
    R"({"error":"Kelvane disconnected before returning the result. The command may have succeeded or may still be )"
    R"(running. Do not retry the edit automatically; inspect project state before any further edit, and use preview )"
    R"(to retry rendering.","ok":false,"outcome":"unknown"})"
    "\n";

struct Outcome {
    std::string output;
    std::string errors;
    /// The exit status; -1 for an end by a signal.
    int status = -1;
    bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* stream) {
    *stream << "status " << outcome.status << "\nout " << outcome.output.substr(0, 300) << "\nerr " << outcome.errors;
}

Outcome refused(const std::string& sentence) { return {"", R"({"error":")" + sentence + R"(","ok":false})" + "\n", 1}; }

std::string drain(int descriptor) {
    std::string all;
    std::array<char, 65536> chunk{};
    for (ssize_t count; (count = read(descriptor, chunk.data(), chunk.size())) > 0;)
        all.append(chunk.data(), static_cast<std::size_t>(count));
    close(descriptor);
    return all;
}

/// How a process's standard streams are: pipes that block, or short ones that don't.
enum class Streams { blocking, nonBlocking };

/// Runs `executable` with `words` and `input` on its standard input.
Outcome runAt(const std::string& executable, Words words, const std::string& input = {},
              Streams streams = Streams::blocking) {
    int in[2];
    int out[2];
    int err[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return {};
    if (streams == Streams::nonBlocking) {
        for (const int end : {in[0], out[1], err[1]}) {
            fcntl(end, F_SETPIPE_SZ, 4096);
            fcntl(end, F_SETFL, fcntl(end, F_GETFL) | O_NONBLOCK);
        }
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err[1], 2);
    words.insert(words.begin(), executable);
    std::vector<char*> arguments;
    for (auto& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t child = -1;
    const int failure = posix_spawn(&child, executable.c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    close(err[1]);
    Outcome outcome;
    std::thread feeding([&] {
        sigset_t pipeSignal;
        sigemptyset(&pipeSignal);
        sigaddset(&pipeSignal, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
        for (std::size_t at = 0; at < input.size();) {
            const ssize_t count = write(in[1], input.data() + at, input.size() - at);
            if (count <= 0) break;
            at += static_cast<std::size_t>(count);
        }
        close(in[1]);
    });
    std::thread listening([&] { outcome.errors = drain(err[0]); });
    outcome.output = drain(out[0]);
    listening.join();
    feeding.join();
    int status = 0;
    if (failure == 0 && waitpid(child, &status, 0) == child && WIFEXITED(status)) outcome.status = WEXITSTATUS(status);
    return outcome;
}

Outcome client(Words words, const std::string& input = {}, Streams streams = Streams::blocking) {
    words.insert(words.begin(), "cli");
    return runAt(KELVANE_EXECUTABLE, std::move(words), input, streams);
}

class Client : public ::testing::Test {
protected:
    ~Client() override {
        if (listener_ >= 0) {
            shutdown(listener_, SHUT_RDWR);
            serving_.join();
            close(listener_);
        }
        if (!record_.empty()) unlink(record_.c_str());
    }

    /// Answers every connection with `bytes` as they stand and closes.
    void answer(const std::string& bytes) {
        listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, socketPath_.data(), socketPath_.size());
        ASSERT_EQ(bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        ASSERT_EQ(listen(listener_, 8), 0);
        serving_ = std::thread([this, bytes] {
            for (int peer; (peer = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
                std::string request;
                std::array<char, 65536> chunk{};
                while (!request.ends_with('\n')) {
                    const ssize_t count = recv(peer, chunk.data(), chunk.size(), 0);
                    if (count <= 0) break;
                    request.append(chunk.data(), static_cast<std::size_t>(count));
                }
                if (!request.empty()) {
                    const std::lock_guard lock(mutex_);
                    request_ = std::move(request);
                }
                for (std::size_t at = 0; at < bytes.size();) {
                    const ssize_t count = send(peer, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
                    if (count <= 0) break;
                    at += static_cast<std::size_t>(count);
                }
                close(peer);
            }
        });
    }
    void stopAnswering() {
        shutdown(listener_, SHUT_RDWR);
        serving_.join();
        close(listener_);
        listener_ = -1;
        unlink(socketPath_.c_str());
    }

    /// The last bytes that a client sent: whole once the client has ended with a reply, which comes after them.
    std::string request() {
        const std::lock_guard lock(mutex_);
        return request_;
    }

    Outcome ask(Words words, const std::string& input = {}) {
        words.insert(words.begin(), {"--socket", socketPath_});
        return client(std::move(words), input);
    }

    /// Writes the project's record into the user's own registry.
    void publish(const std::string& record) {
        const std::string registry = "/tmp/kelvane-connections-" + std::to_string(getuid());
        mkdir(registry.c_str(), 0700);
        record_ = registry + "/" + project_.upper() + ".json";
        std::ofstream(record_, std::ios::binary) << record;
    }

    testing::TempFolder folder_;
    std::string socketPath_ = folder_.path("control.sock");
    std::string record_;
    const UUID project_ = UUID::random();

private:
    int listener_ = -1;
    std::mutex mutex_;
    std::string request_;
    std::thread serving_;
};

TEST_F(Client, PrintsTheHelpForThreeFormsAlone) {
    const std::string help = testing::testData("help.txt");
    ASSERT_FALSE(help.empty());
    EXPECT_EQ(client({}), (Outcome{help, "", 0}));
    EXPECT_EQ(client({"help"}), (Outcome{help, "", 0}));
    EXPECT_EQ(client({"--help"}), (Outcome{help, "", 0}));
    const auto expected = refused("Expected --project <projectID> <command>. Run Kelvane cli help.");
    EXPECT_EQ(client({"help", "now"}), expected);
    EXPECT_EQ(client({"-h"}), expected);
    EXPECT_EQ(client({""}), expected);
    EXPECT_EQ(client({"--project", project_.upper()}), expected);
}

TEST_F(Client, RefusesABadCommandLineOnStandardErrorBeforeAnyConnection) {
    answer("{\"ok\":true}\n");
    const std::string selector = "Expected --project <UUID> or --socket <path>. Run Kelvane cli help.";
    EXPECT_EQ(client({"--project", "not-a-uuid", "project"}), refused(selector));
    EXPECT_EQ(client({"--socket", "", "project"}), refused(selector));
    EXPECT_EQ(client({"project", "--project", project_.upper()}), refused(selector));
    EXPECT_EQ(ask({"zoom"}), refused("Unknown command: zoom. Run Kelvane cli help."));
    EXPECT_EQ(ask({"undo", "--compact", "--compact"}), refused("Unknown or duplicate option: --compact."));
    EXPECT_EQ(ask({"clip", "/a\"b"}), refused(R"(Unknown or duplicate option: \/a\"b.)"));
    EXPECT_EQ(ask({"export", "--revision", "R", "--path", "/e.mp4", "--resolution", "8k"}),
              refused("--resolution must be auto, 4k, 1440p, 1080p or 720p."));
    EXPECT_EQ(ask({"export", "--revision", "R", "--path", "/e.mp4", "--fps", "24.0"}),
              refused("--fps must be auto, 24, 25, 30, 50 or 60."));
    EXPECT_EQ(request(), "");
}

TEST_F(Client, PrintsTheReplyAsReceivedAndAnswersForItsOk) {
    const std::pair<std::string, int> rows[] = {
        {R"({"ok":true,"result":{"b":1,"a":"x\/y/z → é"}})", 0},
        {R"( { "result" : 1.50 , "ok" : true } )", 0},
        {R"({"ok":false,"error":"Kelvane is busy."})", 1},
        {R"({"ok":false,"ok":true})", 0},
        {"{}", 1},
        {R"({"ok":true,"ok":false})", 1},
        {R"({"ok":true,"ok":[true]})", 1},
        {R"({"o\u006b":true})", 0},
        {R"({"ok":true,"result":[1e999,-1E+999,123456789012345678901234567890,0.0e-0,-0]})", 0},
        {R"({"ok":true,"result":["\ud800","\"\\\/\b\f\n\r\t"]})", 0},
        {R"({"ok":true,"result":)" + std::string(400'000, '[') + std::string(400'000, ']') + "}", 0},
        {R"({"a":{"b":{"ok":true}},"c":[],"d":{},"e":[{"ok":true}]})", 1},
        {"[]", 1},
        {R"([{"ok":true}])", 1},
        {R"({"ok":1})", 1},
        {R"({"ok":"true"})", 1},
        {R"({"ok":null})", 1},
        {R"({"result":{"ok":true}})", 1},
        {R"({"ok":true,"result":")" + std::string(1'000'000, 'x') + "\"}", 0},
    };
    for (const auto& [reply, status] : rows) {
        answer(reply + "\nand more");
        EXPECT_EQ(ask({"project"}), (Outcome{reply + "\n", "", status}));
        EXPECT_EQ(request(), "{\"command\":\"project\",\"options\":{}}\n");
        stopAnswering();
    }
}

TEST_F(Client, PrintsNothingOfAReplyThatIsNoDocument) {
    for (const std::string reply : {"",
                                    "not json",
                                    "7",
                                    "\"text\"",
                                    "null",
                                    "true",
                                    "{",
                                    "{} x",
                                    "{\"ok\":true}\xFF",
                                    "{\"a\":\"\xFF\"}",
                                    "{\"ok\":true,}",
                                    "{\"a\"}",
                                    "{\"a\":}",
                                    "{1:2}",
                                    "[1,]",
                                    "[,1]",
                                    "[1 2]",
                                    "[01]",
                                    "[.5]",
                                    "[1.]",
                                    "[1e]",
                                    "[+1]",
                                    "[-]",
                                    "[tru]",
                                    "[NaN]",
                                    "[\"\t\"]",
                                    "[\"\\x\"]",
                                    "[\"\\u12g4\"]",
                                    "[\"open]",
                                    "[}",
                                    "{]",
                                    "[[]",
                                    "[]]",
                                    "[1e999"}) {
        answer(reply + "\n");
        const Outcome outcome = ask({"project"});
        EXPECT_EQ(outcome.output, "") << reply;
        EXPECT_EQ(outcome.status, 1) << reply;
        EXPECT_TRUE(outcome.errors.starts_with(R"({"error":")")) << reply << outcome.errors;
        EXPECT_TRUE(outcome.errors.ends_with("\",\"ok\":false}\n")) << reply << outcome.errors;
        EXPECT_GT(outcome.errors.size(), std::strlen("{\"error\":\"\",\"ok\":false}\n")) << reply;
        stopAnswering();
    }
}

TEST_F(Client, ReportsABrokenConversationAsUnknownOutcome) {
    for (const std::string& bytes : {std::string(), std::string("{\"ok\":true}"), std::string(1'048'577, ' ') + "\n"}) {
        answer(bytes);
        EXPECT_EQ(ask({"undo", "--revision", "R"}), (Outcome{"", outcomeUnknown, 1})) << bytes.size();
        EXPECT_EQ(request(), "{\"command\":\"undo\",\"options\":{\"revision\":\"R\"}}\n");
        stopAnswering();
    }
}

TEST_F(Client, SaysWhenNothingListens) {
    const auto notConnected = refused(
        "Kelvane is not connected. Reopen the project in Kelvane and use --project <projectID> to discover its "
        "current connection.");
    EXPECT_EQ(ask({"project"}), notConnected);
    answer("{\"ok\":true}\n");
    stopAnswering();
    std::ofstream(socketPath_) << "a plain file";
    EXPECT_EQ(ask({"project"}), notConnected);
    EXPECT_EQ(client({"--socket", "/tmp/" + std::string(99, 'x'), "project"}), refused("Invalid CLI socket path."));
    EXPECT_EQ(client({"--socket", "/tmp/" + std::string(98, 'x'), "project"}), notConnected);
}

TEST_F(Client, FindsTheProjectThroughItsRecord) {
    const auto notConnected =
        refused("This Kelvane project is not connected. Reopen the project in Kelvane, then retry the command.");
    const Words words{"--project", project_.lower(), "clip", "--revision", "R", "--id", "C", "--start", "-0.5"};
    EXPECT_EQ(client(words), notConnected);

    answer("{\"ok\":true}\n");
    publish(R"({"projectID":")" + project_.upper() + R"(","socketPath":")" + socketPath_ + "\"}");
    EXPECT_EQ(client(words), (Outcome{"{\"ok\":true}\n", "", 0}));
    EXPECT_EQ(request(), R"({"command":"clip","options":{"id":"C","revision":"R","start":"-0.5"},"projectID":")" +
                             project_.upper() + "\"}\n");

    publish(R"({"projectID":")" + UUID::random().upper() + R"(","socketPath":")" + socketPath_ + "\"}");
    EXPECT_EQ(client(words), notConnected);
    publish("junk");
    EXPECT_EQ(client(words), notConnected);
    publish(R"({"projectID":")" + project_.upper() + R"(","socketPath":")" + folder_.path("gone") + "\"}");
    EXPECT_EQ(client(words),
              refused("Kelvane is not connected. Reopen the project in Kelvane and use --project <projectID> to "
                      "discover its current connection."));
}

TEST_F(Client, ReadsTheJSONOptionFromStandardInput) {
    answer("{\"ok\":true}\n");
    const Words timeline{"timeline", "--revision", "R", "--json", "-"};
    const Outcome sent{"{\"ok\":true}\n", "", 0};
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {" [] \n", R"( [] \n)"},
        {"[{\"name\":\"é→\"}]", R"([{\"name\":\"é→\"}])"},
        {std::string(1'000'000, ' '), std::string(1'000'000, ' ')},
    };
    for (const auto& [input, option] : rows) {
        EXPECT_EQ(ask(timeline, input), sent);
        EXPECT_TRUE(request() ==
                    R"({"command":"timeline","options":{"json":")" + option + R"(","revision":"R"}})" + "\n")
            << input.size();
    }
    EXPECT_EQ(ask({"timeline", "--revision", "R", "--json", "--"}), refused("Unknown or incomplete option: --json."));
    EXPECT_EQ(ask({"timeline", "--revision", "R", "--json", "-1"}), sent);
    EXPECT_EQ(request(), "{\"command\":\"timeline\",\"options\":{\"json\":\"-1\",\"revision\":\"R\"}}\n");
}

TEST_F(Client, RefusesStandardInputThatIsTooLongOrNotUTF8) {
    answer("{\"ok\":true}\n");
    const Words words{"import", "--revision", "R", "--json", "-"};
    EXPECT_EQ(ask(words, std::string(1'048'577, ' ')), refused("stdin exceeds 1 MiB."));
    EXPECT_EQ(ask(words, std::string(5'000'000, '\xFF')), refused("stdin exceeds 1 MiB."));
    EXPECT_EQ(ask(words, "\xC3\x28"), refused("stdin must be UTF-8 JSON of at most 1 MiB."));
    EXPECT_EQ(request(), "");
    // What fits as input can still be too long as a message.
    EXPECT_EQ(ask(words, std::string(1'048'576, ' ')), refused("CLI message exceeds 1 MiB."));
    EXPECT_EQ(request(), "");
    // A bad command line never waits for the input.
    EXPECT_EQ(ask({"import", "--json", "-"}, std::string(100, ' ')),
              refused("Missing --revision. Run Kelvane cli help."));
}

TEST_F(Client, EndsWithOneAndNoSignalWhenItsOutputHasNoReader) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    const std::string command = KELVANE_EXECUTABLE " cli help >&" + std::to_string(ends[1]) + "; echo $?";
    EXPECT_EQ(runAt("/bin/sh", {"-c", command}), (Outcome{"1\n", "", 0}));
    EXPECT_EQ(runAt("/bin/sh", {"-c", KELVANE_EXECUTABLE " cli help >&-; echo $?"}), (Outcome{"1\n", "", 0}));
    close(ends[1]);
}

TEST_F(Client, WaitsForStreamsThatItInheritedNonBlocking) {
    const std::string reply = R"({"ok":true,"result":")" + std::string(1'000'000, 'x') + "\"}";
    answer(reply + "\n");
    const std::string input(1'000'000, ' ');
    EXPECT_EQ(
        client({"--socket", socketPath_, "timeline", "--revision", "R", "--json", "-"}, input, Streams::nonBlocking),
        (Outcome{reply + "\n", "", 0}));
    EXPECT_TRUE(request() == R"({"command":"timeline","options":{"json":")" + input + R"(","revision":"R"}})" + "\n");
    const std::string word(100'000, 'x');
    EXPECT_EQ(client({"--socket", socketPath_, word}, {}, Streams::nonBlocking),
              refused("Unknown command: " + word + ". Run Kelvane cli help."));
}

TEST_F(Client, LoadsNothingOfTheApplication) {
    const Outcome loaded = runAt("/bin/sh", {"-c", "LD_TRACE_LOADED_OBJECTS=1 " KELVANE_EXECUTABLE});
    ASSERT_EQ(loaded.status, 0);
    EXPECT_NE(loaded.output.find("libc.so"), std::string::npos) << loaded.output;
    for (const char* library : {"libfmt", "libQt", "libav", "libsw", "libcrypto", "libzimg", "libutf8proc", "libpulse"})
        EXPECT_EQ(loaded.output.find(library), std::string::npos) << loaded.output;
}

TEST_F(Client, TheExecutableAloneSaysThatTheApplicationsLibraryIsMissing) {
    const std::string copy = folder_.path("kelvane");
    std::filesystem::copy_file(KELVANE_EXECUTABLE, copy);
    const Outcome missing{"", "Kelvane cannot start: its library libkelvane-app.so is missing; reinstall it.\n", 1};
    EXPECT_EQ(runAt(copy, {}), missing);
    EXPECT_EQ(runAt(copy, {"help"}), missing);
    EXPECT_EQ(runAt(copy, {"CLI", "help"}), missing);
    EXPECT_EQ(runAt(copy, {"cli", "help"}).status, 0);

    std::filesystem::create_directories(folder_.path("lib/kelvane"));
    std::ofstream(folder_.path("lib/kelvane/libkelvane-app.so")) << "no library";
    const Outcome broken = runAt(copy, {});
    EXPECT_EQ(broken.status, 1);
    EXPECT_TRUE(broken.errors.starts_with("Kelvane cannot start: ")) << broken.errors;
}

}  // namespace
}  // namespace kelvane
