#include "FakePanels.h"

#include <utility>

namespace kelvane::testing {

namespace {
/// The next scripted answer, or `otherwise`.
template <class Answer>
Answer take(std::deque<Answer>& script, Answer otherwise) {
    if (script.empty()) return otherwise;
    Answer next = std::move(script.front());
    script.pop_front();
    return next;
}
}  // namespace

void FakePanels::release() {
    while (!open_.empty()) {
        const auto question = std::move(open_.front());
        open_.pop_front();
        question();
    }
}

void FakePanels::ask(std::function<void()> question) {
    if (hold)
        open_.push_back(std::move(question));
    else
        question();
}

void FakePanels::chooseFiles(PanelContent content, std::string message,
                             std::function<void(std::vector<FileURL>)> answer) {
    askedFiles.push_back({content, std::move(message)});
    ask([this, answer = std::move(answer)] { answer(take(files, {})); });
}

void FakePanels::chooseDestination(PanelContent content, std::string proposedName, std::string message,
                                   std::function<void(std::optional<FileURL>)> answer) {
    askedDestinations.push_back({content, std::move(proposedName), std::move(message)});
    ask([this, answer = std::move(answer)] { answer(take(destinations, {})); });
}

void FakePanels::askName(std::string title, std::string initial, std::string button,
                         std::function<void(std::optional<std::string>)> answer) {
    askedNames.push_back({std::move(title), std::move(initial), std::move(button)});
    ask([this, answer = std::move(answer)] { answer(take(names, {})); });
}

void FakePanels::confirm(std::string message, std::string informativeText, std::string cancelButton,
                         std::string confirmButton, std::function<void(bool)> answer) {
    askedConfirmations.push_back(
        {std::move(message), std::move(informativeText), std::move(cancelButton), std::move(confirmButton)});
    ask([this, answer = std::move(answer)] { answer(take(confirmations, false)); });
}

}  // namespace kelvane::testing
