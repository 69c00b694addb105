#include "PlayerTestSupport.hpp"

#include "core/ConsoleLog.hpp"

#include <gtest/gtest.h>

namespace lorvan::test {

namespace {

// The player logs every buffering step; tests that look at the log capture it themselves.
class QuietLog : public ::testing::Environment {
public:
    void SetUp() override { ConsoleLog::discard(); }
};
[[maybe_unused]] const auto* const quietLog = ::testing::AddGlobalTestEnvironment(new QuietLog);

} // namespace

float frameSample(std::int64_t frame) {
    return static_cast<float>(frame) / 16'777'216.0F;
}

std::vector<std::string> logEntries(const CapturedLog& log) {
    std::vector<std::string> entries;
    for (const std::string& line : log.lines()) {
        const auto label = std::min(line.find(" -"), line.find(" \u00B7"));
        entries.push_back(line.substr(0, label) + ": " + line.substr(line.rfind(": ") + 2));
    }
    return entries;
}

AudioDisc makeDisc(const std::vector<std::int64_t>& fileLengths, const std::vector<TestCue>& cues,
                   std::uint32_t artificialPregap, std::vector<std::shared_ptr<std::atomic<bool>>>* failing,
                   SampleFunction samples, int channels) {
    std::vector<std::unique_ptr<AudioFile>> files;
    std::int64_t base = artificialPregap;
    for (std::size_t i = 0; i < fileLengths.size(); ++i) {
        SampleFunction generator = samples;
        if (!generator) {
            generator = [base](int channel, std::int64_t frame) {
                const float value = frameSample(base + frame);
                return channel == 0 ? value : -value;
            };
        }
        auto file = std::make_unique<MemoryAudioFile>("file" + std::to_string(i) + ".wav", fileLengths[i],
                                                      std::move(generator), channels);
        if (failing) {
            file->failing = std::make_shared<std::atomic<bool>>(false);
            failing->push_back(file->failing);
        }
        base += fileLengths[i];
        files.push_back(std::move(file));
    }
    auto data = AudioDiscData::create(std::move(files), artificialPregap);
    std::vector<AudioCue> discCues;
    for (const TestCue& cue : cues)
        discCues.push_back(
            {.keyFrame = cue.keyFrame, .trackIndex = cue.trackIndex, .chapter = cue.chapter});
    return AudioDisc(std::move(data), std::move(discCues), std::nullopt,
                     AudioDisc::Source::cueSheet(Url::fileURL("/memory/disc.cue")), AudioDiscServices{});
}

PlayerHarness::PlayerHarness()
    : PlayerHarness(nullptr) {}

PlayerHarness::PlayerHarness(std::function<std::size_t(std::size_t, std::size_t)> randomIndex) {
    player =
        AudioDiscPlayer::create({engine, populate, scheduler, mainThread, defaults, std::move(randomIndex)});
}

void PlayerHarness::pump() {
    while (populate->drain() + scheduler->drain() + mainThread->drain() > 0) {
    }
}

long PlayerHarness::consume(long buffers) {
    long consumed = 0;
    pump();
    while (consumed < buffers && node().consumeOne()) {
        ++consumed;
        pump();
    }
    return consumed;
}

void PlayerHarness::insert(AudioDisc disc) {
    player->insertDisc(std::move(disc));
    pump();
}

} // namespace lorvan::test
