#include "disc/AudioDiscOnlineDataBaseID.hpp"
#include "platform/PlatformDiscServices.hpp"

#include <discid/discid.h>
#include <gtest/gtest.h>
#include <memory>
#include <random>

namespace lorvan {
namespace {

using Layout = AudioDiscOnlineDataBaseID::Layout;
constexpr std::int64_t sector = 588;

struct LibDiscId {
    std::string musicBrainz;
    std::uint32_t freedb = 0;
};

// The reference implementation's answer for the same table of contents.
LibDiscId libdiscid(const Layout& layout) {
    std::unique_ptr<DiscId, decltype(&discid_free)> disc(discid_new(), &discid_free);
    std::vector<int> offsets(100, 0);
    offsets[0] = static_cast<int>(layout.discEndFrame / sector + 150);
    for (std::size_t i = 0; i < layout.trackStartFrames.size(); ++i)
        offsets[i + 1] = static_cast<int>(layout.trackStartFrames[i] / sector + 150);
    const int last = static_cast<int>(layout.trackStartFrames.size());
    if (discid_put(disc.get(), 1, last, offsets.data()) == 0)
        throw std::runtime_error(discid_get_error_msg(disc.get()));
    return {discid_get_id(disc.get()),
            static_cast<std::uint32_t>(std::stoul(discid_get_freedb_id(disc.get()), nullptr, 16))};
}

Layout randomLayout(std::mt19937& random, bool firstTrackAtZero) {
    std::uniform_int_distribution<int> trackCount(1, 99);
    std::uniform_int_distribution<std::int64_t> jitter(0, sector - 1);
    const int tracks = trackCount(random);
    // Within the 80 minutes libdiscid accepts.
    std::uniform_int_distribution<std::int64_t> trackSectors(4 * 75, 78 * 60 * 75 / tracks);
    Layout layout;
    std::int64_t frame =
        firstTrackAtZero ? 0 : std::uniform_int_distribution<std::int64_t>(1, 75 * 60)(random) * sector;
    for (int i = 0; i < tracks; ++i) {
        // Frames that are not on a sector boundary truncate to the sector they are in.
        layout.trackStartFrames.push_back(frame + (i == 0 && firstTrackAtZero ? 0 : jitter(random)));
        frame += trackSectors(random) * sector;
    }
    layout.discEndFrame = frame;
    return layout;
}

// For random tables of contents the MusicBrainz ID is libdiscid's. The FreeDB ID is libdiscid's
// whenever the first track starts at frame 0: libdiscid's playing time is lead-out minus the
// first track's offset in whole seconds, Lorvan's the disc's length (or, after a pregap cue,
// the length from the first INDEX 01), which coincide exactly then.
TEST(DiscIdentifiers, agreeWithLibdiscid) {
    std::mt19937 random(20260521);
    for (int round = 0; round < 300; ++round) {
        const bool atZero = round % 3 != 0;
        const Layout layout = randomLayout(random, atZero);
        const auto ours = AudioDiscOnlineDataBaseID::compute(layout, platform::sha1Base64);
        const auto theirs = libdiscid(layout);
        ASSERT_EQ(ours.musicBrainz, theirs.musicBrainz) << "round " << round;
        if (atZero) {
            ASSERT_EQ(ours.cddbValue, theirs.freedb) << "round " << round;
        }
    }
}

TEST(DiscIdentifiers, knownValuesAndQuirks) {
    Layout minute{{0}, sector * 75 * 60, false};
    const auto id = AudioDiscOnlineDataBaseID::compute(minute, platform::sha1Base64);
    EXPECT_EQ(id.cddbValue, 0x02003C01U);
    EXPECT_EQ(id.arV1Value, 4500U);
    EXPECT_EQ(id.arV2Value, 9001U);
    EXPECT_EQ(id.musicBrainzURL(), "https://musicbrainz.org/cdtoc/" + id.musicBrainz);

    const std::string text = AudioDiscOnlineDataBaseID::musicBrainzText(minute);
    EXPECT_EQ(text.size(), 2U + 2U + 8U + 99U * 8U);
    EXPECT_EQ(text.substr(0, 20), "01010000122A00000096");

    // 255 and 65535 as moduli: a digit sum of 255 and a playing time of 65535 s both wrap to 0.
    // Tracks at these seconds (plus the 2-second lead-in) have decimal digits summing to 255.
    Layout wrap;
    wrap.trackStartFrames.push_back(0);
    for (int n = 101; n <= 136; ++n)
        wrap.trackStartFrames.push_back(std::int64_t{44100} * (n - 2));
    for (int n : {140, 200, 201})
        wrap.trackStartFrames.push_back(std::int64_t{44100} * (n - 2));
    wrap.discEndFrame = std::int64_t{44100} * 65535;
    const auto wrapped = AudioDiscOnlineDataBaseID::compute(wrap, platform::sha1Base64);
    EXPECT_EQ(wrapped.cddbValue, 40U);

    // A lead-out in the first sector still weighs 1 in AccurateRip v2.
    const auto tiny = AudioDiscOnlineDataBaseID::compute(Layout{{0}, 100, false}, platform::sha1Base64);
    EXPECT_EQ(tiny.arV1Value, 0U);
    EXPECT_EQ(tiny.arV2Value, 1U + 1U * 2U);

    EXPECT_EQ(AudioDiscOnlineDataBaseID::musicBrainzEncoding("ab+/c=="), "ab._c--");
    EXPECT_EQ(platform::sha1Base64("abc"), "qZk+NkcGgWq6PiVxeFDCbJzQ2J0=");
}

} // namespace
} // namespace lorvan
