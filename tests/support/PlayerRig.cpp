#include "support/PlayerRig.hpp"

#include "core/UserDefaults.hpp"
#include "cuesheet/CueSheet.hpp"
#include "platform/PlatformDiscServices.hpp"
#include "platform/SoxrResampler.hpp"

#include <chrono>
#include <gtest/gtest.h>

namespace lorvan::test {

namespace {
constexpr std::uint32_t framesPerBuffer = 882;
}

PlayerRig::PlayerRig() {
    auto owned = std::make_unique<ManualAudioOutput>();
    output = owned.get();
    auto engine = std::make_shared<GraphAudioEngine>(std::move(owned), platform::soxrResamplerFactory());
    node = &engine->playerNode();
    player = AudioDiscPlayer::create(
        {engine, reader, scheduler, mainThread, std::make_shared<InMemoryUserDefaults>(), {}});
    viewModel.emplace(player, mainThread);
}

PlayerRig::~PlayerRig() {
    if (player) player->insertDisc(std::nullopt);
    pump();
}

void PlayerRig::load(const std::filesystem::path& cueSheet) {
    player->load(AudioDisc::fromCueSheet(CueSheet(Url::fileURL(cueSheet)), platform::audioDiscServices()),
                 false);
    settle();
}

void PlayerRig::pump() {
    while (reader->runAll() + scheduler->runAll() + mainThread->runAll() > 0) {
    }
}

void PlayerRig::settle() {
    pump();
    for (int round = 0; round < 1000 && mainThread->delayedCount() > 0; ++round) {
        mainThread->advance(PlaybackViewModel::publicationInterval);
        pump();
    }
    ASSERT_EQ(mainThread->delayedCount(), 0u);
}

void PlayerRig::play(long buffers) {
    while (reader->runAll() + scheduler->runAll() > 0) {
    }
    const std::size_t before = node->pendingCount();
    ASSERT_GE(before, static_cast<std::size_t>(buffers));
    (void)output->pull(static_cast<std::uint32_t>(buffers) * framesPerBuffer);
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (node->pendingCount() > before - static_cast<std::size_t>(buffers))
        ASSERT_LT(std::chrono::steady_clock::now(), giveUp) << "the completions never ran";
}

} // namespace lorvan::test
