#pragma once

#include "ThemeColors.hpp"

#include <QToolButton>
#include <QWidget>

class QAction;

namespace lorvan::window {

/// A transport control drawn as a vector glyph in the theme's colours; it shows and triggers
/// its action (text, tooltip, checked state, enabled state).
class GlyphButton : public QToolButton {
    Q_OBJECT
public:
    enum class Glyph {
        previousTrack,
        previousChapter,
        play,
        pause,
        stopEject,
        nextChapter,
        nextTrack,
        repeat,
        repeatOne,
        shuffle,
        timeMode,
        newBeat,
        speaker,
        mute,
        amplifier,
    };

    GlyphButton(Glyph glyph, QAction* action, QWidget* parent = nullptr);
    void setGlyph(Glyph glyph);
    [[nodiscard]] Glyph glyph() const { return glyph_; }
    void setColors(const ThemeColors& colors);
    /// Large: the play button.
    void setProminent(bool prominent);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    Glyph glyph_;
    ThemeColors colors_;
    bool prominent_ = false;
    bool hovered_ = false;
};

} // namespace lorvan::window
