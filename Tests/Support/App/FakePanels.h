#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Panels.h"

namespace kelvane::testing {

/// Panels that answer from a script and keep what they were asked. A question without a scripted answer is cancelled.
class FakePanels final : public Panels {
public:
    struct FilesQuestion {
        PanelContent content;
        std::string message;
        bool operator==(const FilesQuestion&) const = default;
    };
    struct DestinationQuestion {
        PanelContent content;
        std::string proposedName;
        std::string message;
        bool operator==(const DestinationQuestion&) const = default;
    };
    struct NameQuestion {
        std::string title;
        std::string initial;
        std::string button;
        bool operator==(const NameQuestion&) const = default;
    };
    struct ConfirmQuestion {
        std::string message;
        std::string informativeText;
        std::string cancelButton;
        std::string confirmButton;
        bool operator==(const ConfirmQuestion&) const = default;
    };

    // The script, used up from the front.
    std::deque<std::vector<FileURL>> files;
    std::deque<std::optional<FileURL>> destinations;
    std::deque<std::optional<std::string>> names;
    std::deque<bool> confirmations;
    /// True: questions stay open until `release`.
    bool hold = false;

    // What was asked and told, oldest first.
    std::vector<FilesQuestion> askedFiles;
    std::vector<DestinationQuestion> askedDestinations;
    std::vector<NameQuestion> askedNames;
    std::vector<ConfirmQuestion> askedConfirmations;
    std::vector<FileURL> recentDocuments;

    /// Answers the open questions from the script as it is now, in the order in which they were asked.
    void release();
    [[nodiscard]] std::size_t openQuestions() const { return open_.size(); }

    void chooseFiles(PanelContent content, std::string message,
                     std::function<void(std::vector<FileURL>)> answer) override;
    void chooseDestination(PanelContent content, std::string proposedName, std::string message,
                           std::function<void(std::optional<FileURL>)> answer) override;
    void askName(std::string title, std::string initial, std::string button,
                 std::function<void(std::optional<std::string>)> answer) override;
    void confirm(std::string message, std::string informativeText, std::string cancelButton, std::string confirmButton,
                 std::function<void(bool)> answer) override;
    void noteRecentDocument(const FileURL& file) override { recentDocuments.push_back(file); }

private:
    void ask(std::function<void()> question);

    std::deque<std::function<void()>> open_;
};

}  // namespace kelvane::testing
