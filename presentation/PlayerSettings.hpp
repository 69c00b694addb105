#pragma once

#include "core/UserDefaults.hpp"
#include "presentation/Published.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace lorvan {

/// Width and height of the player window in points.
struct PlayerWindowSize {
    double width = 0;
    double height = 0;

    friend bool operator==(const PlayerWindowSize&, const PlayerWindowSize&) = default;
};

/// The player window's last size, so that it reopens as the user left it, and the playback
/// preferences: the sound device and what opening a disc does. Each value set is stored at once.
/// Main thread only.
class PlayerSettings {
public:
    /// Stored as "<width>x<height>" in points, e.g. "600x512".
    static constexpr const char* lastSizeKey = "playerWindowLastSize";
    static constexpr PlayerWindowSize defaultSize{600.0, 512.0};

    /// Restores the stored size; a missing or unusable one (not two positive numbers) gives the
    /// default size, the latter with a warning. `defaults` must outlive this.
    explicit PlayerSettings(UserDefaults& defaults);
    PlayerSettings(const PlayerSettings&) = delete;
    PlayerSettings& operator=(const PlayerSettings&) = delete;

    /// The name of the chosen output device, as PortAudio lists it; empty (or the key absent) for
    /// the system's default device.
    static constexpr const char* outputDeviceKey = "outputDevice";
    /// "true" or "false": whether a disc starts playing as soon as it is opened.
    static constexpr const char* playWhenOpenedKey = "playDiscWhenOpened";

    /// Each valid size set is stored; an invalid one is refused with a warning and the
    /// previous size is published again.
    Published<PlayerWindowSize> lastSize{defaultSize};
    /// Empty for the system's default device. Takes effect for the next disc's output.
    Published<std::string> outputDevice{std::string()};
    /// True (the default): an opened disc plays at once; false: it waits, stopped at track 1.
    /// Anything stored other than "true" or "false" reads as the default, with a warning.
    Published<bool> playWhenOpened{true};

    /// The size in `text` ("600x512"), if it holds two finite positive numbers.
    [[nodiscard]] static std::optional<PlayerWindowSize> parseSize(std::string_view text);
    [[nodiscard]] static std::string sizeText(const PlayerWindowSize& size);

private:
    UserDefaults& defaults_;
    PlayerWindowSize stored_ = defaultSize;
    Published<PlayerWindowSize>::Subscription persist_;
    Published<std::string>::Subscription persistDevice_;
    Published<bool>::Subscription persistPlayWhenOpened_;
};

} // namespace lorvan
