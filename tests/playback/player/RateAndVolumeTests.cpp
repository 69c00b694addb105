// Playback rate, volume with mute, and the amplifier's level meters.

#include "PlayerTestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tuple>

namespace lorvan::test {
namespace {

using ::testing::ElementsAre;

class RateAndVolumeTest : public ::testing::Test {
protected:
    RateAndVolumeTest() {
        h.player->onPlaybackRateChanged = [this](float rate) { rates.push_back(rate); };
        h.player->onNewBeatModeChanged = [this](bool on) { newBeat.push_back(on); };
    }
    AudioDiscPlayer& player() { return *h.player; }
    PlayerHarness h;
    std::vector<float> rates;
    std::vector<bool> newBeat;
};

TEST_F(RateAndVolumeTest, OutOfRangeRatesAndVolumesAreClampedWithTheirWarnings) {
    player().setAmplifierIsActive(true);
    CapturedLog log;
    player().setPlaybackRate(0.2F);
    player().decreaseSpeed(); // at the minimum: warns again
    player().setPlaybackRate(5.0F);
    player().increaseSpeed();
    EXPECT_FLOAT_EQ(player().playbackRate(), 4.0F);
    for (const auto& [requested, volume] : {std::pair{-0.1F, 0.0F}, std::pair{1.2F, 1.0F}}) {
        player().setVolume(requested);
        EXPECT_FLOAT_EQ(player().volume(), volume);
    }
    EXPECT_EQ(rates, (std::vector<float>{0.25F, 0.25F, 4.0F, 4.0F})) << "the clamped rates are reported";
    // The rate warnings' wording is the one users have always seen, missing "be" included.
    const std::string range = " for playback rate. It must between 0.25 and 4.0.";
    EXPECT_THAT(logEntries(log),
                ElementsAre("✦ Warning: 0.2 is a value too low" + range, "⦿ New playback rate: 0.25",
                            "✦ Warning: 0.2 is a value too low" + range, "⦿ New playback rate: 0.25",
                            "✦ Warning: 5 is a value too high" + range, "⦿ New playback rate: 4.00",
                            "✦ Warning: 4.05 is a value too high" + range, "⦿ New playback rate: 4.00",
                            "✦ Warning: Playback volume can't be below 0.0.",
                            "✦ Warning: Playback volume can't be above 1.0."));
}

TEST_F(RateAndVolumeTest, StepsOfFiveHundredthsAndNewBeatFollowTheRequestedRate) {
    // Each step's rate is reported; New Beat follows the rate, exactly 0.8 again after a step back.
    for (const auto step : {&AudioDiscPlayer::toggleBeat, &AudioDiscPlayer::increaseSpeed,
                            &AudioDiscPlayer::decreaseSpeed, &AudioDiscPlayer::toggleBeat})
        (player().*step)();
    EXPECT_EQ(newBeat, (std::vector<bool>{true, false, true, false}));

    player().setPlaybackRate(1.5F);
    player().toggleBeat();
    EXPECT_FLOAT_EQ(player().playbackRate(), 0.8F) << "New Beat from any rate, not back to the previous one";
    player().resetSpeed();
    player().resetSpeed();
    player().setPlaybackRate(1.0F);
    EXPECT_EQ(rates, (std::vector<float>{0.8F, 0.85F, 0.8F, 1.0F, 1.5F, 0.8F, 1.0F}))
        << "the current rate again fires nothing";
}

TEST_F(RateAndVolumeTest, TurningTheRateControlsOffOrInsertingADiscReturnsToNormalSpeed) {
    std::vector<bool> active;
    player().onRateControlsActiveChanged = [&](bool on) { active.push_back(on); };
    player().setRateControlsAreActive(true);
    player().setPlaybackRate(1.5F);
    EXPECT_FLOAT_EQ(player().playbackRate(), 1.5F) << "turning them on changes nothing";
    CapturedLog log;
    player().setRateControlsAreActive(false);
    EXPECT_FLOAT_EQ(player().playbackRate(), 1.0F);
    EXPECT_EQ(logEntries(log), (std::vector<std::string>{"⦿ New playback rate: 1.00"}));
    EXPECT_EQ(active, (std::vector<bool>{true, false}));

    player().toggleBeat();
    player().insertDisc(makeDisc({10'000}, {{0, 0, 1}}));
    EXPECT_FLOAT_EQ(player().playbackRate(), 1.0F);
    EXPECT_FALSE(player().newBeatMode());
}

TEST(RateValuesTest, SliderPositionsGiveTwentiethsAndRecordSpeedsPairUp) {
    for (const auto& [x, rate] : std::vector<std::pair<double, float>>{
             {0, 0.25F}, {228, 4.0F}, {45.6, 1.0F}, {46.9, 1.0F}, {48.0, 1.05F}, {-30, 0.25F}, {400, 4.0F}})
        EXPECT_FLOAT_EQ(AudioDiscPlayer::rateForSliderPosition(x), rate) << x;

    using Type = AudioDiscPlayer::PlaybackRateType;
    EXPECT_FLOAT_EQ(AudioDiscPlayer::rate(Type::v45as33), 100.0F / 3.0F / 45.0F) << "a 45 played at 33⅓";
    for (const auto& [one, other] :
         {std::pair{Type::v33as45, Type::v45as33}, std::pair{Type::v78as33, Type::v33as78},
          std::pair{Type::v78as45, Type::v45as78}})
        EXPECT_FLOAT_EQ(AudioDiscPlayer::rate(one) * AudioDiscPlayer::rate(other), 1.0F);
}

// A clock-driven output renders a meter reading's worth at a time only while the meters show.
TEST_F(RateAndVolumeTest, TheOutputRendersFinerBlocksOnlyWhileTheAmplifierMeters) {
    EXPECT_EQ(h.engine->outputBlock, std::chrono::milliseconds(120));
    player().setAmplifierIsActive(true);
    EXPECT_EQ(h.engine->outputBlock, std::chrono::milliseconds(40));
    player().setAmplifierIsActive(false);
    EXPECT_EQ(h.engine->outputBlock, std::chrono::milliseconds(120));
}

TEST_F(RateAndVolumeTest, WithoutTheAmplifierOnlyFullVolumeWithItStepsAndUnmutingRestoresFullVolume) {
    player().setVolume(0.5F);
    player().decreaseVolume();
    EXPECT_FLOAT_EQ(player().volume(), 1.0F) << "with the amplifier off only full volume can be set";
    player().setAmplifierIsActive(true);
    player().setVolume(0.3F);
    player().setAmplifierIsActive(false);
    EXPECT_FLOAT_EQ(player().volume(), 1.0F) << "the amplifier off means full volume";
    h.pump();
    EXPECT_FLOAT_EQ(player().amplifier().uiPlaybackVolume(), 1.0F);

    player().setAmplifierIsActive(true);
    player().setVolume(0.5F);
    player().decreaseVolume();
    EXPECT_FLOAT_EQ(player().volume(), 0.45F);
    player().increaseVolume();
    player().increaseVolume();
    EXPECT_FLOAT_EQ(player().volume(), 0.55F);

    player().toggleMute();
    EXPECT_FLOAT_EQ(player().volume(), 0.0F);
    EXPECT_FLOAT_EQ(player().volumeBeforeMute(), 0.0F);
    player().toggleMute();
    EXPECT_FLOAT_EQ(player().volume(), 1.0F) << "unmuting restores full volume, whatever came before";

    std::vector<float> shown;
    player().amplifier().onUiPlaybackVolumeChanged = [&](float volume) { shown.push_back(volume); };
    player().setVolume(0.25F);
    EXPECT_TRUE(shown.empty()) << "published on the main thread";
    h.pump();
    EXPECT_EQ(shown, (std::vector<float>{0.25F}));
}

TEST_F(RateAndVolumeTest, FlushedBuffersShowFullVolumeAndSilentMeters) {
    h.insert(makeDisc({500'000}, {{0, 0, 1}}, 0, 1.0F));
    player().setAmplifierIsActive(true);
    player().setVolume(0.5F);
    player().play();
    h.consume(4);
    EXPECT_DOUBLE_EQ(player().amplifier().uiLeftChannelAudioLevel(), 0.5) << "full scale at volume 0.5";
    player().seekToFrame(100'000, false);
    h.pump();
    EXPECT_FLOAT_EQ(player().amplifier().uiPlaybackVolume(), 1.0F);
    EXPECT_FLOAT_EQ(player().volume(), 0.5F) << "only the display is reset";
    EXPECT_DOUBLE_EQ(player().amplifier().uiLeftChannelAudioLevel(), 0.0);
}

PCMBuffer buffer(int channels, std::uint32_t frames, const std::vector<float>& peaks) {
    PCMBuffer result(AudioFormat::processing(44100, channels), frames);
    result.setFrameLength(frames);
    for (int channel = 0; channel < channels; ++channel)
        result.channelData(channel)[frames / 2] = peaks[static_cast<std::size_t>(channel)];
    return result;
}

class AmplifierTest : public ::testing::Test {
protected:
    std::shared_ptr<ManualMainThreadExecutor> mainThread = std::make_shared<ManualMainThreadExecutor>();
    std::shared_ptr<AudioAmplifier> amplifier = AudioAmplifier::create(mainThread);
};

TEST_F(AmplifierTest, LevelsArePublishedEverySecondBufferInTwentiethsOfTheAbsolutePeaksScaledByTheVolume) {
    PCMBuffer tail = buffer(2, 10, {0.0F, 0.0F});
    tail.channelData(0)[9] = 1.0F;
    for (const std::uint32_t valid : {0U, 9U}) {
        tail.setFrameLength(valid);
        EXPECT_EQ(AudioAmplifier::peaks(tail).first, 0.0) << "only the valid frames count";
    }

    std::vector<double> left;
    std::vector<double> right;
    amplifier->onUiLeftChannelAudioLevelChanged = [&](double level) { left.push_back(level); };
    amplifier->onUiRightChannelAudioLevelChanged = [&](double level) { right.push_back(level); };
    // {two buffers' peaks, one refresh, at a volume; everything published so far, left and right}:
    // a mono buffer's single peak feeds both sides.
    using Peaks = std::vector<float>;
    using Levels = std::vector<double>;
    for (const auto& [first, second, volume, leftLevels, rightLevels] :
         std::vector<std::tuple<Peaks, Peaks, float, Levels, Levels>>{
             {{-1.0F, 0.2F}, {0.1F, -0.9F}, 0.5F, {0.5}, {0.45}},
             {{0.52F, 0.46F}, {0.0F, 0.0F}, 1.0F, {0.5}, {0.45}}, // the same steps: nothing new
             {{-0.3F}, {0.3F}, 1.0F, {0.5, 0.3}, {0.45, 0.3}},
             // Half steps and steps just short of the next one: rounding to the nearest, half
             // away from zero, not down and not to even (12.5 -> 13, 7.5 -> 8, 5.9 -> 6).
             {{0.625F, -0.375F}, {0.0F, 0.0F}, 1.0F, {0.5, 0.3, 0.65}, {0.45, 0.3, 0.4}},
             {{-0.75F, 0.59F}, {0.0F, 0.0F}, 0.5F, {0.5, 0.3, 0.65, 0.4}, {0.45, 0.3, 0.4, 0.3}}}) {
        SCOPED_TRACE(first.front());
        const auto channels = static_cast<int>(first.size());
        const auto published = left.size();
        amplifier->measure(buffer(channels, 100, first), volume);
        mainThread->runAll();
        EXPECT_EQ(left.size(), published) << "one buffer is not a refresh";
        amplifier->measure(buffer(channels, 100, second), volume);
        mainThread->runAll();
        EXPECT_EQ(left, leftLevels);
        EXPECT_EQ(right, rightLevels);
    }
}

} // namespace
} // namespace lorvan::test
