#pragma once

#include "app/display/DotMatrixDisplayRenderer.hpp"
#include "presentation/UserUISettings.hpp"

#include <QImage>
#include <QWidget>
#include <memory>

namespace lorvan::window {

/// The dot-matrix display. Draws through the renderer at the screen's pixel ratio, only when
/// painted (so never while hidden or minimised), and only when what it shows, its theme,
/// brightness or size changed since the last frame.
class DisplayView : public QWidget {
    Q_OBJECT
public:
    DisplayView(UserUISettings& settings, QWidget* parent = nullptr);
    ~DisplayView() override;

    void setState(const DisplayState& state);
    [[nodiscard]] const DisplayState& state() const { return state_; }
    /// Frames rendered so far (a frame that was not needed is not counted).
    [[nodiscard]] long renderedFrames() const { return renderedFrames_; }
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
    void invalidate();

    UserUISettings& settings_;
    std::unique_ptr<DotMatrixRasterizer> rasterizer_;
    std::unique_ptr<DotMatrixDisplayRenderer> renderer_;
    DisplayState state_;
    QImage frame_;
    bool dirty_ = true;
    long renderedFrames_ = 0;
    Published<LCTheme>::Subscription themeWatch_;
    Published<double>::Subscription brightnessWatch_;
};

} // namespace lorvan::window
