#pragma once

#include <QString>
#include <QUrl>

namespace kelvane {

/// The picture of an application's icon, of 48 pixels or more: `icon` is a path, or a name that is looked for in the
/// data folders' theme "hicolor", which every application installs its icon in, and in "pixmaps". Empty where there is
/// none. Looks at the disk; any thread.
QUrl applicationIcon(const QString& icon);

}  // namespace kelvane
