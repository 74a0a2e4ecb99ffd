#pragma once

#include <QDateTime>
#include <QString>
#include <optional>
#include <string>

#include "Support/Error.h"
#include "Support/FileURL.h"

/// The desktop's list of files that were used lately, which its choosers and file managers show: one document of the
/// Desktop Bookmark standard for each user. All applications write it, so that what isn't ours stays as it stands.
namespace kelvane::RecentFiles {

/// "recently-used.xbel" in XDG_DATA_HOME, or in its default.
std::string listPath();

/// The text of a list in which `file` was used by this program at `now` (UTC). An empty text is an empty list. Nothing
/// where the text is no such list. Pure.
std::optional<QString> noted(const QString& list, const FileURL& file, const QDateTime& now);

/// Enters `file` into the list at `path`, which is made where it isn't there, for the user's eyes alone. The list is
/// locked meanwhile, as KDE's programs do it ("….lock" beside it), and replaced whole, as GTK's do. Fails in words
/// where the list can't be read, locked or written, or isn't one: it is left alone then. Blocks; any thread.
Result<void> note(const FileURL& file, const std::string& path, const QDateTime& now);

}  // namespace kelvane::RecentFiles
