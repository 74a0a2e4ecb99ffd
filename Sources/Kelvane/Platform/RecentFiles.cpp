#include "RecentFiles.h"

#include <QFileInfo>
#include <QLockFile>
#include <QXmlStreamReader>
#include <cstdlib>

#include "DesktopEntries.h"
#include "Support/AtomicFile.h"
#include "Support/Text.h"

namespace kelvane::RecentFiles {

namespace {

const QString bookmarks = QStringLiteral("http://www.freedesktop.org/standards/desktop-bookmarks");
const QString owner = QStringLiteral("http://freedesktop.org");
const QString program = QStringLiteral("Kelvane");
/// Far above any list: GTK keeps a month of files.
constexpr std::size_t listLimit = std::size_t{16} << 20;
/// How long another program may have the list, milliseconds.
constexpr int lockPatience = 5000;

/// A stretch of the list's text, from its first character to behind its last.
struct Range {
    qsizetype begin = -1;
    qsizetype end = -1;
    [[nodiscard]] bool isThere() const { return end >= 0; }
};

/// Where what concerns one file stands in a list.
struct Places {
    /// Behind the last bookmark.
    qsizetype close = -1;
    Range bookmark;
    /// The start tag of the bookmark.
    Range tag;
    QString added;
    /// The list of applications of the standard's owner, without its tags.
    Range applications;
    Range mine;
    int count = 0;
};

QString escaped(const QString& text) { return text.toHtmlEscaped().replace('\'', QStringLiteral("&apos;")); }

QString text(const QDateTime& time) { return time.toUTC().toString(Qt::ISODateWithMs); }

/// The first character of the tag that ends at `end`.
qsizetype tagBegin(const QString& list, qsizetype end) { return list.lastIndexOf('<', end - 1); }

/// Walks through one list.
class ListReader {
public:
    ListReader(const QString& list, QString href) : list_(list), href_(std::move(href)), reader_(list) {}

    std::optional<Places> read() {
        while (!reader_.atEnd()) {
            reader_.readNext();
            if (reader_.isStartElement() && !enter()) return std::nullopt;
            if (reader_.isEndElement()) leave();
        }
        return reader_.hasError() || places_.close < 0 ? std::nullopt : std::optional(places_);
    }

private:
    bool enter() {
        const auto name = reader_.name();
        const auto attributes = reader_.attributes();
        const qsizetype end = reader_.characterOffset();
        if (++depth_ == 1) return name == u"xbel";
        if (depth_ == 2 && name == u"bookmark" && attributes.value("href") == href_ && !places_.tag.isThere()) {
            inside_ = true;
            places_.tag = {tagBegin(list_, end), end};
            places_.added = attributes.value("added").toString();
        }
        if (!inside_ || reader_.namespaceUri() != bookmarks) return true;
        if (name == u"applications" && !places_.applications.isThere()) places_.applications.begin = end;
        if (name == u"application" && attributes.value("name") == program && places_.mine.begin < 0) {
            places_.mine.begin = tagBegin(list_, end);
            places_.count = attributes.value("count").toInt();
            inMine_ = true;
        }
        return true;
    }
    void leave() {
        const qsizetype end = reader_.characterOffset();
        if (--depth_ == 0) places_.close = tagBegin(list_, end);
        if (!inside_) return;
        if (depth_ == 1) {
            inside_ = false;
            places_.bookmark = {places_.tag.begin, end};
        }
        if (reader_.namespaceUri() != bookmarks) return;
        // An empty element has one tag for both.
        if (reader_.name() == u"applications" && places_.applications.begin >= 0 && !places_.applications.isThere())
            places_.applications.end = std::max(places_.applications.begin, tagBegin(list_, end));
        if (reader_.name() == u"application" && std::exchange(inMine_, false)) places_.mine.end = end;
    }

    const QString& list_;
    QString href_;
    QXmlStreamReader reader_;
    Places places_;
    int depth_ = 0;
    bool inside_ = false;
    bool inMine_ = false;
};

QString mimeType(const FileURL& file) {
    const std::string extension = lowered(file.extension());
    if (extension == "kelvane") return QStringLiteral("application/x-kelvane-project");
    if (extension == "mp4") return QStringLiteral("video/mp4");
    return extension == "mov" ? QStringLiteral("video/quicktime") : QStringLiteral("application/octet-stream");
}

QString application(const QString& now, int count) {
    return QStringLiteral(
               "<bookmark:application name=\"%1\" exec=\"&apos;kelvane %u&apos;\" modified=\"%2\" count=\"%3\"/>")
        .arg(program, now)
        .arg(count);
}

QString tag(const QString& href, const QString& added, const QString& now) {
    return QStringLiteral("<bookmark href=\"%1\" added=\"%2\" modified=\"%3\" visited=\"%3\">")
        .arg(escaped(href), escaped(added), now);
}

QString bookmark(const FileURL& file, const QString& href, const QString& added, const QString& now) {
    return tag(href, added, now) +
           QStringLiteral(
               "\n    <info>\n      <metadata owner=\"%1\">\n        <mime:mime-type type=\"%2\"/>\n"
               "        <bookmark:applications>\n          %3\n        </bookmark:applications>\n"
               "      </metadata>\n    </info>\n  </bookmark>")
               .arg(owner, mimeType(file), application(now, 1));
}

const QString emptyList = QStringLiteral(
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<xbel version=\"1.0\"\n"
    "      xmlns:bookmark=\"http://www.freedesktop.org/standards/desktop-bookmarks\"\n"
    "      xmlns:mime=\"http://www.freedesktop.org/standards/shared-mime-info\"\n>\n</xbel>\n");

QString replaced(const QString& list, const Range& range, const QString& text) {
    return list.left(range.begin) + text + list.mid(range.end);
}

}  // namespace

std::string listPath() { return DesktopFolders::ofProcess().data.front() + "/recently-used.xbel"; }

std::optional<QString> noted(const QString& list, const FileURL& file, const QDateTime& now) {
    const QString href = QString::fromStdString(file.absoluteString());
    auto found = list.isEmpty() ? std::nullopt : ListReader(list, href).read();
    if (!found && !list.isEmpty()) return std::nullopt;
    // One of a single tag has no room.
    const bool hasRoom = found && list.mid(found->close, 2) == u"</";
    const QString& base = hasRoom ? list : emptyList;
    if (!hasRoom) found = ListReader(base, href).read();
    const Places& places = *found;
    const QString time = text(now);
    if (!places.bookmark.isThere()) {
        const QString entry = QStringLiteral("  ") + bookmark(file, href, time, time) + '\n';
        return replaced(base, {places.close, places.close}, entry);
    }
    // From the end to the beginning, so that places stay what they are.
    QString result = base;
    if (!places.applications.isThere() || places.applications.begin == places.applications.end)
        return replaced(base, places.bookmark, bookmark(file, href, places.added, time));
    const QString mine = application(time, places.count + 1);
    if (places.mine.isThere())
        result = replaced(result, places.mine, mine);
    else
        result = replaced(result, {places.applications.end, places.applications.end},
                          QStringLiteral("  ") + mine + QStringLiteral("\n        "));
    return replaced(result, places.tag, tag(href, places.added, time));
}

Result<void> note(const FileURL& file, const std::string& path, const QDateTime& now) {
    const std::string what = quotedFileName(path) + " could not be brought up to date";
    if (const auto made = makeFolders(FileURL::fromPath(path).parentFolder().path()); !made) return made;
    QLockFile lock(QString::fromStdString(path) + QStringLiteral(".lock"));
    // Whoever has it that long is gone.
    lock.setStaleLockTime(lockPatience * 2);
    if (!lock.tryLock(lockPatience)) return fail(what + ": another program has it.");
    Result<std::string> present = readFile(path, listLimit);
    if (!present && fileExists(path)) return fail(present.error());
    const auto text = noted(QString::fromStdString(present.value_or(std::string())), file, now);
    if (!text) return fail(what + ": it isn't a list of bookmarks.");
    return writeFileAtomically(path, text->toStdString(), 0600, Durability::unsynced);
}

}  // namespace kelvane::RecentFiles
