#pragma once

#include "playback/AudioDiscPlayer.hpp"
#include "playback/BuiltInOutputs.hpp"
#include "playback/GraphAudioEngine.hpp"
#include "playback/ManualExecutors.hpp"
#include "presentation/PlaybackViewModel.hpp"

#include <filesystem>
#include <memory>
#include <optional>

namespace lorvan::test {

/// The real player as the faces' tests drive it: the graph engine on the manual output, the
/// deterministic queues and main thread (with its manual clock), the process's one view model,
/// and a disc loaded from a cue sheet, stopped. Everything runs on the test's thread except the
/// engine's completions.
struct PlayerRig {
    PlayerRig();
    /// Ejects and lets the queues finish.
    ~PlayerRig();
    PlayerRig(const PlayerRig&) = delete;
    PlayerRig& operator=(const PlayerRig&) = delete;

    /// Loads `cueSheet` without playing and settles.
    void load(const std::filesystem::path& cueSheet);
    /// Runs the reader, the scheduler and the main thread until none has anything left to do now.
    void pump();
    /// Pumps and lets the clock run past every pending publication, so the next change
    /// publishes at once.
    void settle();
    /// The output plays `buffers` buffers; returns once the completion thread has handled them,
    /// without running the main thread.
    void play(long buffers);

    std::shared_ptr<ManualSerialQueue> reader = std::make_shared<ManualSerialQueue>();
    std::shared_ptr<ManualSerialQueue> scheduler = std::make_shared<ManualSerialQueue>();
    std::shared_ptr<ManualMainThreadExecutor> mainThread = std::make_shared<ManualMainThreadExecutor>();
    ManualAudioOutput* output = nullptr;
    GraphPlayerNode* node = nullptr;
    std::shared_ptr<AudioDiscPlayer> player;
    std::optional<PlaybackViewModel> viewModel;
};

} // namespace lorvan::test
