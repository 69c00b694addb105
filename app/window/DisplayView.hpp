#pragma once

#include "app/display/DotMatrixDisplayRenderer.hpp"
#include "presentation/UserUISettings.hpp"

#include <QRegion>
#include <QWidget>
#include <memory>

namespace lorvan::window {

/// The dot-matrix display. Draws through the renderer at the screen's pixel ratio, and only what
/// changed: a new state, theme or brightness that changes no pixel draws nothing, one that does
/// redraws and repaints only the renderer's changed rectangles. While the view is hidden or its
/// window minimised nothing is drawn; the next paint brings the frame up to date.
class DisplayView : public QWidget {
    Q_OBJECT
public:
    DisplayView(UserUISettings& settings, QWidget* parent = nullptr);
    ~DisplayView() override;

    void setState(const DisplayState& state);
    [[nodiscard]] const DisplayState& state() const { return state_; }
    /// Frames rendered so far, whole or partial (a frame that was not needed is not counted).
    [[nodiscard]] long renderedFrames() const { return renderedFrames_; }
    /// The widget area the last frame changed, in widget coordinates.
    [[nodiscard]] const QRegion& lastChangedRegion() const { return lastChanged_; }
    /// Where the large digits sit, in widget coordinates.
    [[nodiscard]] QRectF timeRect() const;

    [[nodiscard]] QSize sizeHint() const override;

signals:
    void timeClicked();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    [[nodiscard]] DisplayGeometry geometry() const;
    /// Whether a frame drawn now could be seen.
    [[nodiscard]] bool drawable() const;
    /// Brings the renderer's frame up to date when it can be seen, and repaints what changed.
    void redraw();
    /// Brings the renderer's frame up to date; the changed area in widget coordinates.
    QRegion drawFrame();

    UserUISettings& settings_;
    std::unique_ptr<DotMatrixRasterizer> rasterizer_;
    std::unique_ptr<DotMatrixDisplayRenderer> renderer_;
    DisplayState state_;
    long renderedFrames_ = 0;
    QRegion lastChanged_;
    Published<LCTheme>::Subscription themeWatch_;
    Published<double>::Subscription brightnessWatch_;
};

} // namespace lorvan::window
