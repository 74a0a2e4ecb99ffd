#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "Support/TempFolder.h"

namespace kelvane::testing {

/// A private PulseAudio, without a session bus, in a folder of its own: a null sink "ears", kept awake by a silent
/// stream, whose monitor is the microphone. The sink takes nothing back and so is never further ahead than 50 ms;
/// otherwise it has played two seconds of silence ahead when a stream begins, and drops as much of it. While it lives,
/// PULSE_SERVER names it to this process and its children.
class SoundServer {
public:
    /// Whether the package is there at all.
    static bool isInstalled();

    /// Starts nothing yet.
    SoundServer();
    ~SoundServer();

    /// What a server starts with.
    enum class Devices { earsAndMicrophone, none };
    /// False when patience ends before a server answers; `log` tells why.
    bool start(Devices devices = Devices::earsAndMicrophone);
    /// At once, as a crash does.
    void kill();
    /// A line of the server's own command language; false when it wasn't taken.
    bool command(const std::string& line);
    /// What the server answers to a line.
    std::string ask(const std::string& line);
    /// Adds a null sink of this name that stays awake.
    bool addSink(const std::string& name);
    /// Plays a tone into a sink, as somebody beside the microphone, until `removeVoice`; false when it can't.
    bool addVoice(int frequency, const std::string& sink = "ears");
    bool removeVoice();
    [[nodiscard]] std::string address() const { return "unix:" + folder_.path("native"); }
    [[nodiscard]] std::string log() const { return folder_.read("log"); }

private:
    [[nodiscard]] bool waitForSocket(const std::string& path) const;

    TempFolder folder_;
    pid_t process_ = -1;
    /// The module that plays it.
    std::string voice_;
};

}  // namespace kelvane::testing
