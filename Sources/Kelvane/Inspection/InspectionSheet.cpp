#include "InspectionSheet.h"

#include <algorithm>
#include <utility>

#include "InspectionFile.h"
#include "Support/AtomicFile.h"
#include "Support/UUID.h"

namespace kelvane::CLIMediaInspection {

namespace {

// All in pixels.
constexpr int sheetWidth = 1280;
constexpr int columns = 4;
constexpr int cellWidth = 320;
constexpr int cellHeight = 276;
constexpr int headerHeight = 58;
constexpr double boxWidth = 300;
constexpr double boxHeight = 216;
/// The box's lower edge above the cell's.
constexpr double boxBottom = 48;

constexpr CanvasColor background = CanvasColor::gray(0.08);
constexpr CanvasColor textColor = CanvasColor::gray(1);

constexpr std::size_t titleCharacters = 130;
constexpr std::size_t subtitleCharacters = 160;
constexpr double headerX = 12;
/// Baselines below the sheet's top edge.
constexpr double titleBaseline = 24;
constexpr double subtitleBaseline = 46;
constexpr int titleSize = 17;
constexpr int subtitleSize = 13;

constexpr double cellTextX = 10;
/// Baselines above the cell's lower edge.
constexpr double labelBaseline = 27;
constexpr double detailBaseline = 9;
constexpr int labelSize = 13;
constexpr int detailSize = 12;

}  // namespace

Result<Sheet> Sheet::make(std::string_view title, std::string_view subtitle, int count) {
    if (count < 1 || count > maximumSheetFrames) return fail("A contact sheet needs 1–24 frames.");
    const int rows = (count + columns - 1) / columns;
    auto canvas = BitmapCanvas::make(sheetWidth, headerHeight + rows * cellHeight);
    if (!canvas) return fail("Could not create a contact sheet.");
    canvas->fill(background);
    canvas->drawText(firstCharacters(title, titleCharacters), headerX, canvas->height() - titleBaseline, titleSize,
                     textColor);
    canvas->drawText(firstCharacters(subtitle, subtitleCharacters), headerX, canvas->height() - subtitleBaseline,
                     subtitleSize, textColor);
    return Sheet(*std::move(canvas));
}

void Sheet::add(const StillImage& image, int slot, std::string_view label, std::string_view detail) {
    const int row = slot / columns;
    const double left = slot % columns * cellWidth;
    const double bottom = height() - headerHeight - (row + 1) * cellHeight;
    const double scale = std::min(boxWidth / image.width, boxHeight / image.height);
    const double width = image.width * scale;
    const double tall = image.height * scale;
    canvas_.drawImage(image,
                      {left + (cellWidth - width) * 0.5, bottom + boxBottom + (boxHeight - tall) * 0.5, width, tall});
    canvas_.drawText(label, left + cellTextX, bottom + labelBaseline, labelSize, textColor);
    canvas_.drawText(detail, left + cellTextX, bottom + detailBaseline, detailSize, textColor);
}

Result<std::string> Sheet::save(const FileURL& folder, std::string_view prefix) const {
    if (auto made = makeFolders(folder.path()); !made) return fail(made.error());
    const std::string path = folder.appending(std::string(prefix) + "-" + UUID::random().upper() + ".jpg").path();
    if (auto written = writeInspectionImage(path, canvas_.image()); !written) return fail(written.error());
    return path;
}

}  // namespace kelvane::CLIMediaInspection
