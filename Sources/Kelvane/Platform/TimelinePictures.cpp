#include "TimelinePictures.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kelvane {

namespace {

using namespace std::chrono_literals;

/// Frames asked for ahead of the clock: a quarter of a second, in which a cut or a key frame may take its time; at most
/// 25 MB at the full size of 1080 × 1920.
constexpr std::int64_t reach = 8;
/// How long a call goes on for a moment that isn't wanted any more, as what it brings may be nearer than what is shown:
/// 25 pictures a second; after one that came to nothing, with it, 5 a second.
constexpr auto patience = 40ms;
constexpr auto greatPatience = 160ms;
/// How long a frame may take that is late already.
constexpr auto latePatience = 160ms;
/// A cut is prepared so long before it is due: longer than a decoder takes to open and to come to its first picture.
constexpr auto cutLead = 1500ms;
/// Frames that can't be had are asked for again after so much of the item, or at the next cut.
constexpr auto pauseAfterFailure = 500ms;

std::chrono::nanoseconds distance(MediaTime a, MediaTime b) {
    return std::chrono::abs(nanosecondsOf(a) - nanosecondsOf(b));
}

/// The pixels of `canvas`, fitted into `surface` and no larger than they are; none when either is empty.
Size fitted(Size canvas, Size surface) {
    if (canvas.width < 1 || canvas.height < 1 || surface.width < 1 || surface.height < 1) return {};
    const double scale = std::min({1.0, surface.width / canvas.width, surface.height / canvas.height});
    return {std::max(1.0, std::round(canvas.width * scale)), std::max(1.0, std::round(canvas.height * scale))};
}

}  // namespace

TimelinePictures::TimelinePictures(MainContext& context, MakeStream make)
    : context_(&context), make_(std::move(make)) {}

void TimelinePictures::setSurfaceSize(Size pixels) {
    surface_ = pixels;
    draw();
    announce();
}

void TimelinePictures::setItem(EditedMediaPtr item) {
    calls_ = nullptr;
    call_.reset();
    patience_.cancel();
    shown_.reset();
    wish_.reset();
    rest_.reset();
    ready_.clear();
    preparedCut_.reset();
    isPreparing_ = false;
    plays_ = false;
    cameFar_ = true;
    cost_ = Time(0);
    canvas_ = {};
    item_ = std::move(item);
    grid_ = item_ ? FrameGrid(*item_) : FrameGrid();
    if (!item_) hasChanged_ = std::exchange(picture_, nullptr) != nullptr || hasChanged_;
    draw();
}

void TimelinePictures::draw() {
    const Size canvas = item_ ? fitted(item_->video.renderSize, surface_) : Size();
    // A surface that is hidden for a while is drawn for as before.
    if (canvas == Size() || canvas == canvas_) return;
    canvas_ = canvas;
    if (calls_)
        calls_->setCanvas(canvas);
    else if (auto stream = make_ ? make_(item_, canvas) : nullptr)
        calls_ = std::make_unique<PictureCalls>(*context_, std::move(stream));
    if (plays_) return;
    ready_.clear();
    if (!rest_ || isShown(*rest_)) return;
    wish_ = rest_;
    ask();
    overtakeWhenPatienceEnds();
}

void TimelinePictures::seek(MediaTime time) {
    rest_ = time;
    wish_ = isShown(time) ? std::nullopt : std::optional(time);
    ready_.clear();
    lastFrame_ = grid_.at(nanosecondsOf(time));
    nextFrame_ = lastFrame_ + 1;
    position_ = nanosecondsOf(time);
    preparedCut_.reset();
    if (isPreparing_) calls_->stopPreparing();
    if (call_) call_->isWanted = false;
    ask();
    overtakeWhenPatienceEnds();
}

void TimelinePictures::cancelSeeks() {
    if (!std::exchange(wish_, std::nullopt) || !call_) return;
    // Who cancels one seek for the next gets what the one under way comes to, as one who only seeks.
    patience_ = context_->after(0ms, [this] {
        if (!wish_ && call_ && !call_->frame) overtake();
    });
}

void TimelinePictures::play(Time position) {
    plays_ = true;
    isHeld_ = true;
    position_ = position;
    const auto frame = grid_.at(position);
    const bool isThere = wish_ || (shown_ && shown_->isExact && grid_.at(nanosecondsOf(shown_->time)) == frame);
    lastFrame_ = isThere ? frame : frame - 1;
    nextFrame_ = lastFrame_ + 1;
    // What was asked for before a pause.
    while (!ready_.empty() && ready_.front().frame < nextFrame_) ready_.pop_front();
    if (!ready_.empty()) nextFrame_ = ready_.back().frame + 1;
    if (call_ && call_->frame && call_->isWanted) nextFrame_ = std::max(nextFrame_, *call_->frame + 1);
    ask();
    prepareNextCut();
}

void TimelinePictures::rest(Time position) {
    const auto frame = std::min(grid_.at(position), grid_.count() - 1);
    if (std::exchange(plays_, false)) statistics.dropped += std::max<std::int64_t>(0, frame - lastFrame_);
    position_ = position;
    lastFrame_ = frame;
    if (isPreparing_) calls_->stopPreparing();
    preparedCut_.reset();
    if (wish_ && grid_.at(nanosecondsOf(*wish_)) == frame) return;
    wish_.reset();
    const bool isThere = shown_ && shown_->isExact && grid_.at(nanosecondsOf(shown_->time)) == frame;
    rest_ = isThere ? shown_->time : grid_.time(frame);
    if (isThere && shown_->canvas == canvas_) return;
    wish_ = rest_;
    ask();
    overtakeWhenPatienceEnds();
}

std::optional<std::int64_t> TimelinePictures::advance(Time position, bool isHeld) {
    position_ = position;
    isHeld_ = isHeld;
    const auto due = grid_.at(position);
    while (ready_.size() > 1 && ready_[1].frame <= due) ready_.pop_front();
    std::optional<std::int64_t> shown;
    if (!ready_.empty() && ready_.front().frame <= due) {
        shown = ready_.front().frame;
        showFrame(ready_.front());
        ready_.pop_front();
    }
    overtakeLateFrame(due);
    ask();
    prepareNextCut();
    return shown;
}

std::optional<TimelinePictures::Time> TimelinePictures::nextDue() const {
    if (ready_.empty()) return std::nullopt;
    return grid_.begin(ready_.front().frame);
}

void TimelinePictures::announce() {
    if (!std::exchange(hasChanged_, false)) return;
    const auto observer = observer_;
    if (observer) observer();
}

void TimelinePictures::ask() {
    if (!calls_ || call_) return;
    // A moment that was played past before it came.
    if (wish_ && plays_ && !isHeld_ && grid_.at(position_) > grid_.at(nanosecondsOf(*wish_))) wish_.reset();
    if (wish_) return begin(*wish_, std::nullopt);
    if (!plays_) return;
    const auto frame = nextWorthwhile();
    const auto far = std::max(reach, static_cast<std::int64_t>(cost_ / grid_.length()) + 2);
    if (frame >= grid_.count() || frame > grid_.at(position_) + far) return;
    nextFrame_ = frame + 1;
    begin(grid_.time(frame), frame);
}

std::int64_t TimelinePictures::nextWorthwhile() const {
    const Time done = position_ + cost_;
    // A frame that will be a little late still does; a clock that stands waits for it anyway.
    if (isHeld_ || grid_.begin(nextFrame_) + grid_.length() / 4 >= done) return nextFrame_;
    return std::max(nextFrame_, grid_.at(done - grid_.length() / 4) + 1);
}

void TimelinePictures::begin(MediaTime time, std::optional<std::int64_t> frame) {
    call_ = Call{.time = time, .frame = frame, .canvas = canvas_, .begun = context_->now()};
    calls_->ask(time, [this](const Result<StreamPicture>& answer) { answered(answer); });
}

void TimelinePictures::answered(const Result<StreamPicture>& answer) {
    const Call call = *std::exchange(call_, std::nullopt);
    patience_.cancel();
    if (answer)
        take(call, *answer);
    else
        failed(call);
    if (plays_ && onAnswer) {
        const auto tell = onAnswer;
        return tell();
    }
    ask();
    announce();
}

void TimelinePictures::take(const Call& call, const StreamPicture& answer) {
    // A stream that wasn't overtaken has nothing better, so that asking again would only repeat it.
    const bool isWhole = answer.isExact || !call.isOvertaken;
    const Shown shown{isWhole ? call.time : answer.time, isWhole, call.canvas};
    if (call.frame && call.isWanted) cost_ = (cost_ + costOf(call)) / 2;
    if (wish_) {
        const bool isIt = isWhole && call.time == *wish_ && call.canvas == canvas_;
        const bool isWorthwhile = answer.picture && (isIt || (!call.frame && isNearer(shown.time)));
        if (isIt) wish_.reset();
        if (!call.frame) cameFar_ = isWorthwhile;
        if (isWorthwhile) show(answer.picture, shown);
        return;
    }
    if (!call.frame || !call.isWanted || !answer.picture) return;
    const auto frame = isWhole ? *call.frame : grid_.at(nanosecondsOf(answer.time));
    if (frame > (ready_.empty() ? lastFrame_ : ready_.back().frame)) ready_.push_back({frame, answer, call.canvas});
}

TimelinePictures::Time TimelinePictures::costOf(const Call& call) const {
    const Time took = context_->now() - call.begun;
    // What was overtaken took as long as it was let: the next one isn't asked for still further ahead.
    return call.isOvertaken ? std::min<Time>(took, latePatience) : took;
}

void TimelinePictures::failed(const Call& call) {
    if (wish_ && call.time == *wish_ && call.canvas == canvas_) wish_.reset();
    if (!call.frame || !call.isWanted) return;
    auto next = *call.frame + std::max<std::int64_t>(1, pauseAfterFailure / grid_.length());
    if (const MediaTime* cut = grid_.cutBehind(call.time)) {
        const auto holdingIt = grid_.at(nanosecondsOf(*cut));
        next = std::min(next, grid_.time(holdingIt) < *cut ? holdingIt + 1 : holdingIt);
    }
    nextFrame_ = std::max(nextFrame_, next);
}

void TimelinePictures::show(const VideoPicturePtr& picture, const Shown& shown) {
    shown_ = shown;
    if (picture == picture_) return;
    picture_ = picture;
    hasChanged_ = true;
}

void TimelinePictures::showFrame(const Ready& ready) {
    const bool isExact = ready.picture.isExact;
    show(ready.picture.picture, {isExact ? grid_.time(ready.frame) : ready.picture.time, isExact, ready.canvas});
    const Time lateness = position_ - grid_.begin(ready.frame);
    ++statistics.shown;
    if (lateness > grid_.length() / 2) ++statistics.late;
    statistics.greatestLateness = std::max(statistics.greatestLateness, lateness);
    statistics.dropped += std::max<std::int64_t>(0, ready.frame - lastFrame_ - 1);
    lastFrame_ = ready.frame;
}

bool TimelinePictures::isShown(MediaTime time) const {
    return shown_ && shown_->isExact && shown_->time == time && shown_->canvas == canvas_;
}

bool TimelinePictures::isNearer(MediaTime time) const {
    return !shown_ || distance(time, *wish_) < distance(shown_->time, *wish_);
}

void TimelinePictures::overtake() {
    call_->isOvertaken = true;
    calls_->overtake();
}

void TimelinePictures::overtakeWhenPatienceEnds() {
    if (!call_ || call_->isOvertaken) return;
    if (wish_ && call_->time == *wish_ && call_->canvas == canvas_) return;
    if (!wish_ && call_->isWanted) return;
    const Time left = call_->begun + (cameFar_ ? patience : greatPatience) - context_->now();
    if (call_->frame || !wish_ || left <= Time(0)) return overtake();
    patience_ =
        context_->after(std::chrono::ceil<std::chrono::milliseconds>(left), [this] { overtakeWhenPatienceEnds(); });
}

void TimelinePictures::overtakeLateFrame(std::int64_t due) {
    if (!call_ || call_->isOvertaken || due <= grid_.at(nanosecondsOf(call_->time))) return;
    if (context_->now() - call_->begun >= latePatience) overtake();
}

void TimelinePictures::prepareNextCut() {
    if (!calls_ || isPreparing_) return;
    const MediaTime from = grid_.time(std::max(nextFrame_ - 1, grid_.at(position_)));
    const MediaTime* cut = grid_.cutBehind(from);
    if (!cut || preparedCut_ == *cut || nanosecondsOf(*cut) - position_ > cutLead) return;
    preparedCut_ = *cut;
    isPreparing_ = true;
    calls_->prepareCut(from, *cut - from, [this] { isPreparing_ = false; });
}

}  // namespace kelvane
