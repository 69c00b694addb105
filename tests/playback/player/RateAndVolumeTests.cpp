// Playback rate, volume with mute, and the amplifier's level meters.

#include "PlayerTestSupport.hpp"
#include "support/TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lorvan::test {
namespace {

class RateTest : public ::testing::Test {
protected:
    RateTest() {
        h.player->onPlaybackRateChanged = [this](float rate) { rates.push_back(rate); };
        h.player->onNewBeatModeChanged = [this](bool on) { newBeat.push_back(on); };
    }
    AudioDiscPlayer& player() { return *h.player; }
    [[nodiscard]] std::vector<std::string> rateLines(const CapturedLog& log) const {
        std::vector<std::string> lines;
        for (const std::string& line : log.lines())
            lines.push_back(line.find("New playback rate") != std::string::npos
                                ? line.substr(line.rfind(": ") + 2)
                                : line);
        return lines;
    }
    PlayerHarness h;
    std::vector<float> rates;
    std::vector<bool> newBeat;
};

TEST_F(RateTest, OutOfRangeRatesAreClampedWithTheirWarning) {
    CapturedLog log;
    player().setPlaybackRate(0.2F);
    EXPECT_FLOAT_EQ(player().playbackRate(), 0.25F);
    player().setPlaybackRate(5.0F);
    EXPECT_FLOAT_EQ(player().playbackRate(), 4.0F);
    const auto lines = rateLines(log);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_NE(lines[0].find("0.2 is a value too low for playback rate. It must between 0.25 and 4.0."),
              std::string::npos)
        << lines[0];
    EXPECT_NE(lines[0].find("Warning"), std::string::npos);
    EXPECT_EQ(lines[1], "0.25");
    EXPECT_NE(lines[2].find("5 is a value too high for playback rate. It must between 0.25 and 4.0."),
              std::string::npos)
        << lines[2];
    EXPECT_EQ(lines[3], "4.00");
    EXPECT_EQ(rates, (std::vector<float>{0.25F, 4.0F}));
}

TEST_F(RateTest, DecreasingAtTheMinimumWarnsEveryTimeAndStaysThere) {
    player().setPlaybackRate(0.25F);
    rates.clear();
    CapturedLog log;
    player().decreaseSpeed();
    player().decreaseSpeed();
    EXPECT_FLOAT_EQ(player().playbackRate(), 0.25F);
    long warnings = 0;
    for (const std::string& line : log.lines())
        warnings += line.find("0.2 is a value too low") != std::string::npos;
    EXPECT_EQ(warnings, 2);
}

TEST_F(RateTest, StepsOfFiveHundredthsAndNewBeatFollowTheRequestedRate) {
    player().toggleBeat();
    EXPECT_FLOAT_EQ(player().playbackRate(), 0.8F);
    EXPECT_TRUE(player().newBeatMode());
    player().increaseSpeed();
    EXPECT_FLOAT_EQ(player().playbackRate(), 0.85F);
    EXPECT_FALSE(player().newBeatMode());
    player().decreaseSpeed();
    EXPECT_EQ(player().playbackRate(), 0.8F) << "exactly the New Beat rate again";
    EXPECT_TRUE(player().newBeatMode());
    player().toggleBeat();
    EXPECT_FLOAT_EQ(player().playbackRate(), 1.0F);
    EXPECT_EQ(newBeat, (std::vector<bool>{true, false, true, false}));

    player().setPlaybackRate(1.5F);
    player().toggleBeat();
    EXPECT_FLOAT_EQ(player().playbackRate(), 0.8F) << "New Beat from any rate, not back to the previous one";
    player().resetSpeed();
    EXPECT_FLOAT_EQ(player().playbackRate(), 1.0F);
    const auto count = rates.size();
    player().resetSpeed();
    player().setPlaybackRate(1.0F);
    EXPECT_EQ(rates.size(), count) << "the current rate again fires nothing";
}

TEST_F(RateTest, TurningTheRateControlsOffReturnsToNormalSpeed) {
    std::vector<bool> active;
    player().onRateControlsActiveChanged = [&](bool on) { active.push_back(on); };
    player().setRateControlsAreActive(true);
    player().setPlaybackRate(1.5F);
    EXPECT_FLOAT_EQ(player().playbackRate(), 1.5F) << "turning them on changes nothing";
    CapturedLog log;
    player().setRateControlsAreActive(false);
    EXPECT_FLOAT_EQ(player().playbackRate(), 1.0F);
    EXPECT_THAT(rateLines(log), ::testing::ElementsAre("1.00"));
    EXPECT_EQ(active, (std::vector<bool>{true, false}));
}

TEST_F(RateTest, InsertingADiscReturnsToNormalSpeed) {
    player().setPlaybackRate(2.0F);
    player().insertDisc(makeDisc({10'000}, {{0, 0, 1}}));
    EXPECT_FLOAT_EQ(player().playbackRate(), 1.0F);
    EXPECT_FALSE(player().newBeatMode());
}

TEST(RateValuesTest, SliderPositionsAndRecordSpeeds) {
    EXPECT_FLOAT_EQ(AudioDiscPlayer::rateForSliderPosition(0), 0.25F);
    EXPECT_FLOAT_EQ(AudioDiscPlayer::rateForSliderPosition(228), 4.0F);
    EXPECT_FLOAT_EQ(AudioDiscPlayer::rateForSliderPosition(45.6), 1.0F);
    EXPECT_FLOAT_EQ(AudioDiscPlayer::rateForSliderPosition(46.9), 1.0F) << "steps of 0.05";
    EXPECT_FLOAT_EQ(AudioDiscPlayer::rateForSliderPosition(48.0), 1.05F);
    EXPECT_FLOAT_EQ(AudioDiscPlayer::rateForSliderPosition(-30), 0.25F);
    EXPECT_FLOAT_EQ(AudioDiscPlayer::rateForSliderPosition(400), 4.0F);

    using Type = AudioDiscPlayer::PlaybackRateType;
    EXPECT_EQ(AudioDiscPlayer::rate(Type::newBeat), 0.8F);
    EXPECT_FLOAT_EQ(AudioDiscPlayer::rate(Type::v45as33), 100.0F / 3.0F / 45.0F);
    EXPECT_FLOAT_EQ(AudioDiscPlayer::rate(Type::v33as45) * AudioDiscPlayer::rate(Type::v45as33), 1.0F);
    EXPECT_FLOAT_EQ(AudioDiscPlayer::rate(Type::v78as33) * AudioDiscPlayer::rate(Type::v33as78), 1.0F);
    EXPECT_FLOAT_EQ(AudioDiscPlayer::rate(Type::v78as45) * AudioDiscPlayer::rate(Type::v45as78), 1.0F);
}

// MARK: - Volume

class VolumeTest : public ::testing::Test {
protected:
    AudioDiscPlayer& player() { return *h.player; }
    PlayerHarness h;
};

TEST_F(VolumeTest, WithTheAmplifierOffOnlyFullVolumeCanBeSet) {
    player().setVolume(0.5F);
    player().decreaseVolume();
    player().increaseVolume();
    EXPECT_FLOAT_EQ(player().volume(), 1.0F);

    player().setAmplifierIsActive(true);
    player().setVolume(0.3F);
    player().setAmplifierIsActive(false);
    EXPECT_FLOAT_EQ(player().volume(), 1.0F) << "the amplifier off means full volume";
    h.pump();
    EXPECT_FLOAT_EQ(player().amplifier().uiPlaybackVolume(), 1.0F);
}

TEST_F(VolumeTest, OutOfRangeVolumesAreClampedWithAWarning) {
    player().setAmplifierIsActive(true);
    CapturedLog log;
    player().setVolume(-0.1F);
    EXPECT_FLOAT_EQ(player().volume(), 0.0F);
    player().setVolume(1.2F);
    EXPECT_FLOAT_EQ(player().volume(), 1.0F);
    EXPECT_TRUE(log.contains("Playback volume can't be below 0.0."));
    EXPECT_TRUE(log.contains("Playback volume can't be above 1.0."));
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(VolumeTest, StepsAndMuteRestoreFullVolume) {
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

    player().setAmplifierIsActive(false);
    player().toggleMute();
    EXPECT_FLOAT_EQ(player().volume(), 1.0F) << "mute needs the amplifier";
}

TEST_F(VolumeTest, FlushedBuffersShowFullVolumeAndSilentMeters) {
    player().insertDisc(makeDisc({500'000}, {{0, 0, 1}}, 0, nullptr, [](int, std::int64_t) { return 1.0F; }));
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

// MARK: - Amplifier

PCMBuffer buffer(int channels, std::uint32_t frames, const std::vector<float>& peaks) {
    PCMBuffer result(AudioFormat::processing(44100, channels), frames);
    result.setFrameLength(frames);
    for (int channel = 0; channel < channels; ++channel)
        result.channelData(channel)[frames / 2] = peaks[static_cast<std::size_t>(channel)];
    return result;
}

class AmplifierTest : public ::testing::Test {
protected:
    std::shared_ptr<DrainedQueue> mainThread = std::make_shared<DrainedQueue>();
    std::shared_ptr<AudioAmplifier> amplifier = AudioAmplifier::create(mainThread);
};

TEST_F(AmplifierTest, PeaksAreAbsoluteAndMonoFeedsBothSides) {
    EXPECT_EQ(AudioAmplifier::peaks(buffer(2, 10, {-0.7F, 0.25F})), (std::pair<double, double>{0.7F, 0.25}));
    EXPECT_EQ(AudioAmplifier::peaks(buffer(1, 10, {-0.6F})), (std::pair<double, double>{0.6F, 0.6F}));
    PCMBuffer empty(AudioFormat::processing(44100, 2), 10);
    empty.channelData(0)[0] = 1.0F;
    EXPECT_EQ(AudioAmplifier::peaks(empty), (std::pair<double, double>{0.0, 0.0})) << "no frames, no level";
    PCMBuffer tail(AudioFormat::processing(44100, 2), 10);
    tail.channelData(0)[9] = 1.0F;
    tail.setFrameLength(9);
    EXPECT_EQ(AudioAmplifier::peaks(tail).first, 0.0) << "only the valid frames count";
}

TEST_F(AmplifierTest, LevelsArePublishedEverySecondBufferInTwentiethsScaledByTheVolume) {
    std::vector<double> left;
    std::vector<double> right;
    amplifier->onUiLeftChannelAudioLevelChanged = [&](double level) { left.push_back(level); };
    amplifier->onUiRightChannelAudioLevelChanged = [&](double level) { right.push_back(level); };

    amplifier->measure(buffer(2, 100, {1.0F, 0.2F}), 0.5F);
    mainThread->drain();
    EXPECT_TRUE(left.empty()) << "one buffer is not a refresh";
    amplifier->measure(buffer(2, 100, {0.1F, 0.9F}), 0.5F);
    mainThread->drain();
    EXPECT_EQ(left, (std::vector<double>{0.5}));
    EXPECT_EQ(right, (std::vector<double>{0.45}));

    amplifier->measure(buffer(2, 100, {0.52F, 0.46F}), 1.0F);
    amplifier->measure(buffer(2, 100, {0.0F, 0.0F}), 1.0F);
    mainThread->drain();
    EXPECT_EQ(left, (std::vector<double>{0.5})) << "0.52 rounds to the same step";
    EXPECT_EQ(right, (std::vector<double>{0.45})) << "0.46 rounds to the same step";

    amplifier->measure(buffer(1, 100, {0.3F}), 1.0F);
    amplifier->measure(buffer(1, 100, {0.3F}), 1.0F);
    mainThread->drain();
    EXPECT_DOUBLE_EQ(amplifier->uiLeftChannelAudioLevel(), 0.3);
    EXPECT_DOUBLE_EQ(amplifier->uiRightChannelAudioLevel(), 0.3) << "a mono disc shows the same on both";
}

TEST_F(AmplifierTest, ResetsZeroTheMetersAndPublishOnlyWhatChanged) {
    int publications = 0;
    amplifier->onUiLeftChannelAudioLevelChanged = [&](double) { ++publications; };
    amplifier->reset(false, true);
    mainThread->drain();
    EXPECT_EQ(publications, 0);
    EXPECT_TRUE(mainThread->pending.empty()) << "nothing to publish when already at 0";

    amplifier->measure(buffer(2, 10, {0.8F, 0.8F}), 1.0F);
    amplifier->reset(false, true);
    amplifier->measure(buffer(2, 10, {0.8F, 0.8F}), 1.0F);
    mainThread->drain();
    EXPECT_EQ(publications, 0) << "the reset also dropped the half-counted refresh";

    amplifier->measure(buffer(2, 10, {0.8F, 0.8F}), 1.0F);
    mainThread->drain();
    EXPECT_EQ(publications, 1);
    amplifier->setPlaybackVolume(0.4F);
    amplifier->reset(true, true);
    mainThread->drain();
    EXPECT_EQ(publications, 2);
    EXPECT_EQ(amplifier->uiLeftChannelAudioLevel(), 0.0);
    EXPECT_FLOAT_EQ(amplifier->uiPlaybackVolume(), 1.0F);
    EXPECT_EQ(amplifier->leftChannelAudioLevel(), 0.0);
}

} // namespace
} // namespace lorvan::test
