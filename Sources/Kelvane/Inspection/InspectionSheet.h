#pragma once

#include <string>
#include <string_view>

#include "Media/StillImage.h"
#include "Platform/BitmapCanvas.h"
#include "Support/Error.h"
#include "Support/FileURL.h"

namespace kelvane::CLIMediaInspection {

/// Most frames on one sheet.
inline constexpr int maximumSheetFrames = 24;

/// A sheet of stills: four cells a row, each still centred in a box of 300 × 216 pixels above two lines of text, below
/// a header of a title and a subtitle. One owner at a time, on any thread; a QGuiApplication must exist.
class Sheet {
public:
    /// An empty sheet with room for `count` frames. Title and subtitle are cut to 130 and 160 characters. Fails with
    /// "A contact sheet needs 1–24 frames." and, without memory, with "Could not create a contact sheet."
    static Result<Sheet> make(std::string_view title, std::string_view subtitle, int count);

    /// Height of the canvas in pixels; its width is 1280.
    [[nodiscard]] int height() const { return canvas_.height(); }
    [[nodiscard]] const BitmapCanvas& canvas() const { return canvas_; }

    /// Draws a still into the cell at `slot`, which counts from 0 in rows from the top left, as large as its box
    /// allows, with `label` and, below it, `detail`. Text may run on into the next cell.
    void add(const StillImage& image, int slot, std::string_view label, std::string_view detail);

    /// Writes the sheet into `folder`, which is made where it doesn't exist, as the JPEG `prefix`-UUID.jpg, and gives
    /// its absolute path. Fails with the words of the folder's making, "Could not write an inspection image." or "Could
    /// not finish an inspection image."; then no file is left.
    Result<std::string> save(const FileURL& folder, std::string_view prefix) const;

private:
    explicit Sheet(BitmapCanvas canvas) : canvas_(std::move(canvas)) {}
    BitmapCanvas canvas_;
};

}  // namespace kelvane::CLIMediaInspection
