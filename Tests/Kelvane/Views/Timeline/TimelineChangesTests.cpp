#include <gmock/gmock.h>

#include "Support/ClipBuilder.h"
#include "Views/Timeline/TimelineChanges.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class ChangedClips : public ::testing::Test {
protected:
    const std::vector<Clip> before{videoClip(1), videoClip(2), videoClip(3), audioClip(4)};
};

TEST_F(ChangedClips, AreNoneWhereNothingChanged) {
    EXPECT_THAT(changedClips(before, before), IsEmpty());
    EXPECT_THAT(changedClips({}, {}), IsEmpty());
}

TEST_F(ChangedClips, AreThoseThatCameOrLookOtherwise) {
    auto after = before;
    after[1].volume = 0.3;
    after.insert(after.begin() + 1, videoClip(7));
    EXPECT_THAT(changedClips(before, after), ElementsAre(uuid(7), uuid(2)));
    EXPECT_THAT(changedClips({}, before), ElementsAre(uuid(1), uuid(2), uuid(3), uuid(4)));
}

TEST_F(ChangedClips, AreThoseThatMovedAndNotThoseThatMadeRoom) {
    auto after = before;
    std::rotate(after.begin(), after.begin() + 2, after.begin() + 3);
    EXPECT_THAT(changedClips(before, after), ElementsAre(uuid(3)));
    std::rotate(after.begin(), after.begin() + 1, after.begin() + 3);
    EXPECT_THAT(changedClips(before, after), IsEmpty()) << "and back";
    after.erase(after.begin());
    EXPECT_THAT(changedClips(before, after), IsEmpty()) << "what goes leaves the others where they are";
    std::swap(after.front(), after.back());
    EXPECT_THAT(changedClips(before, after), SizeIs(2)) << "one of three stays";
}

TEST(ClipChanges, TellWhatCameWhatWentAndWhatIsOtherwise) {
    const std::vector<Clip> before{videoClip(1), videoClip(2), videoClip(3), audioClip(4)};
    auto after = before;
    after[2].volume = 0.3;
    after.erase(after.begin());
    after.insert(after.begin() + 1, videoClip(7));
    EXPECT_EQ(clipChanges(before, after),
              (ClipChanges{.added = {uuid(7)}, .changed = {uuid(3)}, .removed = {uuid(1)}}));
    EXPECT_EQ(clipChanges(before, before), ClipChanges());
    EXPECT_THAT(clipChanges(before, {}).removed, SizeIs(4));
    EXPECT_THAT(clipChanges({}, before).added, SizeIs(4));
}

}  // namespace
}  // namespace kelvane::testing
