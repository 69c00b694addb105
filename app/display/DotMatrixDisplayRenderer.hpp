#pragma once

#include "presentation/DisplayState.hpp"
#include "presentation/DotMatrixRasterizer.hpp"
#include "presentation/LCTheme.hpp"
#include "presentation/UserUISettings.hpp"

#include <QImage>
#include <QRect>
#include <QString>
#include <array>
#include <string>
#include <unordered_map>
#include <vector>

namespace lorvan {

/// The display's size and its matrix geometry, in points; `scale` is pixels per point.
struct DisplayGeometry {
    double width = 600;
    double height = 274;
    double scale = 2;
    double dotSize = UserUISettings::matrixDotSize;
    long horizontalPadding = UserUISettings::horizontalPaddingInMatrixDots;
    long topPadding = UserUISettings::topPaddingInMatrixDots;
    long bottomPadding = UserUISettings::bottomPaddingInMatrixDots;
};

/// Where each element sits, in matrix dots from the top left dot.
struct DisplayLayout {
    long columns = 0;
    long rows = 0;
    QRect statusLine;
    QRect time;
    QRect timeLabel;
    QRect bufferingMeter;
    QRect title;
    QRect subtitle;
    QRect progressBar;
    QRect leftMeter;
    QRect rightMeter;
    long meterSegments = 20;
    long bufferingSegments = 10;
    /// Top-left corner of the dot grid in points (the grid is centred in the display).
    double originX = 0;
    double originY = 0;
};

/// Draws the dot-matrix display into an image, the same way in the main window and in previews:
/// background gradient, unlit dots, lit dots with their two-layer halo, inner shadows, glass
/// reflection, brightness. Texts go through the Unifont rasteriser; the large digits use the
/// seven-segment DSEG7 face when a Qt GUI application provides fonts, else doubled matrix glyphs.
/// Keeps caches of set texts, so one renderer per view; main thread only.
class DotMatrixDisplayRenderer {
public:
    explicit DotMatrixDisplayRenderer(const DotMatrixRasterizer& rasterizer);

    [[nodiscard]] static DisplayLayout layout(const DisplayGeometry& geometry);

    /// A new image of width × scale by height × scale pixels.
    [[nodiscard]] QImage render(const DisplayState& state, const LCTheme& theme, double brightness,
                                const DisplayGeometry& geometry = {});
    /// Draws into `target`, reallocating it only when its size or format must change.
    void render(QImage& target, const DisplayState& state, const LCTheme& theme, double brightness,
                const DisplayGeometry& geometry = {});

    /// The pixel at the centre of matrix dot (`column`, `row`).
    [[nodiscard]] static QPoint dotCenter(const DisplayGeometry& geometry, long column, long row);

    /// `geometry` made drawable: finite, scale 0.25...8, dot size 0.5...64 points, at most
    /// `maximumPixels` pixels per side.
    [[nodiscard]] static DisplayGeometry sanitized(const DisplayGeometry& geometry);
    static constexpr double maximumPixels = 8192;

    [[nodiscard]] bool usesSevenSegmentFont() const { return !sevenSegmentFamily_.isEmpty(); }

private:
    using Pixel = std::array<float, 4>; // premultiplied red, green, blue, alpha

    // The steps of a frame, in order.
    /// Sets what each dot shows (`lit_`) and how it glows (`glow_`).
    void putContent(const DisplayState& state, const DisplayLayout& layout, const LCTheme& theme);
    static void paintBackground(QImage& target, const LCTheme& theme, float brightness);
    /// Blurs the glow into the two halo layers and fills `haloImage_`, one pixel per dot.
    void blurHalo(const LCTheme& theme, const DisplayGeometry& geometry, float brightness);
    void paintHalo(QImage& target, const DisplayLayout& layout, const LCTheme& theme,
                   const DisplayGeometry& geometry) const;
    void paintDots(QImage& target, const DisplayLayout& layout, const LCTheme& theme,
                   const DisplayGeometry& geometry, float brightness) const;
    /// Inner shadows and the glass reflection.
    static void paintGlass(QImage& target, const LCTheme& theme, double scale);

    const DotMatrix& textDots(const std::string& text);
    /// Coverage (0...1) of `text` set in the seven-segment face, `height` dots tall.
    const std::pair<long, std::vector<float>>& sevenSegmentCoverage(const std::string& text, long height);
    void put(long x, long y, const Color& color, const Color& glow, float intensity);
    void putText(const std::string& text, const QRect& box, const LCTheme& theme, long scale = 1);
    void putTime(const std::string& text, const QRect& box, const LCTheme& theme);
    void putMeter(double level, long segments, const ColorMap& map, const QRect& box, const LCTheme& theme);
    void putProgress(const DisplayState& state, const QRect& box, const LCTheme& theme);

    const DotMatrixRasterizer& rasterizer_;
    QString sevenSegmentFamily_;
    std::unordered_map<std::string, DotMatrix> textCache_;
    std::unordered_map<std::string, std::pair<long, std::vector<float>>> digitCache_;
    long columns_ = 0;
    long rows_ = 0;
    std::vector<Pixel> lit_;  // per dot
    std::vector<Pixel> glow_; // per dot, blurred into the halo
    std::vector<Pixel> haloA_;
    std::vector<Pixel> haloB_;
    std::vector<Pixel> scratch_;
    QImage haloImage_;
};

} // namespace lorvan
