#pragma once

#include <QCoroTask>
#include <QObject>
#include <deque>
#include <memory>
#include <optional>

#include "PanelQuestions.h"
#include "Platform/MainContext.h"
#include "Platform/Panels.h"

namespace kelvane {

/// Modal questions, asked one after the other by the window in front. Without a display each is answered at once as
/// cancelled. The main thread.
class WindowPanels final : public QObject, public Panels {
    Q_OBJECT

public:
    /// `context` outlives this object. `bus` is the one on which the desktop's own choosers are; none means that there
    /// are none.
    WindowPanels(bool canAsk, MainContext& context, BusSource bus = {})
        : canAsk_(canAsk), context_(context), bus_(std::move(bus)) {}
    /// Questions that are still open are never answered.
    ~WindowPanels() override;

    /// The question whose turn it is; null when there is none. Lasts until it is answered.
    [[nodiscard]] PanelQuestion* question() const {
        return questions_.empty() || isLooking_ ? nullptr : questions_.front().get();
    }
    [[nodiscard]] MainContext& context() const { return context_; }
    /// Where the desktop's choosers are asked.
    [[nodiscard]] std::optional<QDBusConnection> bus() const { return bus_ ? bus_() : std::nullopt; }
    /// The folder in which our own chooser begins: where the last one ended; none at first.
    [[nodiscard]] std::vector<std::string> startFolders() const { return startFolders_; }
    void beginNextIn(const std::string& folder) { startFolders_ = {folder}; }
    /// Tells that the panel of `question` can't be made, because of `reason`, and cancels it.
    void giveUp(PanelQuestion& question, const QString& reason);

    void chooseFiles(PanelContent content, std::string message,
                     std::function<void(std::vector<FileURL>)> answer) override;
    /// A file that exists is chosen only when a person confirms that it may be replaced; who doesn't is asked for a
    /// place again, from that name and folder on.
    void chooseDestination(PanelContent content, std::string proposedName, std::string message,
                           std::function<void(std::optional<FileURL>)> answer) override;
    void askName(std::string title, std::string initial, std::string button,
                 std::function<void(std::optional<std::string>)> answer) override;
    void confirm(std::string message, std::string informativeText, std::string cancelButton, std::string confirmButton,
                 std::function<void(bool)> answer) override;
    void noteRecentDocument(const FileURL& file) override;

Q_SIGNALS:
    /// It is another question's turn, or no question's.
    void questionChanged();
    /// A panel could not be made; `sentence` says which, and why.
    void failed(const QString& sentence);

private:
    void ask(std::unique_ptr<PanelQuestion> question);
    void announce();
    /// Our own chooser leaves the question to this. Nothing is asked while the disk is. Answers whether the file may be
    /// written.
    QCoro::Task<void> confirmReplacing(FileURL file, std::function<void(bool)> answer);

    bool canAsk_;
    MainContext& context_;
    BusSource bus_;
    std::vector<std::string> startFolders_;
    /// A file was chosen, and whether it exists isn't known yet.
    bool isLooking_ = false;
    /// Set while whoever asked hears the answer: how many questions that led to. They come before those that wait.
    std::optional<int> followUps_;
    /// The one whose turn it is first.
    std::deque<std::unique_ptr<PanelQuestion>> questions_;
    /// As announced last; never followed.
    const PanelQuestion* announced_ = nullptr;
};

}  // namespace kelvane
