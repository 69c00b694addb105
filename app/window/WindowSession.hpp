#pragma once

#include "core/UserDefaults.hpp"
#include "playback/AudioDiscPlayer.hpp"
#include "playback/AudioOutput.hpp"

#include <filesystem>
#include <memory>

namespace lorvan::window {

/// The window's one player with its engine, queues and main thread. Main thread only.
class WindowSession {
public:
    WindowSession(std::unique_ptr<AudioOutput> output, std::shared_ptr<UserDefaults> defaults);
    ~WindowSession();
    WindowSession(const WindowSession&) = delete;
    WindowSession& operator=(const WindowSession&) = delete;

    [[nodiscard]] AudioDiscPlayer& player() const { return *player_; }
    [[nodiscard]] const std::shared_ptr<AudioDiscPlayer>& sharedPlayer() const { return player_; }

    /// What opening `path` reads: a cue sheet or a folder as it is, an audio file's folder.
    [[nodiscard]] static std::filesystem::path discLocation(const std::filesystem::path& path);
    /// Assembles the disc at `path` and puts it in the player. A refusal throws its
    /// `LocalizedError` before the player is touched, so the disc in it plays on.
    void open(const std::filesystem::path& path, bool autoplay);
    /// Ejects, then waits until the queues have let go of the player. Idempotent.
    void shutDown();

private:
    std::shared_ptr<AudioDiscPlayer> player_;
};

} // namespace lorvan::window
