#pragma once

#include <QIcon>
#include <QString>
#include <array>

namespace lorvan {

/// Every picture an action or button of the window shows.
enum class ActionIcon {
    play,
    pause,
    stop,
    eject,
    previousTrack,
    nextTrack,
    previousChapter,
    nextChapter,
    repeat,
    repeatTrack,
    shuffle,
    volume,
    volumeMuted,
    amplifier,
    rate,
    timeMode,
    openCueSheet,
    openFolder,
    preferences,
    about,
    consoleLog,
    discInfo,
    copy,
    webLookup,
    save,
    clear,
    quit,
};

inline constexpr std::array allActionIcons{
    ActionIcon::play,
    ActionIcon::pause,
    ActionIcon::stop,
    ActionIcon::eject,
    ActionIcon::previousTrack,
    ActionIcon::nextTrack,
    ActionIcon::previousChapter,
    ActionIcon::nextChapter,
    ActionIcon::repeat,
    ActionIcon::repeatTrack,
    ActionIcon::shuffle,
    ActionIcon::volume,
    ActionIcon::volumeMuted,
    ActionIcon::amplifier,
    ActionIcon::rate,
    ActionIcon::timeMode,
    ActionIcon::openCueSheet,
    ActionIcon::openFolder,
    ActionIcon::preferences,
    ActionIcon::about,
    ActionIcon::consoleLog,
    ActionIcon::discInfo,
    ActionIcon::copy,
    ActionIcon::webLookup,
    ActionIcon::save,
    ActionIcon::clear,
    ActionIcon::quit,
};

/// The freedesktop icon-naming name the desktop's theme is asked for ("media-playback-start"),
/// or an empty string for a picture the freedesktop icon names do not cover.
[[nodiscard]] QString themeIconName(ActionIcon icon);

/// The icon for `icon`: the desktop theme's when it has one, else Lorvan's own drawing, tinted
/// with the application palette's text colours (normal, disabled, selected) so it reads on light
/// and dark styles alike; the theme is looked at when the icon is first drawn. Main thread (needs
/// a QGuiApplication).
[[nodiscard]] QIcon actionIcon(ActionIcon icon);

/// Lorvan's own drawing alone, whatever the desktop theme holds.
[[nodiscard]] QIcon fallbackActionIcon(ActionIcon icon);

} // namespace lorvan
