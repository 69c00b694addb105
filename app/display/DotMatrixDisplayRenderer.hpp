#pragma once

#include "app/display/PrefaultedAllocator.hpp"
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

    friend bool operator==(const DisplayGeometry&, const DisplayGeometry&) = default;
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

/// Draws the dot-matrix display, the same way in the main window and in previews: background
/// gradient, unlit dots, lit dots with their two-layer halo, inner shadows, glass reflection,
/// brightness. Texts go through the Unifont rasteriser; the large digits use the seven-segment
/// DSEG7 face when a Qt GUI application provides fonts, else doubled matrix glyphs.
///
/// The renderer keeps its last frame and redraws only what changed since: what each element
/// shows is compared with the previous frame, the halo is blurred again only around the dots
/// that changed, and only the pixels over changed dots or changed halo are composed again, from
/// layers kept per size, theme and brightness (background, dot positions, shadows and glass). A
/// partial frame has exactly the pixels a whole frame of the same state has. One renderer per
/// view; main thread only.
class DotMatrixDisplayRenderer {
public:
    explicit DotMatrixDisplayRenderer(const DotMatrixRasterizer& rasterizer);

    [[nodiscard]] static DisplayLayout layout(const DisplayGeometry& geometry);

    /// Brings `image()` to `state` and returns the rectangles, in the image's pixels, whose
    /// pixels may have changed; none when nothing did. The first frame, and any frame with
    /// another size, scale, theme or brightness than the last, is drawn whole and returns the
    /// whole image.
    std::vector<QRect> update(const DisplayState& state, const LCTheme& theme, double brightness,
                              const DisplayGeometry& geometry = {});
    /// Whether `update` with these values would change the frame. Cheap: nothing is drawn, so a
    /// view can call it for every published state and repaint only when it says yes.
    [[nodiscard]] bool wouldChange(const DisplayState& state, const LCTheme& theme, double brightness,
                                   const DisplayGeometry& geometry = {}) const;
    /// The frame of the last `update` (width × scale by height × scale pixels); null before it.
    [[nodiscard]] const QImage& image() const { return frame_; }

    /// A new image of one frame, width × scale by height × scale pixels.
    [[nodiscard]] QImage render(const DisplayState& state, const LCTheme& theme, double brightness,
                                const DisplayGeometry& geometry = {});
    /// The frame copied into `target`, reallocating it only when its size or format must change.
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

    /// The elements of the display, in drawing order; each stays inside its box of the layout.
    enum class Part { status, time, timeLabel, buffering, title, subtitle, progress, leftMeter, rightMeter };
    static constexpr int partCount = 9;

    /// What the dots show, reduced to what decides them: meter levels as lit segments, the
    /// progress as dot columns. Two states with equal `Drawn` values give the same frame.
    struct Drawn {
        std::string statusLeft, statusRight, time, timeLabel, title, subtitle;
        long buffering = 0, left = 0, right = 0;
        long filled = 0, cursor = 0;
        std::vector<long> markers;

        [[nodiscard]] bool samePart(const Drawn& other, Part part) const;
    };
    [[nodiscard]] static Drawn drawn(const DisplayState& state, const DisplayLayout& layout);
    [[nodiscard]] static QRect box(const DisplayLayout& layout, Part part);

    /// A layer that covers part of some rows in one colour per row, as Qt fills a vertical
    /// gradient: the inner shadows and the glass reflection.
    struct RowLayer {
        std::vector<std::uint32_t> color; // premultiplied ARGB per row; 0 where the layer is absent
        std::vector<int> left, right;     // the covered pixels of each row, [left, right)
    };

    /// Everything that depends on size, theme and brightness only.
    void prepare(const DisplayGeometry& geometry, const LCTheme& theme, float brightness);
    void prepareHaloSampling(const DisplayGeometry& geometry, const LCTheme& theme);
    void prepareLayers(const LCTheme& theme);

    // The steps of a frame, in order.
    /// Draws `parts` into `lit_` and `glow_` after clearing their boxes; returns, per part, the
    /// dots whose colour changed and the dots whose glow changed.
    void putParts(const Drawn& drawn, const std::array<bool, partCount>& parts,
                  std::vector<QRect>& dotsChanged, std::vector<QRect>& glowChanged);
    /// Blurs the glow again around `glowChanged` and returns the dots whose halo changed.
    QRect blurHalo(const QRect& glowChanged);
    /// Composes the pixels of `rect` from the layers: background, halo, dots, shadows, glass.
    void compose(QImage& target, const QRect& rect) const;
    void composeHalo(std::uint32_t* line, int y, int left, int right) const;
    /// The optional overall blur of the sharp frame, for the pixels of `rect`.
    void blurFrame(const QRect& rect);

    [[nodiscard]] QRect pixelsOfDots(const QRect& dots) const;
    [[nodiscard]] QRect pixelsOfHalo(const QRect& dots) const;

    const DotMatrix& textDots(const std::string& text);
    /// Coverage (0...1) of `text` set in the seven-segment face, `height` dots tall.
    const std::pair<long, std::vector<float>>& sevenSegmentCoverage(const std::string& text, long height);
    void put(long x, long y, const Color& color, const Color& glow, float intensity);
    void putText(const std::string& text, const QRect& box, long scale = 1);
    void putTime(const std::string& text, const QRect& box);
    void putMeter(long litSegments, long segments, const ColorMap& map, const QRect& box);
    void putProgress(const Drawn& drawn, const QRect& box);

    const DotMatrixRasterizer& rasterizer_;
    QString sevenSegmentFamily_;
    std::unordered_map<std::string, DotMatrix> textCache_;
    std::unordered_map<std::string, std::pair<long, std::vector<float>>> digitCache_;

    // What the caches were made for; `prepared_` is false until the first frame.
    bool prepared_ = false;
    DisplayGeometry geometry_;
    LCTheme theme_;
    float brightness_ = 1;
    DisplayLayout layout_;
    Drawn drawn_;

    long columns_ = 0;
    long rows_ = 0;
    long halfColumns_ = 0;
    long halfRows_ = 0;
    LargeBuffer<Pixel> lit_;              // per dot
    LargeBuffer<Pixel> glow_;             // per dot, blurred into the halo
    LargeBuffer<std::uint32_t> dotColor_; // per dot, what is drawn over the halo
    LargeBuffer<float> haloA_;            // per dot and channel, the tight layer, in glow units
    LargeBuffer<float> haloB_;            // the wide layer at half resolution
    LargeBuffer<std::uint32_t> halo_;     // per dot, both layers at the theme's opacity
    LargeBuffer<float> blurScratch_;
    LargeBuffer<float> blurWork_;
    mutable std::vector<std::uint32_t> haloRedBlue_, haloAlphaGreen_; // one row of the halo grid

    // Per size and theme: which dot each pixel shows (-1: a gap) and which pixels show each dot.
    std::vector<int> columnOfPixel_, rowOfPixel_;
    std::vector<int> firstPixelOfColumn_, lastPixelOfColumn_, firstPixelOfRow_, lastPixelOfRow_;
    // The halo's pixels and, per pixel, where it samples the halo grid (16.16 fixed point).
    QRect haloPixels_;
    std::vector<int> haloFx_, haloFy_;
    std::vector<int> firstHaloPixelOfColumn_, lastHaloPixelOfColumn_, firstHaloPixelOfRow_,
        lastHaloPixelOfRow_;
    // Bilinear positions of the half-resolution layer, per dot column and row.
    struct Sample {
        long i0, i1;
        float f;
    };
    std::vector<Sample> halfSampleX_, halfSampleY_;
    std::array<long, 3> radiiA_{}, radiiB_{};
    float haloScaleA_ = 0, haloScaleB_ = 0;

    std::vector<std::uint32_t> background_; // per pixel row, dimmed by the brightness
    RowLayer topShadow_, bottomShadow_, glass_;
    int blurPasses_ = 0;
    QImage sharp_; // the frame before the overall blur, for themes that have one
    QImage frame_;
};

} // namespace lorvan
