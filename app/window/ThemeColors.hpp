#pragma once

#include "presentation/LCTheme.hpp"

#include <QColor>
#include <QPalette>

namespace lorvan::window {

[[nodiscard]] QColor qColor(const Color& color);

/// The colours of the controls around the display, so that the window reads as one device
/// whose face is the theme: a body a shade darker than the display's glass, its labels in the
/// display's ink, its active controls in the accent.
/// `top` (with its alpha) laid over the opaque `bottom`.
[[nodiscard]] QColor over(const QColor& top, const QColor& bottom);
/// Perceived lightness, OKLab's L (0 black ... 1 white), of the opaque colour.
[[nodiscard]] double lightness(const QColor& color);

struct ThemeColors {
    QColor body;      // the panel behind the controls
    QColor bodyEdge;  // a line between panels
    QColor well;      // recessed areas: the navigator's bar, the track list
    QColor primary;   // labels and glyphs
    QColor secondary; // less important text
    QColor accent;    // active toggles, the played part, the playing row's tint
    QColor hover;     // a hovered control or row
    /// The playing row: a tint of the accent over the well, and its text, the accent where
    /// that stands out from the tinted row, else the ink.
    QColor playingRow;
    QColor playingText;

    [[nodiscard]] static ThemeColors of(const LCTheme& theme);
    /// A palette for the widgets around the display (menus and dialogs keep the desktop's).
    [[nodiscard]] QPalette palette() const;
};

} // namespace lorvan::window
