#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "MainContext.h"
#include "PlaybackClock.h"
#include "PlaybackSound.h"
#include "PlaybackStatistics.h"
#include "Player.h"
#include "TimelinePictures.h"

namespace kelvane {

/// What a player plays with.
struct PlayerServices {
    /// Outlives the player.
    MainContext* context = nullptr;
    /// None, or one that answers none, for a player without pictures.
    TimelinePictures::MakeStream makePictureStream;
    /// None, or one that answers none, for a player without sound.
    PlaybackSound::MakeStream makeSoundStream;
    /// May be null. Where players share one, only one of them plays.
    std::shared_ptr<SoundOutput> output;
};

/// The player of timelines. What is heard is its clock; where nothing is heard, time itself. Play waits for the first
/// sound, as long as a device may take; not while muted, as pictures then go with who speaks to them. It rests at
/// moments of the compositions' clock. Decoding and rendering are works of the playback lane, and nothing here waits
/// for them, its end included.
class TimelinePlayer final : public Player {
public:
    explicit TimelinePlayer(PlayerServices services);
    TimelinePlayer(const TimelinePlayer&) = delete;
    TimelinePlayer& operator=(const TimelinePlayer&) = delete;

    void replaceItem(EditedMediaPtr item) override;
    [[nodiscard]] EditedMediaPtr item() const override { return item_; }
    void play() override;
    void pause() override;
    [[nodiscard]] double rate() const override { return plays_ ? 1 : 0; }
    /// Times outside the item mean its nearest end; one that isn't a number means nothing.
    void seek(double seconds) override;
    void cancelPendingSeeks() override;
    [[nodiscard]] double position() const override;
    [[nodiscard]] bool isMuted() const override { return sound_.isMuted(); }
    void setMuted(bool muted) override;
    /// A change of rate and a seek are told in a later turn of the event loop, several of one turn once.
    void setTimeObserver(std::chrono::nanoseconds interval, std::function<void(double seconds)> observer) override;
    void setEndObserver(std::function<void(const EditedMediaPtr& item)> observer) override;
    [[nodiscard]] PictureFeed* pictures() override { return &pictures_; }

    [[nodiscard]] PlaybackStatistics statistics() const;
    void resetStatistics();

private:
    using Time = std::chrono::nanoseconds;

    /// Where playback is now.
    [[nodiscard]] Time at() const;
    void startClock();
    void halt();
    void prepareSoundSoon();
    void tick();
    /// None while it is muted: what nobody hears is no clock.
    [[nodiscard]] std::optional<PlaybackSound::Heard> heardNow();
    void followSound(Time now);
    void restartSound(Time now);
    void soundCameOrWent(bool isAvailable);
    void noteDistance(std::int64_t frame, Time now);
    void armTick(Time position);
    void finish();
    void tellLater();
    void tellTime();
    void tellEnd(const EditedMediaPtr& item);

    MainContext* context_;
    EditedMediaPtr item_;
    bool plays_ = false;
    /// While it stands still.
    double seconds_ = 0;
    PlaybackClock clock_;
    TimelinePictures pictures_;
    PlaybackSound sound_;
    /// While the clock stands for the first sound: until when.
    std::optional<Time> heldUntil_;
    /// When the sound was last brought back to the clock.
    std::optional<Time> restartedAt_;
    Timer tick_;
    /// Has the sound of the position prepared once it stays.
    Timer prepareSound_;

    std::function<void(double)> timeObserver_;
    Time interval_{0};
    /// The position at which the time observer is called next.
    Time nextTold_{0};
    bool tellsLater_ = false;
    std::function<void(const EditedMediaPtr&)> endObserver_;
    PlaybackStatistics statistics_;
    std::int64_t formerUnderruns_ = 0;
    std::shared_ptr<void> life_ = std::make_shared<int>();
};

}  // namespace kelvane
