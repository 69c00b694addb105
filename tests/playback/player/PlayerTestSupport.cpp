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

std::vector<std::string> logEntries(const CapturedLog& log) {
    std::vector<std::string> entries;
    for (const std::string& line : log.lines()) {
        const auto label = std::min(line.find(" -"), line.find(" \u00B7"));
        entries.push_back(line.substr(0, label) + ": " + line.substr(line.rfind(": ") + 2));
    }
    return entries;
}

AudioDisc makeDisc(const std::vector<std::int64_t>& fileLengths, const std::vector<TestCue>& cues,
                   std::uint32_t artificialPregap, std::optional<float> constant) {
    std::vector<std::unique_ptr<AudioFile>> files;
    std::int64_t base = artificialPregap;
    for (const std::int64_t length : fileLengths) {
        files.push_back(std::make_unique<MemoryAudioFile>(
            "file" + std::to_string(files.size()) + ".wav", length,
            [base, constant](int channel, std::int64_t frame) {
                const float value = constant.value_or(frameSample(base + frame));
                return channel == 0 || constant ? value : -value;
            }));
        base += length;
    }
    std::vector<AudioCue> discCues;
    for (const auto& [frame, track, chapter] : cues)
        discCues.push_back({.keyFrame = frame, .trackIndex = track, .chapter = chapter});
    return AudioDisc(AudioDiscData::create(std::move(files), artificialPregap), std::move(discCues),
                     std::nullopt, AudioDisc::Source::cueSheet(Url::fileURL("/memory/disc.cue")),
                     AudioDiscServices{});
}

} // namespace lorvan::test
