#pragma once

#include <QObject>
#include <QVariantMap>
#include <deque>
#include <variant>

#include "Platform/Panels.h"

namespace kelvane {

/// Modal questions, shown one after the other by the window in front. Without a display each is answered at once as
/// cancelled.
class WindowPanels final : public QObject, public Panels {
    Q_OBJECT
    /// The question to show; empty when there is none. Keys: "kind" ("files", "destination", "name", "confirm"),
    /// "title", "text", "initial", "filters", "suffix", "accept", "reject".
    Q_PROPERTY(QVariantMap question READ question NOTIFY questionChanged)

public:
    explicit WindowPanels(bool canAsk) : canAsk_(canAsk) {}

    [[nodiscard]] QVariantMap question() const;
    /// Answers the question that is shown.
    Q_INVOKABLE void answerFiles(const QVariantList& urls);
    Q_INVOKABLE void answerText(const QString& text);
    Q_INVOKABLE void answerYes();
    Q_INVOKABLE void cancel();

    void chooseFiles(PanelContent content, std::string message,
                     std::function<void(std::vector<FileURL>)> answer) override;
    void chooseDestination(PanelContent content, std::string proposedName, std::string message,
                           std::function<void(std::optional<FileURL>)> answer) override;
    void askName(std::string title, std::string initial, std::string button,
                 std::function<void(std::optional<std::string>)> answer) override;
    void confirm(std::string message, std::string informativeText, std::string cancelButton, std::string confirmButton,
                 std::function<void(bool)> answer) override;
    void noteRecentDocument(const FileURL& file) override;

Q_SIGNALS:
    void questionChanged();

private:
    /// What a person gave: nothing for cancelled.
    struct Answer {
        bool given = false;
        std::vector<FileURL> files;
        std::string text;
    };
    struct Question {
        QVariantMap shown;
        std::function<void(Answer)> answer;
    };
    /// The chooser of the toolkit replaces files without a question.
    void confirmReplacing(const FileURL& file, std::function<void(std::optional<FileURL>)> answer);
    void ask(QVariantMap shown, std::function<void(Answer)> answer);
    void finish(Answer answer);

    bool canAsk_;
    std::deque<Question> questions_;
};

}  // namespace kelvane
