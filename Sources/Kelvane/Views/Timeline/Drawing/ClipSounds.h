#pragma once

#include <QImage>
#include <functional>
#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

#include "Inspection/AudioWaveformCache.h"
#include "Timeline/Clip.h"
#include "TimelineDrawing.h"
#include "Views/Waveform/WaveformOutline.h"

namespace kelvane {

/// The bodies of sound clips, with the shape of their sound: drawn in pieces of 256 points that are kept while they are
/// in sight. The peaks of a file are asked for when a clip of it comes into sight first, and kept while one is; a file
/// that can't be read is drawn without a shape. The main thread.
class ClipSounds {
public:
    /// `changed` is called when peaks have come.
    explicit ClipSounds(std::function<void()> changed);

    /// Begins a drawing. Without a cache no peaks are there but live ones.
    void begin(AudioWaveformCache* cache, double ratio);
    /// Fills `frame`, the clip's place in the viewport, as far as `seen` reaches. `live` are the peaks of a clip that
    /// is being recorded, else null.
    void paint(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const QRectF& seen,
               const std::vector<float>* live);
    /// Ends the drawing and forgets what wasn't in sight.
    void end();

private:
    using Values = std::shared_ptr<const std::vector<float>>;
    struct File {
        /// None while they are read, and where they can't be.
        Values values;
        unsigned int drawing = 0;
    };
    struct Shape {
        Clip clip;
        double width = 0;
        Values values;
        /// Of the live peaks, which only grow.
        std::size_t liveCount = 0;
        WaveformOutline outline;
        std::map<int, QImage> pieces;
        unsigned int drawing = 0;
    };
    /// Survives this object, for answers that come late.
    struct State {
        std::function<void()> changed;
        std::unordered_map<FileURL, File> files;
    };

    const Values& peaks(const FileURL& url);
    static QCoro::Task<void> take(std::weak_ptr<State> state, AudioWaveformCache* cache, FileURL url);
    Shape& shape(const Clip& clip, double width, const std::vector<float>* live);
    [[nodiscard]] QImage piece(const Shape& shape, int index) const;

    std::shared_ptr<State> state_;
    AudioWaveformCache* cache_ = nullptr;
    std::unordered_map<UUID, Shape> shapes_;
    double ratio_ = 1;
    unsigned int drawing_ = 0;
};

}  // namespace kelvane
