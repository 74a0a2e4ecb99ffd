#include "FFmpegTakeWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "Media/FFmpeg/Export/MovieEncoders.h"
#include "Support/AtomicFile.h"
#include "Support/FileDescriptor.h"
#include "Support/Text.h"
#include "TakeBoxes.h"

namespace kelvane {

namespace {

/// 0.49 s: with what the encoder and the way to the writer hold back, well below the second that may be lost.
constexpr std::size_t fragmentPackets = 23;
/// AAC, bits a second: what the encoder needs to leave a single voice as it was.
constexpr std::int64_t bitRate = 128'000;

bool syncData(int file) {
    while (::fdatasync(file) != 0) {
        if (errno == EINTR) continue;
        // Not every file system can; what it says of the disk itself counts.
        return errno == EINVAL || errno == ENOSYS;
    }
    return true;
}

class FFmpegTakeWriter final : public TakeWriter {
public:
    FFmpegTakeWriter(std::string path, FileDescriptor file, std::unique_ptr<SoundEncoder> encoder)
        : path_(std::move(path)), file_(std::move(file)), encoder_(std::move(encoder)) {
        const AVCodecContext& context = encoder_->context();
        track_.configuration.assign(reinterpret_cast<const char*>(context.extradata),
                                    static_cast<std::size_t>(context.extradata_size));
        track_.bitRate = context.bit_rate;
        track_.delay = context.initial_padding;
    }

    Result<void> begin() { return keep(append(TakeBoxes::head(track_))); }

    Result<void> write(std::span<const float> samples) override {
        if (failure_) return fail(*failure_);
        if (isFinished_) return fail(quotedFileName(path_) + " is finished.");
        clean_.resize(samples.size());
        // The encoder refuses what is no number, and players clip what is beyond full scale.
        std::ranges::transform(samples, clean_.begin(),
                               [](float x) { return std::isnan(x) ? 0.0F : std::clamp(x, -1.0F, 1.0F); });
        length_ += static_cast<std::int64_t>(samples.size());
        return keep(encoder_->encode(clean_, sink_));
    }

    Result<void> finish() override {
        if (failure_) return fail(*failure_);
        if (std::exchange(isFinished_, true)) return {};
        return keep(end());
    }

private:
    /// Remembers a failure for good.
    Result<void> keep(Result<void> result) {
        if (!result) failure_ = result.error();
        return result;
    }

    Result<void> takePacket(const AVPacket& packet) {
        // One whose samples all lie behind the end.
        if (isFinished_ &&
            (packets_ + static_cast<std::int64_t>(sizes_.size())) * TakeBoxes::packetLength >= track_.delay + length_)
            return {};
        pending_.append(reinterpret_cast<const char*>(packet.data), static_cast<std::size_t>(packet.size));
        sizes_.push_back(static_cast<std::uint32_t>(packet.size));
        return sizes_.size() < fragmentPackets ? Result<void>() : writeFragment(TakeBoxes::packetLength);
    }

    Result<void> writeFragment(std::int64_t lastLength) {
        const auto number = static_cast<std::uint32_t>(chunks_.size() + 1);
        std::string bytes = TakeBoxes::fragmentHead(number, packets_, sizes_, lastLength);
        const std::int64_t offset = position_ + static_cast<std::int64_t>(bytes.size());
        bytes += pending_;
        if (auto written = append(bytes); !written) return written;
        packets_ += static_cast<std::int64_t>(sizes_.size());
        chunks_.push_back({offset, std::exchange(sizes_, {})});
        pending_.clear();
        return {};
    }

    Result<void> end() {
        if (auto encoded = encoder_->finish(sink_); !encoded) return encoded;
        const std::int64_t mediaLength = track_.delay + length_;
        if (!sizes_.empty()) {
            const auto before = packets_ + static_cast<std::int64_t>(sizes_.size()) - 1;
            const auto rest = mediaLength - before * TakeBoxes::packetLength;
            if (auto written = writeFragment(std::min(rest, TakeBoxes::packetLength)); !written) return written;
        }
        const std::int64_t fragmentsEnd = position_;
        if (auto written = append(TakeBoxes::index(track_, chunks_, length_)); !written) return written;
        if (!writeAt(TakeBoxes::cover(fragmentsEnd), TakeBoxes::coverOffset) || !file_.sync())
            return fail(writeFailure(path_));
        // A take lasts as its name does.
        std::ignore = syncFolder(FileURL::fromPath(path_).parentFolder().path());
        return file_.close() ? Result<void>() : fail(writeFailure(path_));
    }

    [[nodiscard]] bool writeAt(std::string_view bytes, std::int64_t at) const {
        while (!bytes.empty()) {
            const ssize_t written = ::pwrite(file_.get(), bytes.data(), bytes.size(), at);
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) {
                if (written == 0) errno = EIO;
                return false;
            }
            bytes.remove_prefix(static_cast<std::size_t>(written));
            at += written;
        }
        return true;
    }

    /// Puts bytes behind the others and brings them to disk.
    Result<void> append(std::string_view bytes) {
        if (!writeAt(bytes, position_) || !syncData(file_.get())) {
            const Error failure = writeFailure(path_);
            std::ignore = ::ftruncate(file_.get(), position_);
            return fail(failure);
        }
        position_ += static_cast<std::int64_t>(bytes.size());
        return {};
    }

    const std::string path_;
    FileDescriptor file_;
    std::unique_ptr<SoundEncoder> encoder_;
    const PacketSink sink_ = [this](PacketPtr packet) { return takePacket(*packet); };
    TakeTrack track_;
    std::vector<float> clean_;
    /// Packets of the next fragment, one behind the other, and their sizes.
    std::string pending_;
    std::vector<std::uint32_t> sizes_;
    /// The fragments in the file, and how many packets they hold.
    std::vector<TakeChunk> chunks_;
    std::int64_t packets_ = 0;
    /// Where the file ends.
    std::int64_t position_ = 0;
    /// Samples that were written.
    std::int64_t length_ = 0;
    bool isFinished_ = false;
    std::optional<Error> failure_;
};

}  // namespace

Result<std::unique_ptr<TakeWriter>> makeFFmpegTakeWriter(const FileURL& file) {
    auto encoder = SoundEncoder::open(1, bitRate);
    if (!encoder) return fail(encoder.error());
    auto created = FileDescriptor::open(file.path(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    if (!created.isOpen()) return fail(writeFailure(file.path()));
    auto writer = std::make_unique<FFmpegTakeWriter>(file.path(), std::move(created), std::move(*encoder));
    if (auto begun = writer->begin(); !begun) return fail(begun.error());
    return writer;
}

}  // namespace kelvane
