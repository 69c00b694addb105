#include "presentation/PlayerSettings.hpp"

#include "core/LogEntry.hpp"
#include "presentation/UserUISettings.hpp"

#include <charconv>
#include <cmath>

namespace lorvan {
namespace {

bool isUsable(const PlayerWindowSize& size) {
    return std::isfinite(size.width) && std::isfinite(size.height) && size.width > 0 && size.height > 0;
}

} // namespace

std::optional<PlayerWindowSize> PlayerSettings::parseSize(std::string_view text) {
    const auto separator = text.find('x');
    if (separator == std::string_view::npos) return std::nullopt;
    PlayerWindowSize size;
    const auto parse = [](std::string_view part, double& out) {
        const auto [end, ec] = std::from_chars(part.data(), part.data() + part.size(), out);
        return ec == std::errc() && end == part.data() + part.size() && !part.empty();
    };
    if (!parse(text.substr(0, separator), size.width) || !parse(text.substr(separator + 1), size.height))
        return std::nullopt;
    if (!isUsable(size)) return std::nullopt;
    return size;
}

std::string PlayerSettings::sizeText(const PlayerWindowSize& size) {
    return shortestDecimal(size.width) + "x" + shortestDecimal(size.height);
}

PlayerSettings::PlayerSettings(UserDefaults& defaults)
    : defaults_(defaults) {
    if (const auto text = defaults_.string(lastSizeKey)) {
        if (const auto size = parseSize(*text)) {
            stored_ = *size;
            lastSize.set(*size);
        } else {
            LogEntry::warning(
                "Ignoring the stored window size \"" + *text + "\": it is not <width>x<height>.", "➤")
                .print();
        }
    }
    if (const auto device = defaults_.string(outputDeviceKey)) outputDevice.set(*device);
    if (const auto text = defaults_.string(playWhenOpenedKey)) {
        if (*text == "true" || *text == "false") {
            playWhenOpened.set(*text == "true");
        } else {
            LogEntry::warning("Ignoring the stored choice \"" + *text +
                                  "\" for playing an opened disc: it is "
                                  "neither true nor false.",
                              "➤")
                .print();
        }
    }
    persistDevice_ = outputDevice.subscribe(
        [this](const std::string& device) { defaults_.setString(outputDeviceKey, device); });
    persistPlayWhenOpened_ = playWhenOpened.subscribe(
        [this](bool play) { defaults_.setString(playWhenOpenedKey, play ? "true" : "false"); });
    persist_ = lastSize.subscribe([this](const PlayerWindowSize& size) {
        if (!isUsable(size)) {
            LogEntry::warning(sizeText(size) + " is not a usable window size.", "➤").print();
            lastSize.set(stored_);
            return;
        }
        if (size == stored_ && defaults_.string(lastSizeKey)) return;
        stored_ = size;
        defaults_.setString(lastSizeKey, sizeText(size));
    });
}

} // namespace lorvan
