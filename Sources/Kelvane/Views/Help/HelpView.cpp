#include "HelpView.h"

#include <array>
#include <utility>

namespace kelvane {

namespace {

struct Library {
    const char* name;
    /// Its identifier in the list of SPDX.
    const char* licence;
};

/// As they come with Debian; FFmpeg is built with x264 there, whose licence is then its own.
constexpr std::array usedLibraries{
    Library{"Qt", "LGPL-3.0-only"},
    Library{"FFmpeg", "GPL-2.0-or-later"},
    Library{"x264", "GPL-2.0-or-later"},
    Library{"zimg", "WTFPL"},
    Library{"PulseAudio", "LGPL-2.1-or-later"},
    Library{"OpenSSL", "Apache-2.0"},
    Library{"QCoro", "MIT"},
    Library{"fmt", "MIT"},
    Library{"JSON for Modern C++", "MIT"},
    Library{"utf8proc", "MIT"},
    Library{"Inter", "OFL-1.1"},
};

}  // namespace

void HelpView::show(Sheet sheet) {
    if (std::exchange(shown_, sheet) != sheet) Q_EMIT changed();
}

QString HelpView::version() { return tr("Version %1").arg(QStringLiteral(KELVANE_VERSION)); }

// OpenSSL's licence goes together with no older version of the one that x264 asks for.
QString HelpView::licence() { return tr("GNU General Public License, version 3 or later"); }

QStringList HelpView::libraries() {
    QStringList names;
    for (const Library& library : usedLibraries) names << QString::fromUtf8(library.name);
    names.front() += QStringLiteral(" ") + QString::fromLatin1(qVersion());
    return names;
}

QStringList HelpView::licences() {
    QStringList identifiers;
    for (const Library& library : usedLibraries) identifiers << QString::fromUtf8(library.licence);
    return identifiers;
}

}  // namespace kelvane
