#pragma once

#include "GlyphButton.hpp"
#include "ThemeColors.hpp"

#include <QDial>
#include <QLabel>
#include <QWidget>

namespace lorvan::window {

/// A knob drawn in the theme's colours: a recessed ring, the set part of the range lit in the
/// accent, a pointer. Double-click emits `resetRequested`.
class ThemedDial : public QDial {
    Q_OBJECT
public:
    explicit ThemedDial(QWidget* parent = nullptr);
    void setColors(const ThemeColors& colors);
    /// The value the lit arc starts from (the rate dial lights from 1.0 outwards).
    void setOrigin(int origin);
    [[nodiscard]] QSize sizeHint() const override { return {44, 44}; }

signals:
    void resetRequested();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    ThemeColors colors_;
    int origin_ = 0;
};

/// The rate dial (0.25...4.0 in 0.05 steps, with New Beat) and the volume dial (with mute and
/// the amplifier switch), with their readouts.
class RateVolumePanel : public QWidget {
    Q_OBJECT
public:
    RateVolumePanel(QAction* newBeat, QAction* mute, QAction* amplifier, QWidget* parent = nullptr);

    /// Shows the player's values without echoing them back as requests.
    void setRate(float rate, bool newBeat);
    void setVolume(float volume, bool amplifierOn);
    void setColors(const ThemeColors& colors);

    [[nodiscard]] ThemedDial* rateDial() const { return rateDial_; }
    [[nodiscard]] ThemedDial* volumeDial() const { return volumeDial_; }

    static constexpr int rateSteps = 20; // dial units per 1.0 of rate: 0.05 each

signals:
    void rateChosen(float rate);
    void rateResetRequested();
    void volumeChosen(float volume);

private:
    ThemedDial* rateDial_;
    ThemedDial* volumeDial_;
    QLabel* rateLabel_;
    QLabel* volumeLabel_;
    GlyphButton* newBeat_;
    GlyphButton* mute_;
    GlyphButton* amplifier_;
    bool updating_ = false;
};

} // namespace lorvan::window
