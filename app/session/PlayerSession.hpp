#pragma once

#include "core/UserDefaults.hpp"
#include "disc/AudioDisc.hpp"
#include "playback/AudioDiscPlayer.hpp"
#include "playback/AudioOutput.hpp"
#include "playback/PlaybackStallWatchdog.hpp"

#include <QTimer>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lorvan {

class SelectableOutput;

/// The one player of a process and everything it runs on: the sound output (a device, or the
/// null output when none can be opened or when asked for), the graph engine, the reader and
/// scheduler queues, the Qt main thread, the user defaults, and the watchdog that notices a
/// pipeline run dry. The window and `lorvan-cli play` each own one for as long as they play.
///
/// Threads. Made, used and destroyed on the main thread of a running `QCoreApplication` (or
/// `QApplication`), whose event loop carries the player's main-thread work and the watchdog's
/// timer. Every notification is delivered on that thread, from the event loop, never from
/// inside a session call. The player follows its own contract (see `AudioDiscPlayer`).
class PlayerSession {
public:
    /// Makes the output for a device name (empty: the system's default). Main thread.
    using OutputFactory =
        std::function<std::unique_ptr<AudioOutput>(const std::optional<std::string>& deviceName)>;

    struct Options {
        /// False: the null output, a clock at the disc's pace that plays nothing.
        bool soundDevice = true;
        /// Set: makes every output instead of the device or the null output, `soundDevice`
        /// aside; asked again for each device chosen with `setOutputDevice`. The window's tests
        /// play through the manual output this way.
        OutputFactory makeOutput;
        /// The output device: empty for the system's default, else one of `outputDeviceNames()`.
        /// A device that cannot be opened falls back to the null output with a warning.
        std::optional<std::string> deviceName;
        /// Empty: the user's persisted defaults (`QtUserDefaults`).
        std::shared_ptr<UserDefaults> userDefaults;
        /// Set: shuffles draw from a generator seeded with it, for a repeatable order; else the
        /// system's random source.
        std::optional<std::uint64_t> shuffleSeed;
        /// How long the pipeline may stay dry while playing before the watchdog acts.
        std::chrono::milliseconds stallTimeout = PlaybackStallWatchdog::defaultTimeout;
    };

    /// What the views need to tell the user about. Set before playing; each runs on the main
    /// thread after the session has acted.
    struct Notifications {
        /// The reader reached the disc's last frame and nothing more came: the disc has ended
        /// and the player was stopped (`stopEject`), as the end of the disc would.
        std::function<void()> discEndedAtStall;
        /// A read failed while playing and the read-ahead ran dry before `frame`: the session
        /// logged "Playback stopped: the disc could not be read from frame N." and stopped the
        /// player (`stopEject`). The read error itself was logged by the reader.
        std::function<void(std::int64_t frame)> readFailed;
        /// The sound device went away while playing; the null output took over, logged with a
        /// warning, and playback goes on at its pace.
        std::function<void()> soundDeviceLost;
    };

    /// Opens the output and builds the player, stopped and empty, its repeat mode read from the
    /// user defaults. Logs a warning when the device falls back to the null output.
    explicit PlayerSession(Options options);
    /// Shuts down if `shutDown` has not been called.
    ~PlayerSession();
    PlayerSession(const PlayerSession&) = delete;
    PlayerSession& operator=(const PlayerSession&) = delete;

    /// The player, until `shutDown`.
    [[nodiscard]] AudioDiscPlayer& player() const { return *player_; }
    [[nodiscard]] const std::shared_ptr<AudioDiscPlayer>& sharedPlayer() const { return player_; }
    [[nodiscard]] UserDefaults& userDefaults() const { return *userDefaults_; }
    /// The Qt main thread the player posts to, for the player's observers to post to as well.
    [[nodiscard]] const std::shared_ptr<MainThreadExecutor>& mainThread() const { return mainThread_; }

    Notifications notifications;

    /// Opens `path` (a cue sheet, or a folder of audio files) as a disc and loads it, playing
    /// at once when `autoplay`. A refused open throws its `LocalizedError`, already logged, and
    /// leaves the disc that was in the player playing; an `AudioEngineError` from loading
    /// reaches the caller too (the new disc is then in the player, stopped).
    void open(const std::filesystem::path& path, bool autoplay);
    /// Starts assembling `path` as a disc (`openDisc`) on a thread of its own, so that the
    /// caller can build its window meanwhile; `open` with the result waits for it. Any thread.
    [[nodiscard]] static std::future<AudioDisc> assemble(const std::filesystem::path& path);
    /// `open` for a disc that `assemble` has been assembling: waits for it, then loads it or
    /// throws as `open` does.
    void open(std::future<AudioDisc> assembly, bool autoplay);

    /// The output device for the discs loaded from now on (the one playing keeps its device):
    /// empty for the system's default, else a name from `outputDeviceNames()`.
    void setOutputDevice(std::optional<std::string> deviceName);

    /// Ejects (`insertDisc(nullopt)`: stops the engine and the output), then runs the event
    /// loop until the queues have handed back their last reference to the player. Afterwards
    /// `player()` must not be called; a second call does nothing.
    void shutDown();

private:
    void load(const std::function<AudioDisc()>& assemble, bool autoplay);
    void watch();

    /// Gone with the session: notifications still on their way to the main thread drop out.
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);
    std::shared_ptr<UserDefaults> userDefaults_;
    std::shared_ptr<MainThreadExecutor> mainThread_;
    SelectableOutput* output_ = nullptr; // owned by the engine, which the player owns
    std::shared_ptr<AudioDiscPlayer> player_;
    PlaybackStallWatchdog watchdog_;
    QTimer watchdogTimer_;
};

/// The names of the output devices PortAudio offers, in its order, for the Preferences to list
/// beside the system default. Main thread.
[[nodiscard]] std::vector<std::string> outputDeviceNames();

} // namespace lorvan
