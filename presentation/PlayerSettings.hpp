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

/// The player window's last size, so that it reopens as the user left it. Main thread only.
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

    /// Each valid size set is stored; an invalid one is refused with a warning and the
    /// previous size is published again.
    Published<PlayerWindowSize> lastSize{defaultSize};

    /// The size in `text` ("600x512"), if it holds two finite positive numbers.
    [[nodiscard]] static std::optional<PlayerWindowSize> parseSize(std::string_view text);
    [[nodiscard]] static std::string sizeText(const PlayerWindowSize& size);

private:
    UserDefaults& defaults_;
    PlayerWindowSize stored_ = defaultSize;
    Published<PlayerWindowSize>::Subscription persist_;
};

} // namespace lorvan
