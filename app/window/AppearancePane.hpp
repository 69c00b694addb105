#pragma once

#include "app/display/DotMatrixDisplayRenderer.hpp"
#include "presentation/UserUISettings.hpp"

#include <QImage>
#include <QTimer>
#include <QWidget>
#include <map>
#include <memory>

class QButtonGroup;
class QLabel;
class QSlider;
class QToolButton;

namespace lorvan {

/// The Appearance pane: the built-in themes as small live previews, the chosen one larger above
/// them, and the display brightness. A choice applies at once through `UserUISettings`, which
/// publishes it to every display and stores it; changes made elsewhere (the View menu) show here.
class AppearancePane : public QWidget {
    Q_OBJECT
public:
    /// `settings` must outlive the pane.
    explicit AppearancePane(UserUISettings& settings, QWidget* parent = nullptr);
    ~AppearancePane() override;

    /// What the previews show; `DisplayState::typical()` until set.
    void setPreviewState(const DisplayState& state);

    [[nodiscard]] QToolButton* themeButton(LCBuiltInTheme theme) const { return buttons_.at(theme); }
    [[nodiscard]] QSlider* brightnessSlider() const { return brightness_; }
    /// The large preview of the chosen theme, as last drawn.
    [[nodiscard]] QImage currentPreview() const { return currentImage_; }

    /// Brightness slider positions: hundredths, 10...100.
    static constexpr int sliderMinimum = 10;
    static constexpr int sliderMaximum = 100;

private:
    void showSelection();
    void showBrightness(double brightness);
    /// Redraws the previews once the event loop is idle: a dragged slider asks many times.
    void schedulePreviews();
    void drawPreviews();

    UserUISettings& settings_;
    std::unique_ptr<DotMatrixRasterizer> rasterizer_;
    std::unique_ptr<DotMatrixDisplayRenderer> renderer_;
    DisplayState state_ = DisplayState::typical();
    QLabel* current_;
    QLabel* currentName_;
    QImage currentImage_;
    QButtonGroup* group_;
    std::map<LCBuiltInTheme, QToolButton*> buttons_;
    QSlider* brightness_;
    QLabel* brightnessValue_;
    QTimer redraw_;
    Published<LCTheme>::Subscription themeWatch_;
    Published<double>::Subscription brightnessWatch_;
};

} // namespace lorvan
