// Reading ahead, scheduling and completions: gapless and exact output, the limits of the
// deque and of the node, read failures, and the buffering meter.

#include "PlayerTestSupport.hpp"
#include "support/TestSupport.hpp"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lorvan::test {
namespace {

using State = AudioDiscPlayer::State;

/// The left channel `makeDisc` generates for `first`...`first + count - 1`.
std::vector<float> expectedFrames(std::int64_t first, std::int64_t count) {
    std::vector<float> frames(static_cast<std::size_t>(count));
    std::ranges::generate(frames, [frame = first]() mutable { return frameSample(frame++); });
    return frames;
}

TEST(BufferSchedulingTest, AMultiFileDiscWithPregapsPlaysBitExactFromStartToEnd) {
    PlayerHarness h;
    // Lengths that are no multiple of a buffer, an artificial pregap, and track pregaps that
    // lie in the previous files.
    h.insert(makeDisc({5'003, 3'001, 7'777},
                      {{0, 0, 0}, {150, 0, 1}, {4'000, 1, 0}, {5'500, 1, 1}, {7'900, 2, 0}, {9'000, 2, 1}},
                      150));
    h.player->seekToFrame(0, false);
    h.consume();
    std::vector<std::vector<float>> expected(2, std::vector<float>(150, 0.0F));
    for (const float sample : expectedFrames(150, 5'003 + 3'001 + 7'777)) {
        expected[0].push_back(sample);
        expected[1].push_back(-sample);
    }
    EXPECT_EQ(h.node().heard, expected);
    EXPECT_EQ(h.player->state(), State::stopped) << "the end of the disc was reached";
}

TEST(BufferSchedulingTest, TheReaderStopsBeforeTheLastFrameAndTheLastShortBufferAdvancesByItsLength) {
    PlayerHarness h;
    // The bound is the end minus one: a single trailing frame stays unread.
    h.insert(makeDisc({2 * 882 + 1}, {{0, 0, 1}}));
    h.player->seekToFrame(0, false);
    h.pump();
    EXPECT_EQ(h.node().scheduled.size(), 2U);
    EXPECT_EQ(h.player->currentBufferingPosition(), 2 * 882);

    const std::int64_t total = 3 * 882 + 100;
    h.insert(makeDisc({total}, {{0, 0, 1}}));
    h.player->seekToFrame(0, false);
    h.pump();
    ASSERT_EQ(h.node().scheduled.size(), 4U);
    EXPECT_EQ(h.node().scheduled.back().buffer->frameLength(), 100U);
    std::vector<std::int64_t> positions;
    h.player->onPositionsChanged = [&](bool, bool, double, std::int64_t frame, auto...) {
        positions.push_back(frame);
    };
    h.player->playPause(); // pause, so that the end is recorded instead of acted upon
    h.consume();
    EXPECT_EQ(h.player->discFramePosition(), total);
    EXPECT_TRUE(h.player->lastFrameReachedWhilePaused());
    EXPECT_EQ(positions, (std::vector<std::int64_t>{882, 1'764, 2'646}));
}

TEST(BufferSchedulingTest,
     NewBuffersGoInFrontTheOldestAreScheduledFirstBothStayAtTheirLimitsAndPassesAreOneHop) {
    PlayerHarness h;
    h.insert(makeDisc({2'000'000}, {{0, 0, 1}}));
    h.player->seekToFrame(1'000, false);
    ASSERT_EQ(h.populate->runAll(), 1U);
    EXPECT_EQ(h.player->dequeCount(), AudioDiscPlayer::readAheadLimit);
    const std::int64_t reading = h.player->currentBufferingPosition();
    EXPECT_EQ(reading, 1'000 + 50 * 882);
    EXPECT_DOUBLE_EQ(h.player->bufferingMeter().level(), 50.0 / 500.0) << "the deque's buffers count";

    h.pump();
    EXPECT_EQ(h.player->currentlyScheduledBuffers(), AudioDiscPlayer::schedulingLimit);
    EXPECT_EQ(h.player->dequeCount(), AudioDiscPlayer::readAheadLimit);
    ASSERT_EQ(h.node().scheduled.size(), 450U);
    for (std::size_t i = 0; i < h.node().scheduled.size(); ++i)
        ASSERT_EQ(h.node().scheduled[i].buffer->channelData(0)[0], frameSample(1'000 + 882 * std::int64_t(i)))
            << i;
    EXPECT_DOUBLE_EQ(h.player->bufferingMeter().level(), 1.0);
    EXPECT_EQ(h.player->currentBufferingPosition(), reading + 450 * 882);

    // With a full deque a reading pass reads nothing; each consumed buffer is replaced from it.
    h.player->fill();
    h.populate->runAll();
    EXPECT_EQ(h.player->currentBufferingPosition(), reading + 450 * 882);
    ASSERT_TRUE(h.node().consumeOne());
    EXPECT_EQ(h.player->currentlyScheduledBuffers(), 449);
    h.scheduler->runAll();
    EXPECT_EQ(h.player->currentlyScheduledBuffers(), 450);
    EXPECT_EQ(h.player->dequeCount(), 49);
    h.pump();
    EXPECT_EQ(h.player->dequeCount(), 50);
    EXPECT_EQ(h.player->currentBufferingPosition(), reading + 451 * 882);

    // Twenty buffers consumed before the scheduler gets to run: one pass is queued, not twenty,
    // and it tops the node up for all of them.
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(h.node().consumeOne());
    EXPECT_EQ(h.scheduler->pendingCount(), 1U);
    EXPECT_EQ(h.scheduler->runAll(), 1U);
    EXPECT_EQ(h.player->currentlyScheduledBuffers(), AudioDiscPlayer::schedulingLimit);
    EXPECT_EQ(h.player->dequeCount(), AudioDiscPlayer::readAheadLimit - 20);

    // The same for reading: one pass refills the deque however often it was asked for.
    h.player->fill();
    h.player->fill();
    EXPECT_EQ(h.populate->pendingCount(), 1U);
    EXPECT_EQ(h.populate->runAll(), 1U);
    EXPECT_EQ(h.player->dequeCount(), AudioDiscPlayer::readAheadLimit);

    // A pass asked for once the queued one has started is queued again, so nothing is missed.
    ASSERT_TRUE(h.node().consumeOne());
    EXPECT_EQ(h.scheduler->runAll(), 1U);
    ASSERT_TRUE(h.node().consumeOne());
    EXPECT_EQ(h.scheduler->pendingCount(), 1U);
    h.pump();
    EXPECT_EQ(h.player->currentlyScheduledBuffers(), AudioDiscPlayer::schedulingLimit);
    EXPECT_EQ(h.player->dequeCount(), AudioDiscPlayer::readAheadLimit);
}

TEST(BufferSchedulingTest, SeekingWhileBuffersAreScheduledCountsNoFlushedBuffer) {
    PlayerHarness h;
    h.insert(makeDisc({2'000'000}, {{0, 0, 1}, {1'000'000, 1, 1}}));
    h.player->seekToFrame(0, false);
    h.consume(10);
    ASSERT_EQ(h.player->discFramePosition(), 8'820);
    const int stops = h.node().stopCount;
    h.player->seekToFrame(1'234'567, false);
    EXPECT_EQ(h.node().stopCount, stops + 1);
    EXPECT_EQ(std::tuple(h.player->discFramePosition(), h.player->currentlyScheduledBuffers(),
                         h.player->currentDequeIndex()),
              std::tuple(1'234'567, 0, 0));
    EXPECT_FALSE(h.player->playbackIsResetting());

    h.node().heard.clear();
    h.consume(3);
    EXPECT_EQ(h.player->discFramePosition(), 1'234'567 + 3 * 882);
    EXPECT_EQ(h.node().heard[0], expectedFrames(1'234'567, 3 * 882))
        << "the first frame heard is the one sought";
}

TEST(BufferSchedulingTest, AReadErrorIsPrintedAndRetriedFromTheSameFrame) {
    PlayerHarness h;
    h.insert(makeDisc({200'000, 600'000}, {{0, 0, 1}, {200'000, 1, 1}}));
    h.player->seekToFrame(100'000, false);
    h.pump();
    const std::int64_t stalledAt = h.player->currentBufferingPosition();

    // The file layer's block starts with the operation, the reader's own line is the error's
    // description; one failure is one of each.
    const std::string block = "Operation 'ExtAudioFileRead' on audio file";
    const std::string description = "Operation 'ExtAudioFileRead' failed";
    {
        CapturedLog log;
        h.file(0).failing = h.file(1).failing = true;
        h.consume(5);
        // Every consumed buffer retries the read; the failure is still one block and one line.
        EXPECT_EQ(log.count(block), 1U) << log.text();
        EXPECT_EQ(log.count(description), 1U) << log.text();
        EXPECT_EQ(h.player->currentBufferingPosition(), stalledAt) << "nothing was read past the failure";
        EXPECT_EQ(h.player->state(), State::playing);
    }

    h.file(0).failing = h.file(1).failing = false;
    h.node().heard.clear();
    const std::int64_t position = h.player->discFramePosition();
    h.consume(600);
    // 600 buffers, one of them cut short by the end of the first file: no gap and no repeat.
    EXPECT_EQ(h.node().heard[0], expectedFrames(position, 599 * 882 + 334));

    // A read succeeded in between: the next failure is a new one and is logged again, once.
    h.player->seekToFrame(300'000, false);
    h.pump();
    CapturedLog again;
    h.file(1).failing = true;
    EXPECT_EQ(h.consume(5), 5);
    EXPECT_EQ(again.count(block), 1U) << again.text();
    EXPECT_EQ(again.count(description), 1U) << again.text();
}

TEST(BufferingMeterTest, StepsOfATenthOf500BuffersAreLoggedAndTheNewestIsPublishedOnTheMainThread) {
    const auto mainThread = std::make_shared<ManualMainThreadExecutor>();
    const auto meter = AudioBufferingMeter::create(mainThread);
    std::vector<double> published;
    meter->onDisplayLevelChanged = [&](double level) { published.push_back(level); };
    // {buffers, the step logged}: steps round half away from zero, and only a new step logs.
    std::vector<std::pair<long, std::string>> table{{24, ""},      {25, "10 %"},   {74, ""},
                                                    {150, "30 %"}, {500, "100 %"}, {0, "0 %"}};
    for (long tenth = 1; tenth <= 9; ++tenth)
        table.emplace_back(tenth * 50, std::to_string(tenth * 10) + " %");
    for (const auto& [buffers, step] : table) {
        CapturedLog log;
        meter->update(buffers);
        EXPECT_DOUBLE_EQ(meter->level(), static_cast<double>(buffers) / 500.0) << buffers;
        EXPECT_EQ(logEntries(log), step.empty() ? std::vector<std::string>{}
                                                : std::vector<std::string>{"⦿ Buffering Level: " + step});
    }
    EXPECT_DOUBLE_EQ(meter->discreteLevel(), 0.9);
    EXPECT_EQ(meter->displayLevel(), 0.0) << "published only on the main thread";
    mainThread->runAll();
    EXPECT_EQ(published, (std::vector<double>{0.9})) << "the gauge settles on the newest step";
}

} // namespace
} // namespace lorvan::test
