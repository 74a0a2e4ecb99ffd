#pragma once

#include <QColor>
#include <QFont>
#include <QObject>
#include <vector>

#include "Views/Timeline/TimelineMetrics.h"

namespace kelvane {

/// A colour written as 0xRRGGBB.
constexpr QColor themeColor(unsigned int value, double opacity = 1) {
    return {static_cast<int>(value >> 16 & 0xff), static_cast<int>(value >> 8 & 0xff), static_cast<int>(value & 0xff),
            static_cast<int>(255 * opacity + 0.5)};
}

/// How the desktop wants windows to be.
struct Appearance {
    bool moreContrast = false;
    bool reducedMotion = false;
    bool operator==(const Appearance&) const = default;
};

/// The one home of the window's colours, type, sizes and times, for what is painted and, as the singleton "Theme", for
/// what is laid out. Colours are named by what they stand for; lengths are points, times milliseconds. Constant, and
/// for any thread, but for what follows the desktop's wish for more contrast or less motion: that is the main thread's.
class Theme final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QColor stage MEMBER stage CONSTANT)
    Q_PROPERTY(QColor track MEMBER track CONSTANT)
    Q_PROPERTY(QColor window MEMBER window CONSTANT)
    Q_PROPERTY(QColor panel MEMBER panel CONSTANT)
    Q_PROPERTY(QColor raised MEMBER raised CONSTANT)
    Q_PROPERTY(QColor control MEMBER control CONSTANT)
    Q_PROPERTY(QColor controlHover MEMBER controlHover CONSTANT)
    Q_PROPERTY(QColor controlPressed MEMBER controlPressed CONSTANT)
    Q_PROPERTY(QColor segmentOn MEMBER segmentOn CONSTANT)
    Q_PROPERTY(QColor dangerFill MEMBER dangerFill CONSTANT)
    Q_PROPERTY(QColor dangerHover MEMBER dangerHover CONSTANT)
    Q_PROPERTY(QColor dangerPressed MEMBER dangerPressed CONSTANT)
    Q_PROPERTY(QColor tip MEMBER tip CONSTANT)
    Q_PROPERTY(QColor tipButton MEMBER tipButton CONSTANT)
    Q_PROPERTY(QColor tipButtonHover MEMBER tipButtonHover CONSTANT)
    Q_PROPERTY(QColor text1 MEMBER text1 CONSTANT)
    Q_PROPERTY(QColor text2 READ presentText2 NOTIFY appearanceChanged)
    Q_PROPERTY(QColor text3 READ presentText3 NOTIFY appearanceChanged)
    Q_PROPERTY(QColor text4 MEMBER text4 CONSTANT)
    Q_PROPERTY(QColor accent MEMBER accent CONSTANT)
    Q_PROPERTY(QColor accentHover MEMBER accentHover CONSTANT)
    Q_PROPERTY(QColor accentPressed MEMBER accentPressed CONSTANT)
    Q_PROPERTY(QColor onAccent MEMBER onAccent CONSTANT)
    Q_PROPERTY(QColor danger MEMBER danger CONSTANT)
    Q_PROPERTY(QColor record MEMBER record CONSTANT)
    Q_PROPERTY(QColor snap MEMBER snap CONSTANT)
    Q_PROPERTY(QColor line READ presentLine NOTIFY appearanceChanged)
    Q_PROPERTY(QColor lineStrong READ presentLineStrong NOTIFY appearanceChanged)
    Q_PROPERTY(QColor edge MEMBER edge CONSTANT)
    Q_PROPERTY(QColor groove READ presentGroove NOTIFY appearanceChanged)
    Q_PROPERTY(QColor fill MEMBER fill CONSTANT)
    Q_PROPERTY(QColor knob MEMBER knob CONSTANT)
    Q_PROPERTY(QColor scrim MEMBER scrim CONSTANT)
    Q_PROPERTY(QColor pill MEMBER pill CONSTANT)
    Q_PROPERTY(QColor snap MEMBER snap CONSTANT)
    Q_PROPERTY(QColor audioClip MEMBER audioClip CONSTANT)
    Q_PROPERTY(QColor selectionInset MEMBER selectionInset CONSTANT)
    Q_PROPERTY(QFont smallFont READ smallFont CONSTANT)
    Q_PROPERTY(QFont captionFont READ captionFont CONSTANT)
    Q_PROPERTY(QFont captionTitleFont READ captionTitleFont CONSTANT)
    Q_PROPERTY(QFont bodyFont READ bodyFont CONSTANT)
    Q_PROPERTY(QFont buttonFont READ buttonFont CONSTANT)
    Q_PROPERTY(QFont titleFont READ titleFont CONSTANT)
    Q_PROPERTY(QFont cardTitleFont READ cardTitleFont CONSTANT)
    Q_PROPERTY(QFont sheetTitleFont READ sheetTitleFont CONSTANT)
    Q_PROPERTY(QFont countdownFont READ countdownFont CONSTANT)
    Q_PROPERTY(double headerHeight MEMBER headerHeight CONSTANT)
    Q_PROPERTY(double toolbarHeight MEMBER toolbarHeight CONSTANT)
    Q_PROPERTY(double inspectorWidth MEMBER inspectorWidth CONSTANT)
    Q_PROPERTY(double rulerHeight MEMBER rulerHeight CONSTANT)
    Q_PROPERTY(double clipRadius MEMBER clipRadius CONSTANT)
    Q_PROPERTY(double controlRadius MEMBER controlRadius CONSTANT)
    Q_PROPERTY(double menuRadius MEMBER menuRadius CONSTANT)
    Q_PROPERTY(double previewRadius MEMBER previewRadius CONSTANT)
    Q_PROPERTY(double sheetRadius MEMBER sheetRadius CONSTANT)
    Q_PROPERTY(double sheetRise MEMBER sheetRise CONSTANT)
    Q_PROPERTY(int sheetIn MEMBER sheetIn CONSTANT)
    Q_PROPERTY(int sheetOut MEMBER sheetOut CONSTANT)
    Q_PROPERTY(int reducedFade MEMBER reducedFade CONSTANT)
    Q_PROPERTY(double focusRing MEMBER focusRing CONSTANT)
    Q_PROPERTY(int fillIn READ presentFillIn NOTIFY appearanceChanged)
    Q_PROPERTY(int fillOut READ presentFillOut NOTIFY appearanceChanged)
    Q_PROPERTY(int tipFade MEMBER tipFade CONSTANT)
    Q_PROPERTY(int toastIn MEMBER toastIn CONSTANT)
    Q_PROPERTY(int toastOut MEMBER toastOut CONSTANT)
    Q_PROPERTY(double toastRise READ presentToastRise NOTIFY appearanceChanged)
    Q_PROPERTY(bool reducedMotion READ reducedMotion NOTIFY appearanceChanged)
    Q_PROPERTY(double busyOpacity MEMBER busyOpacity CONSTANT)

public:
    /// Around the preview.
    static constexpr QColor stage = themeColor(0x0d0e10);
    /// The timeline's viewport.
    static constexpr QColor track = themeColor(0x121316);
    /// The projects home, and fields of text.
    static constexpr QColor window = themeColor(0x141518);
    static constexpr QColor panel = themeColor(0x1a1c1f);
    /// Sheets, menus, and cards that are hovered.
    static constexpr QColor raised = themeColor(0x222529);
    static constexpr QColor control = themeColor(0x2b2e33);
    static constexpr QColor controlHover = themeColor(0x353940);
    static constexpr QColor controlPressed = themeColor(0x24272b);
    /// The chosen one of a few that stand side by side.
    static constexpr QColor segmentOn = themeColor(0x3b4048);
    /// A button for what can't be taken back, under white text.
    static constexpr QColor dangerFill = themeColor(0xc93a36);
    static constexpr QColor dangerHover = themeColor(0xd2413c);
    static constexpr QColor dangerPressed = themeColor(0xae2f2b);
    static constexpr QColor tip = themeColor(0x33373d);
    static constexpr QColor tipButton = themeColor(0x444950);
    static constexpr QColor tipButtonHover = themeColor(0x4f555d);
    /// Titles, labels, and icons that act.
    static constexpr QColor text1 = themeColor(0xecedef);
    /// Values and captions. With more contrast another one, as the following that aren't constant.
    static inline QColor text2 = themeColor(0xa9aeb6);
    /// Counts, dates, placeholders; never on `control`.
    static inline QColor text3 = themeColor(0x8a9099);
    /// What is disabled.
    static constexpr QColor text4 = themeColor(0x5d626a);
    /// The main action, selection, focus, landing places, and sound.
    static constexpr QColor accent = themeColor(0x4ecdb8);
    static constexpr QColor accentHover = themeColor(0x68dbc8);
    static constexpr QColor accentPressed = themeColor(0x3bb5a1);
    static constexpr QColor onAccent = themeColor(0x06211d);
    static constexpr QColor danger = themeColor(0xff7a73);
    /// What is being recorded.
    static constexpr QColor record = themeColor(0xff5a52);
    /// The line of a snap, and warnings.
    static constexpr QColor snap = themeColor(0xffc857);
    /// The playhead, grips, and the capsule of a volume.
    static constexpr QColor playhead = themeColor(0xf4f5f6);
    static constexpr QColor playheadRim = themeColor(0x000000, 0.45);
    /// Body of a sound clip, and its name.
    static constexpr QColor audioClip = themeColor(0x1c3431);
    static constexpr QColor audioName = themeColor(0xd6efea);
    static constexpr QColor lane = themeColor(0xffffff, 0.028);
    static constexpr QColor ruler = themeColor(0xffffff, 0.05);
    static constexpr QColor tick = themeColor(0xffffff, 0.18);
    static inline QColor line = themeColor(0xffffff, 0.08);
    static inline QColor lineStrong = themeColor(0xffffff, 0.16);
    /// Rim of every picture, inside it.
    static constexpr QColor edge = themeColor(0xffffff, 0.1);
    /// Inside the ring of a selection.
    static constexpr QColor selectionInset = themeColor(0x000000, 0.52);
    static inline QColor groove = themeColor(0x3a3e45);
    static constexpr QColor fill = themeColor(0xb9bec6);
    static constexpr QColor knob = themeColor(0xf1f2f4);
    static constexpr QColor scrim = themeColor(0x060708, 0.56);
    /// Under words on pictures.
    static constexpr QColor pill = themeColor(0x0a0b0c, 0.78);
    /// Under the length of a clip.
    static constexpr QColor badge = themeColor(0x0a0b0c, 0.86);
    /// Over a clip that an assistant has changed, and its rim.
    static constexpr QColor highlight = themeColor(0xffffff, 0.18);
    static constexpr QColor highlightRim = themeColor(0xffffff, 0.8);

    static constexpr double ghostOpacity = 0.35;
    static constexpr double volumeShade = 0.45;
    static constexpr double volumeLine = 0.65;
    static constexpr double mutedVolumeLine = 0.35;
    /// A sound's shape on a lane, and by itself over its background.
    static constexpr double laneSoundFill = 0.4;
    static constexpr double laneSoundLine = 0.65;
    static constexpr double soundFill = 0.65;
    static constexpr double soundBackground = 0.18;
    /// The timeline while it can't be edited.
    static constexpr double busyOpacity = 0.5;

    static constexpr double headerHeight = 44;
    static constexpr double toolbarHeight = 40;
    static constexpr double inspectorWidth = 256;
    static constexpr double rulerHeight = TimelineMetrics::rulerHeight;
    static constexpr double clipRadius = 6;
    static constexpr double controlRadius = 7;
    static constexpr double menuRadius = 9;
    static constexpr double previewRadius = 10;
    static constexpr double sheetRadius = 12;
    /// How far a sheet rises as it fades in, and how long it fades in, out, and where motion is reduced.
    static constexpr double sheetRise = 8;
    static constexpr int sheetIn = 180;
    static constexpr int sheetOut = 120;
    static constexpr int reducedFade = 100;
    /// Width of the ring of the keyboard's focus, and of its gap.
    static constexpr double focusRing = 2;

    static constexpr int fillIn = 80;
    static constexpr int fillOut = 120;
    static constexpr int tipFade = 100;
    static constexpr int toastIn = 200;
    static constexpr int toastOut = 160;
    static constexpr double toastRise = 8;
    static constexpr int thumbnailFade = 120;

    explicit Theme(QObject* parent = nullptr);
    ~Theme() override;

    /// Lets all that is shown follow; the usual appearance until it is called.
    static void setAppearance(Appearance appearance);
    [[nodiscard]] static const Appearance& appearance() { return appearance_; }
    [[nodiscard]] static bool reducedMotion() { return appearance_.reducedMotion; }

    static QFont font(int pixels, QFont::Weight weight = QFont::Normal);
    /// Finds and opens the fonts of the home, which takes its time.
    static void readyFonts();
    static QFont rulerFont() { return font(10); }
    static QFont smallFont() { return font(11); }
    static QFont smallMediumFont() { return font(11, QFont::Medium); }
    static QFont smallTitleFont() { return font(11, QFont::DemiBold); }
    static QFont captionFont() { return font(12); }
    static QFont captionTitleFont() { return font(12, QFont::DemiBold); }
    static QFont bodyFont() { return font(13); }
    static QFont buttonFont() { return font(13, QFont::Medium); }
    static QFont titleFont() { return font(13, QFont::DemiBold); }
    static QFont cardTitleFont() { return font(15, QFont::DemiBold); }
    static QFont sheetTitleFont() { return font(17, QFont::DemiBold); }
    static QFont countdownFont() { return font(56, QFont::DemiBold); }

    // What QML reads of what isn't constant.
    [[nodiscard]] static QColor presentText2() { return text2; }
    [[nodiscard]] static QColor presentText3() { return text3; }
    [[nodiscard]] static QColor presentLine() { return line; }
    [[nodiscard]] static QColor presentLineStrong() { return lineStrong; }
    [[nodiscard]] static QColor presentGroove() { return groove; }
    /// At once where motion is reduced.
    [[nodiscard]] static int presentFillIn() { return reducedMotion() ? 0 : fillIn; }
    [[nodiscard]] static int presentFillOut() { return reducedMotion() ? 0 : fillOut; }
    [[nodiscard]] static double presentToastRise() { return reducedMotion() ? 0 : toastRise; }

Q_SIGNALS:
    void appearanceChanged();

private:
    static inline Appearance appearance_;
    /// Those that tell of a change.
    static inline std::vector<Theme*> themes_;
};

}  // namespace kelvane
