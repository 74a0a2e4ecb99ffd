#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>

#include "FakeMediaJournal.h"

namespace kelvane::testing {

namespace {

/// Appends to `file`, or makes it when `fresh`; an existing fresh file is refused. Failures call it `name`.
Result<void> append(const FileURL& file, const std::string& name, std::string_view data, bool fresh) {
    const std::string path = file.path();
    const std::string what = fmt::format("“{}” could not be written", name);
    const int descriptor = ::open(path.c_str(), fresh ? O_WRONLY | O_CREAT | O_EXCL : O_WRONLY | O_APPEND, 0644);
    if (descriptor < 0) return fail(Error::posix(what, errno));
    const bool written = ::write(descriptor, data.data(), data.size()) == static_cast<ssize_t>(data.size());
    const int number = errno;
    ::close(descriptor);
    if (!written) return fail(Error::posix(what, number));
    return {};
}

class FakeExportSession final : public ExportSession {
public:
    FakeExportSession(FakeMediaPlatform& platform, std::shared_ptr<FakeMediaPlatform::Journal> journal,
                      std::shared_ptr<FakeMediaPlatform::ExportState> state,
                      std::shared_ptr<std::atomic<float>> progress)
        : platform_(platform),
          journal_(std::move(journal)),
          state_(std::move(state)),
          script_(platform.exports),
          progress_(std::move(progress)) {}

    [[nodiscard]] std::vector<ExportContainer> supportedFileTypes() const override {
        return script_.supportedFileTypes;
    }

    Result<void> exportTo(const FileURL& file, ExportContainer container, std::stop_token stop) override {
        const Result<void> recorded =
            journal_->record([&] { return fmt::format("exportTo {} {}", file.fileName(), rawValue(container)); });
        keepSettings();
        state_->change([&](FakeExportRecord& record) {
            record.file = file;
            record.container = container;
        });
        Result<void> ended = recorded ? write(file, stop) : recorded;
        state_->change([&](FakeExportRecord& record) {
            record.finished = ended.has_value();
            record.cancelled = !ended && ended.error().isCancelled();
        });
        finished_ = ended.has_value();
        return ended;
    }

    Result<std::int64_t> estimateOutputFileLength(std::stop_token stop) override {
        const Result<void> recorded = journal_->record([&] {
            return fmt::format("estimateOutputFileLength {} {}",
                               outputFileType ? rawValue(*outputFileType) : std::string_view("untyped"),
                               timeRange ? FakeMediaPlatform::describe(*timeRange) : "whole");
        });
        keepSettings();
        if (!recorded) return fail(recorded.error());
        if (const Result<void> passed = platform_.estimateGate.pass(stop); !passed) return fail(passed.error());
        return script_.estimate;
    }

    [[nodiscard]] float progress() const override { return finished_ ? 1 : progress_->load(); }

    void cancelExport() override {
        (void)journal_->record([] { return std::string("cancelExport"); });
        state_->cancel.request_stop();
    }

private:
    Result<void> write(const FileURL& file, const std::stop_token& stop) {
        std::stop_source cancel = state_->cancel;
        const std::stop_callback forward(stop, [&cancel] { cancel.request_stop(); });
        if (cancel.stop_requested()) return fail(Error::cancelled());
        const std::string_view contents = script_.contents;
        const std::size_t half = contents.size() / 2;
        const std::string name = shownName.empty() ? file.fileName() : shownName;
        if (Result<void> begun = append(file, name, contents.substr(0, half), true); !begun) return begun;
        if (Result<void> passed = platform_.exportGate.pass(cancel.get_token()); !passed) return passed;
        if (cancel.stop_requested()) return fail(Error::cancelled());
        if (script_.failure) return fail(*script_.failure);
        if (Result<void> ended = append(file, name, contents.substr(half), false); !ended) return ended;
        if (script_.onFileWritten) script_.onFileWritten(file);
        return {};
    }

    void keepSettings() {
        state_->change([this](FakeExportRecord& record) {
            record.videoComposition = videoComposition;
            record.audioMix = audioMix;
            record.indexAtHead = indexAtHead;
            record.outputFileType = outputFileType;
            record.timeRange = timeRange;
        });
    }

    FakeMediaPlatform& platform_;
    std::shared_ptr<FakeMediaPlatform::Journal> journal_;
    std::shared_ptr<FakeMediaPlatform::ExportState> state_;
    FakeExports script_;
    std::shared_ptr<std::atomic<float>> progress_;
    std::atomic<bool> finished_ = false;
};

}  // namespace

std::unique_ptr<ExportSession> makeFakeExportSession(FakeMediaPlatform& platform,
                                                     std::shared_ptr<FakeMediaPlatform::Journal> journal,
                                                     std::shared_ptr<FakeMediaPlatform::ExportState> state,
                                                     std::shared_ptr<std::atomic<float>> progress) {
    return std::make_unique<FakeExportSession>(platform, std::move(journal), std::move(state), std::move(progress));
}

}  // namespace kelvane::testing
