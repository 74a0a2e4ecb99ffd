#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Platform/PortalChooser.h"
#include "Support/FileURL.h"

namespace kelvane {

/// A modal question that waits for a person. It is answered once: what comes after the first answer does nothing. Each
/// kind has a type, which tells what is asked and takes what is answered. The main thread.
class PanelQuestion : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString title READ title CONSTANT)

public:
    [[nodiscard]] const QString& title() const { return title_; }
    /// The name of the QML file beside this one's views that asks it.
    [[nodiscard]] virtual QString panel() const = 0;
    /// What the panel is, at the head of a sentence.
    [[nodiscard]] virtual QString description() const = 0;
    /// Answers what a person who declines answers.
    Q_INVOKABLE void cancel();

    /// How far a question is: no window has taken it up; one has; its panel is open; it is answered.
    enum class Stage { waiting, taken, shown, answered };
    [[nodiscard]] Stage stage() const { return stage_; }
    /// Of the window that asks it: enters a later stage. False where the question is there, or further, already.
    bool enter(Stage stage);

Q_SIGNALS:
    /// Sent before whoever asked hears of it.
    void answered();
    /// Sent when whoever asked has heard.
    void finished();

protected:
    explicit PanelQuestion(const std::string& title) : title_(QString::fromStdString(title)) {}
    /// Runs `tell`, unless the question was answered before.
    void finish(const std::function<void()>& tell);
    virtual void decline() = 0;

private:
    QString title_;
    Stage stage_ = Stage::waiting;
};

/// A question that a chooser of files answers: the desktop's, or the panel.
class ChooserQuestion : public PanelQuestion {
    Q_OBJECT

public:
    /// What the chooser is asked.
    [[nodiscard]] virtual ChooserRequest request() const = 0;
    /// The extension of a name that is typed without it; has no dot, and is empty for files that are there.
    [[nodiscard]] virtual QString suffix() const { return {}; }
    /// Answers what a person has chosen; at least one. `knows` tells that they were asked whether a file that is there
    /// may be replaced.
    virtual void choose(const std::vector<FileURL>& files, bool knows) = 0;

protected:
    using PanelQuestion::PanelQuestion;
};

/// Which files?
class FilesQuestion final : public ChooserQuestion {
    Q_OBJECT
    /// Filters of a chooser, the first one chosen, such as "Movies (*.mp4 *.mov)".
    Q_PROPERTY(QStringList filters READ filters CONSTANT)

public:
    /// No files are given where a person declines.
    using Answer = std::function<void(std::vector<FileURL>)>;

    FilesQuestion(const std::string& title, QStringList filters, Answer answer)
        : ChooserQuestion(title), filters_(std::move(filters)), answer_(std::move(answer)) {}

    [[nodiscard]] const QStringList& filters() const { return filters_; }
    [[nodiscard]] QString panel() const override { return QStringLiteral("FilesPanel.qml"); }
    [[nodiscard]] QString description() const override { return tr("The chooser of files"); }
    [[nodiscard]] ChooserRequest request() const override;
    void choose(const std::vector<FileURL>& files, bool knows) override;
    Q_INVOKABLE void answer(const QList<QUrl>& files);

private:
    void decline() override { answer_({}); }

    QStringList filters_;
    Answer answer_;
};

/// Under which name, and where, is a file to be written?
class DestinationQuestion final : public ChooserQuestion {
    Q_OBJECT
    /// The proposed name, with its extension.
    Q_PROPERTY(QString initial READ initial CONSTANT)
    Q_PROPERTY(QStringList filters READ filters CONSTANT)
    /// The extension of a name that is typed without one; has no dot.
    Q_PROPERTY(QString suffix READ suffix CONSTANT)

public:
    struct Destination {
        FileURL file;
        /// Whether the person was asked already whether it may be replaced.
        bool knows = false;
    };
    using Answer = std::function<void(std::optional<Destination>)>;

    DestinationQuestion(const std::string& title, const std::string& initial, QStringList filters, QString suffix,
                        Answer answer)
        : ChooserQuestion(title),
          initial_(QString::fromStdString(initial)),
          filters_(std::move(filters)),
          suffix_(std::move(suffix)),
          answer_(std::move(answer)) {}

    [[nodiscard]] const QString& initial() const { return initial_; }
    [[nodiscard]] const QStringList& filters() const { return filters_; }
    [[nodiscard]] QString suffix() const override { return suffix_; }
    [[nodiscard]] QString panel() const override { return QStringLiteral("DestinationPanel.qml"); }
    [[nodiscard]] QString description() const override { return tr("The chooser of a place for the file"); }
    [[nodiscard]] ChooserRequest request() const override;
    void choose(const std::vector<FileURL>& files, bool knows) override;
    Q_INVOKABLE void answer(const QUrl& file);

private:
    void decline() override { answer_(std::nullopt); }

    QString initial_;
    QStringList filters_;
    QString suffix_;
    Answer answer_;
};

/// The two buttons of a question that the window itself draws.
struct PanelButtons {
    QString accept;
    QString reject;
};

/// Which name?
class NameQuestion final : public PanelQuestion {
    Q_OBJECT
    Q_PROPERTY(QString initial READ initial CONSTANT)
    Q_PROPERTY(QString accept READ accept CONSTANT)
    Q_PROPERTY(QString reject READ reject CONSTANT)

public:
    using Answer = std::function<void(std::optional<std::string>)>;

    NameQuestion(const std::string& title, const std::string& initial, PanelButtons buttons, Answer answer)
        : PanelQuestion(title),
          initial_(QString::fromStdString(initial)),
          buttons_(std::move(buttons)),
          answer_(std::move(answer)) {}

    [[nodiscard]] const QString& initial() const { return initial_; }
    [[nodiscard]] const QString& accept() const { return buttons_.accept; }
    [[nodiscard]] const QString& reject() const { return buttons_.reject; }
    [[nodiscard]] QString panel() const override { return QStringLiteral("NamePanel.qml"); }
    [[nodiscard]] QString description() const override { return tr("The question for a name"); }
    Q_INVOKABLE void answer(const QString& name);

private:
    void decline() override { answer_(std::nullopt); }

    QString initial_;
    PanelButtons buttons_;
    Answer answer_;
};

/// Yes or no?
class ConfirmQuestion final : public PanelQuestion {
    Q_OBJECT
    /// What follows from the answer.
    Q_PROPERTY(QString text READ text CONSTANT)
    Q_PROPERTY(QString accept READ accept CONSTANT)
    Q_PROPERTY(QString reject READ reject CONSTANT)

public:
    using Answer = std::function<void(bool)>;

    ConfirmQuestion(const std::string& title, const std::string& text, PanelButtons buttons, Answer answer)
        : PanelQuestion(title),
          text_(QString::fromStdString(text)),
          buttons_(std::move(buttons)),
          answer_(std::move(answer)) {}

    [[nodiscard]] const QString& text() const { return text_; }
    [[nodiscard]] const QString& accept() const { return buttons_.accept; }
    [[nodiscard]] const QString& reject() const { return buttons_.reject; }
    [[nodiscard]] QString panel() const override { return QStringLiteral("ConfirmPanel.qml"); }
    [[nodiscard]] QString description() const override { return tr("The question “%1”").arg(title()); }
    /// Answers yes.
    Q_INVOKABLE void confirm();

private:
    void decline() override { answer_(false); }

    QString text_;
    PanelButtons buttons_;
    Answer answer_;
};

}  // namespace kelvane
