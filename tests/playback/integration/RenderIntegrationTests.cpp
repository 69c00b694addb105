// Whole discs through the real player, reader and scheduler threads, the graph engine and the
// offline output, compared with their files decoded on their own.

#include "IntegrationSupport.hpp"
#include "core/LocalizedError.hpp"
#include "platform/SoxrResampler.hpp"
#include "playback/OfflineDiscRender.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace lorvan::test {
namespace {

Planes render(const std::filesystem::path& cueSheet, const DiscRenderOptions& options = {}) {
    Planes heard;
    renderDisc(
        assembleDisc(cueSheet), platform::soxrResamplerFactory(),
        [&heard](const float* const* planes, int channels, std::uint32_t frames) {
            append(heard, planes, channels, frames);
        },
        options);
    return heard;
}

class PlayerRender : public testing::TestWithParam<bool> {};

// Gapless and exact across files and pregaps: from the first frame sought to the end of the
// disc, every sample is the decoded files' own.
TEST_P(PlayerRender, StartsWithTheExactFrameOfASeekAndPlaysBitExactToTheEnd) {
    TemporaryDirectory directory;
    const auto cueSheet = writeDemoDisc(directory.path(), GetParam());
    const DecodedDisc expected = decodeDisc(cueSheet);
    // Inside the first track, on the second track's pregap (the end of the first file in the
    // split layout) and two frames before the end.
    for (const std::int64_t frame : {std::int64_t{123457}, expected.secondTrackPregap + 1,
                                     static_cast<std::int64_t>(expected.frames()) - 2}) {
        SCOPED_TRACE(frame);
        const Planes heard = render(cueSheet, {.volume = {}, .startFrame = frame});
        ASSERT_EQ(heard[0].size(), expected.frames() - static_cast<std::size_t>(frame));
        expectSameAudio(heard, expected.planes, static_cast<std::size_t>(frame));
    }
    // The reader's bound is the last frame: from there nothing is read, and the render ends
    // instead of waiting for audio that never comes.
    const auto last = static_cast<std::int64_t>(expected.frames()) - 1;
    EXPECT_TRUE(
        render(cueSheet, {.volume = {}, .startFrame = last, .stallTimeout = std::chrono::milliseconds(200)})
            .empty());
}

INSTANTIATE_TEST_SUITE_P(DemoLayouts, PlayerRender, testing::Values(false, true),
                         [](const auto& layout) { return layout.param ? "OneFilePerTrack" : "OneFile"; });

TEST(PlayerRenderFigures, RateChangesTheLengthAndVolumeScalesEverySample) {
    TemporaryDirectory directory;
    const auto cueSheet = writeDemoDisc(directory.path(), false);
    const DecodedDisc expected = decodeDisc(cueSheet);
    const auto played = expected.frames() - static_cast<std::size_t>(expected.firstTrackStart);
    // The whole disc, resampled: its length is the disc's divided by the rate, to the nearest
    // frame. The slowest rate is where the resampler's delay used to cost the last frame; at
    // 3.7 the quotient's fraction is above a half, so rounding and cutting differ; past 4 the
    // player's own limit is the rate.
    for (const auto& [rate, heardRate] :
         {std::pair{0.25F, 0.25F}, std::pair{0.8F, 0.8F}, std::pair{3.7F, 3.7F}, std::pair{9.0F, 4.0F}}) {
        SCOPED_TRACE(rate);
        const Planes heard = render(cueSheet, {.rate = rate, .volume = {}, .startFrame = {}});
        EXPECT_EQ(heard[0].size(), static_cast<std::size_t>(std::llround(static_cast<double>(played) /
                                                                         static_cast<double>(heardRate))));
        EXPECT_GT(rms(heard[0]), 0.5 * rms(expected.planes[0])) << "not silence";
    }
    // Started inside the disc, the length counts from there.
    const auto from = static_cast<std::int64_t>(expected.frames()) - 100001;
    EXPECT_EQ(render(cueSheet, {.rate = 0.3F, .volume = {}, .startFrame = from})[0].size(),
              static_cast<std::size_t>(std::llround(100001.0 / static_cast<double>(0.3F))));

    const Planes quiet = render(cueSheet, {.volume = 0.5F, .startFrame = {}});
    ASSERT_EQ(quiet[0].size(), played);
    Planes halved = expected.planes;
    for (auto& plane : halved)
        std::ranges::for_each(plane, [](float& sample) { sample *= 0.5F; });
    expectSameAudio(quiet, halved, static_cast<std::size_t>(expected.firstTrackStart));
}

TEST(PlayerRenderFaults, AFileCutShortWhilePlayingStopsTheRenderWithAnErrorAfterWhatWasRead) {
    TemporaryDirectory directory;
    const auto cueSheet = writeDemoDisc(directory.path(), true);
    const DecodedDisc expected = decodeDisc(cueSheet);
    Planes heard;
    bool cut = false;
    CapturedLog log;
    EXPECT_THROW(renderDisc(assembleDisc(cueSheet), platform::soxrResamplerFactory(),
                            [&](const float* const* planes, int channels, std::uint32_t frames) {
                                append(heard, planes, channels, frames);
                                // Early in the first file, long before the reader gets to the second.
                                if (!cut && heard[0].size() > 4096) {
                                    std::filesystem::resize_file(directory.path() / "02 A Minor Walk.flac",
                                                                 1000);
                                    cut = true;
                                }
                            },
                            {.volume = {}, .startFrame = {}, .stallTimeout = std::chrono::milliseconds(300)}),
                 DiscRenderError);
    ASSERT_TRUE(cut);
    // What was scheduled before the cut played out, sample for sample.
    ASSERT_GT(heard[0].size(), 4096u);
    ASSERT_LT(heard[0].size(), expected.frames());
    expectSameAudio(heard, expected.planes, static_cast<std::size_t>(expected.firstTrackStart));
    EXPECT_FALSE(log.text().empty());
}

// The command renders through `renderDisc`, which the cases above pin on both layouts.
TEST(PlayerRenderCommand, WritesTheDecodedSamplesToWaveAndFlacAndRefusesBadOptionsAndMissingDiscs) {
    TemporaryDirectory directory;
    const auto cueSheet = writeDemoDisc(directory.path(), true);
    const DecodedDisc expected = decodeDisc(cueSheet);
    const auto start = static_cast<std::size_t>(expected.firstTrackStart);
    const auto render = "render " + shellQuoted(cueSheet);
    for (const char* extension : {".wav", ".flac"}) {
        SCOPED_TRACE(extension);
        const auto output = directory.path() / (std::string("out") + extension);
        const auto run = runProcess(LORVAN_CLI, render + " -o " + shellQuoted(output));
        ASSERT_EQ(run.status, 0) << run.out;
        EXPECT_NE(run.out.find("Rendered " + std::to_string(expected.frames() - start)), std::string::npos)
            << run.out;
        const Planes written = decodeFile(output);
        ASSERT_EQ(written[0].size(), expected.frames() - start);
        expectSameAudio(written, expected.planes, start);
    }

    const auto out = " -o " + shellQuoted(directory.path() / "fast.wav");
    for (const std::string& options : {" -o " + shellQuoted(directory.path() / "out.mp3"),
                                       " -o " + shellQuoted(directory.path() / "out.flac") + " --format f32",
                                       out + " --format s8", out + " --rate nan", std::string()})
        EXPECT_EQ(runProcess(LORVAN_CLI, render + options).status, 2) << options;
    const auto missing =
        runProcess(LORVAN_CLI, "render " + shellQuoted(directory.path() / "none.cue") + out, "", true);
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.out.find("Couldn't open"), std::string::npos) << missing.out;
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "fast.wav"));

    // Out of range: clamped with the player's warning, and the render still happens.
    const auto fast = runProcess(LORVAN_CLI, render + out + " --rate 9 --format f32");
    EXPECT_EQ(fast.status, 0) << fast.out;
    EXPECT_NE(fast.out.find("9 is a value too high for playback rate. It must between 0.25 and 4.0."),
              std::string::npos)
        << fast.out;
    EXPECT_EQ(decodeFile(directory.path() / "fast.wav")[0].size(), (expected.frames() - start + 2) / 4)
        << "the clamped rate's length, rounded";
}

std::vector<std::string> partialFiles(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().filename().string().find(".partial-") != std::string::npos)
            names.push_back(entry.path().filename().string());
    return names;
}

// The disc's own audio, under its name or through a link, is never opened for writing; a render
// that fails or is ended by a signal leaves the file that was at the output path as it was.
TEST(PlayerRenderCommand, NeverLosesAUsersFile) {
    TemporaryDirectory directory;
    const auto cueSheet = writeDemoDisc(directory.path(), true);
    const auto render = "render " + shellQuoted(cueSheet) + " -o ";
    const auto rip = directory.path() / "02 A Minor Walk.flac";
    const std::string ripBytes = fileText(rip);
    ASSERT_FALSE(ripBytes.empty());
    std::filesystem::create_symlink(rip, directory.path() / "alias.flac");
    for (const auto& target : {rip, directory.path() / "alias.flac"}) {
        SCOPED_TRACE(target);
        const auto run = runProcess(LORVAN_CLI, render + shellQuoted(target), "", true);
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.out.find("It is the disc's own file"), std::string::npos) << run.out;
        EXPECT_EQ(fileText(rip), ripBytes);
    }

    const auto kept = directory.write("kept.wav", "the user's own file");
    // Cut short after assembly has read its length: the render starts, then fails.
    TemporaryDirectory broken;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path()))
        if (entry.is_regular_file())
            std::filesystem::copy(entry.path(), broken.path() / entry.path().filename());
    std::filesystem::resize_file(broken.path() / "02 A Minor Walk.flac",
                                 std::filesystem::file_size(broken.path() / "02 A Minor Walk.flac") / 2);
    const auto failed = runProcess(LORVAN_CLI, "render " + shellQuoted(broken.path() / "Lorvan Demo.cue") +
                                                   " -o " + shellQuoted(kept));
    EXPECT_EQ(failed.status, 1) << failed.out;
    EXPECT_EQ(fileText(kept), "the user's own file");
    EXPECT_TRUE(partialFiles(directory.path()).empty());

    // SIGTERM once the temporary file exists: 128 + 15, nothing left behind, the target as it was.
    const std::string command =
        shellQuoted(LORVAN_CLI) + " " + render + shellQuoted(kept) + " --rate 0.25 >/dev/null";
    const auto signalled = runProcess(
        "/bin/sh",
        "-c " +
            shellQuoted(command + " & pid=$!; cd " + shellQuoted(directory.path()) +
                        "; i=0; while [ $i -lt 2000 ] && ! ls .kept.partial-* >/dev/null 2>&1; "
                        "do i=$((i+1)); sleep 0.005; done; kill -TERM $pid; wait $pid; echo \"exit $?\""));
    EXPECT_NE(signalled.out.find("exit 143"), std::string::npos) << signalled.out;
    EXPECT_EQ(fileText(kept), "the user's own file");
    EXPECT_TRUE(partialFiles(directory.path()).empty());

    // A render that succeeds replaces the target.
    EXPECT_EQ(runProcess(LORVAN_CLI, render + shellQuoted(kept)).status, 0);
    EXPECT_EQ(decodeFile(kept)[0].size(),
              decodeDisc(cueSheet).frames() - static_cast<std::size_t>(decodeDisc(cueSheet).firstTrackStart));
    EXPECT_TRUE(partialFiles(directory.path()).empty());
}

} // namespace
} // namespace lorvan::test
