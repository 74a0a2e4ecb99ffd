#pragma once

#include <QSize>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "LiveDesk.h"

namespace kelvane::testing {

/// What a person has who comes to the program for the first time: two films and a sound in a folder, an assistant that
/// is installed, and a library without projects.
class Journey : public LiveDesk {
protected:
    void SetUp() override;

    /// The way in is there, and nothing else.
    void expectEmptyLibrary();
    /// The window shows the project with this name.
    void expectEditor(const std::string& name);
    /// The project answers clients.
    void expectProject();
    /// All three files are assets.
    void expectImported();
    /// The clips of the video track, as the tree has them.
    std::vector<BusNode> videoClips(std::size_t count);
    /// Waits until the timeline is so, for a client, and gives the entries.
    nlohmann::json expectTimeline(const std::string& what, const std::function<bool(const nlohmann::json&)>& isSo);
    /// The preview has caught up with the edits; until then the timeline takes neither drops nor seeks.
    void expectBuilt() { expectState(node("push button", "Play Timeline"), "enabled"); }
    /// The forecast has come, and the export may begin.
    void expectForecast();
    /// The movie that was asked for is there.
    void expectExported();
    /// A movie of the timeline as it is: its size, its frames one by one, and sound.
    void expectMovie(const std::string& path, QSize size);
    /// The assistant was opened on the project's folder, with its instructions.
    void expectHandedOver(const std::string& name);
    /// The home shows the project as a card.
    void expectCard(const std::string& name);
    /// A link shows the project again, at its beginning.
    void reopenByLink(const std::string& name);

    /// Paths of the files, and their assets' names.
    std::vector<std::string> files;
    static constexpr const char* firstFilm = "Numbered 0";
    static constexpr const char* secondFilm = "Numbered 1";
    static constexpr const char* sound = "Overlay";
    /// Of each film.
    static constexpr double filmSeconds = 2;
};

/// Entries of a timeline that are sound, or pictures.
nlohmann::json soundsOf(const nlohmann::json& timeline);
nlohmann::json picturesOf(const nlohmann::json& timeline);

}  // namespace kelvane::testing
