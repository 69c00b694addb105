#pragma once

#include "ThemeColors.hpp"
#include "disc/AudioDisc.hpp"

#include <QPixmap>
#include <QWidget>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace lorvan::window {

/// Where a fraction of the disc bar lands on the disc, as the player defines seeking by
/// fraction: frame = p × disc frame count, truncated, within the disc.
struct NavigatorGeometry {
    /// The largest frame f with f / total ≤ p (so that the fraction of a cue's frame maps back
    /// to that frame despite rounding), clamped to 0...total − 1.
    [[nodiscard]] static std::int64_t frameAtFraction(double p, std::int64_t total);
    [[nodiscard]] static double fractionOfFrame(std::int64_t frame, std::int64_t total);
    /// Where `frame` is drawn on a bar from `left`, `width` wide.
    [[nodiscard]] static double xOfFrame(std::int64_t frame, std::int64_t total, double left, double width);
    /// The frame a click at `x` chooses: the last one drawn at or left of `x`, so that a click on
    /// a drawn tick lands on its frame.
    [[nodiscard]] static std::int64_t frameAtX(double x, std::int64_t total, double left, double width);

    /// The cue sounding at `frame`: the last one whose key frame is at or before it.
    struct Place {
        long track = 0;   // 0-based
        long chapter = 1; // the INDEX number
        /// Frames from the track's INDEX 01, negative inside its pregap.
        std::int64_t trackFrames = 0;
    };
    [[nodiscard]] static std::optional<Place> placeAt(const AudioDisc& disc, std::int64_t frame);
    /// "Track 2 · Index 00 · -0:02 — Title".
    [[nodiscard]] static std::string hoverText(const AudioDisc& disc, std::int64_t frame);
};

/// The whole disc as one bar: tracks as segments, pregaps shaded, chapter ticks and the play
/// position. A click or a drag seeks; hovering shows the track, index and time under the pointer.
class DiscNavigator : public QWidget {
    Q_OBJECT
public:
    explicit DiscNavigator(QWidget* parent = nullptr);

    void setDisc(std::shared_ptr<const AudioDisc> disc);
    void setPosition(double fraction);
    void setColors(const ThemeColors& colors);

    /// The bar's area, where fractions 0...1 lie from left to right.
    [[nodiscard]] QRectF barRect() const;
    /// The fraction under widget x-coordinate `x`, 0...1.
    [[nodiscard]] double fractionAt(double x) const;
    /// Where `frame` of the current disc is drawn; 0 without a disc.
    [[nodiscard]] double xOfFrame(std::int64_t frame) const;
    [[nodiscard]] QSize sizeHint() const override;

signals:
    /// The user chose `frame` (by click or drag).
    void seekRequested(std::int64_t frame);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void seekTo(double x);
    /// Everything but the cursor, with `playedFraction` (0...1) of the disc lit as played.
    void paintBar(QPainter& painter, double playedFraction, bool hovered) const;

    /// What the two cached pictures of the bar were made for.
    struct LayerKey {
        QSize size;
        qreal scale = 0;
        const AudioDisc* disc = nullptr;
        QRgb accent = 0, well = 0, secondary = 0, body = 0, primary = 0, edge = 0;
        friend bool operator==(const LayerKey&, const LayerKey&) = default;
    };

    std::shared_ptr<const AudioDisc> disc_;
    double position_ = 0;
    std::optional<double> hover_;
    bool dragging_ = false;
    ThemeColors colors_;
    LayerKey layerKey_;
    /// The bar all to come and all played.
    std::array<QPixmap, 2> layers_;
};

} // namespace lorvan::window
