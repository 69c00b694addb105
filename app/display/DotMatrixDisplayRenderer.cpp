#include "app/display/DotMatrixDisplayRenderer.hpp"

#include <QCoreApplication>
#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace lorvan {
namespace {

constexpr long textHeight = 16;

QColor qColor(const Color& c) {
    return QColor::fromRgbF(float(c.red), float(c.green), float(c.blue), float(c.alpha));
}

std::array<float, 4> premultiplied(const Color& c, float intensity) {
    const float a = static_cast<float>(c.alpha) * intensity;
    return {static_cast<float>(c.red) * a, static_cast<float>(c.green) * a, static_cast<float>(c.blue) * a,
            a};
}

/// Premultiplied source-over of `s` on `d`, rounded as Qt's raster engine rounds it, so that the
/// layers Qt drew once can be laid over again pixel by pixel with Qt's own result.
inline std::uint32_t byteMul(std::uint32_t x, std::uint32_t a) {
    std::uint32_t t = (x & 0xFF00FFu) * a;
    t = ((t + ((t >> 8) & 0xFF00FFu) + 0x800080u) >> 8) & 0xFF00FFu;
    x = ((x >> 8) & 0xFF00FFu) * a;
    x = (x + ((x >> 8) & 0xFF00FFu) + 0x800080u) & 0xFF00FF00u;
    return x | t;
}
inline std::uint32_t over(std::uint32_t s, std::uint32_t d) {
    return s + byteMul(d, 255 - (s >> 24));
}

/// The glow is blurred in whole units of 1/65535 (the wide layer's halved grid in four times
/// that), so that every sum below is exact.
constexpr float glowUnits = 65535;

/// The radii of three box blurs that approximate a Gaussian whose "radius" (as a drop shadow's
/// blur radius) is `radius` dots; the boxes follow Kovesi's widths for a standard deviation of
/// radius / 2. A radius of 0 skips a pass.
std::array<long, 3> boxRadii(double radius) {
    std::array<long, 3> radii{};
    if (!(radius > 0.05)) return radii;
    const double sigma = std::min(radius, 60.0) / 2.0;
    const double ideal = std::sqrt(12.0 * sigma * sigma / 3.0 + 1.0);
    long lower = static_cast<long>(std::floor(ideal));
    if (lower % 2 == 0) --lower;
    const long upper = lower + 2;
    const double m =
        std::round((12.0 * sigma * sigma - 3.0 * lower * lower - 12.0 * lower - 9.0) / (-4.0 * lower - 4.0));
    for (int pass = 0; pass < 3; ++pass)
        radii[static_cast<std::size_t>(pass)] = std::max(0L, ((pass < m ? lower : upper) - 1) / 2);
    return radii;
}

/// Three box blurs of a grid of four channels, each across then down, outside the grid counting
/// as transparent. The values are whole numbers below 2^24 and each pass rounds its averages to
/// whole numbers, so the running sums are exact: a result depends only on its neighbourhood,
/// never on where a row or column started, and a window of a larger grid blurs to the same
/// values as the whole grid wherever the window reaches the sum of the radii beyond.
/// Rows are walked in memory order so the loops vectorise.
void boxBlur(LargeBuffer<float>& pixels, LargeBuffer<float>& scratchPixels, long width, long height,
             const std::array<long, 3>& radii) {
    if (width <= 0 || height <= 0) return;
    scratchPixels.resize(pixels.size());
    float* data = pixels.data();
    float* scratch = scratchPixels.data();
    const std::size_t stride = static_cast<std::size_t>(width) * 4;
    std::vector<float> sums(stride), zeros(stride, 0.0f);
    const auto rounded = [](float v) { return static_cast<float>(static_cast<int>(v + 0.5f)); };
    for (const long r : radii) {
        if (r <= 0) continue;
        const float norm = 1.0f / static_cast<float>(2 * r + 1);
        for (long y = 0; y < height; ++y) {
            const float* __restrict row = data + static_cast<std::size_t>(y) * stride;
            float* __restrict out = scratch + static_cast<std::size_t>(y) * stride;
            float sum[4] = {0, 0, 0, 0};
            for (long x = 0; x <= std::min(r, width - 1); ++x)
                for (int c = 0; c < 4; ++c)
                    sum[c] += row[x * 4 + c];
            for (long x = 0; x < width; ++x) {
                for (int c = 0; c < 4; ++c)
                    out[x * 4 + c] = rounded(sum[c] * norm);
                if (x + r + 1 < width)
                    for (int c = 0; c < 4; ++c)
                        sum[c] += row[(x + r + 1) * 4 + c];
                if (x - r >= 0)
                    for (int c = 0; c < 4; ++c)
                        sum[c] -= row[(x - r) * 4 + c];
            }
        }
        std::fill(sums.begin(), sums.end(), 0.0f);
        for (long y = 0; y <= std::min(r, height - 1); ++y) {
            const float* __restrict row = scratch + static_cast<std::size_t>(y) * stride;
            for (std::size_t i = 0; i < stride; ++i)
                sums[i] += row[i];
        }
        for (long y = 0; y < height; ++y) {
            float* __restrict out = data + static_cast<std::size_t>(y) * stride;
            const float* __restrict entering =
                y + r + 1 < height ? scratch + static_cast<std::size_t>(y + r + 1) * stride : zeros.data();
            const float* __restrict leaving =
                y - r >= 0 ? scratch + static_cast<std::size_t>(y - r) * stride : zeros.data();
            float* __restrict sum = sums.data();
            for (std::size_t i = 0; i < stride; ++i) {
                out[i] = rounded(sum[i] * norm);
                sum[i] += entering[i] - leaving[i];
            }
        }
    }
}

/// Byte-wise average of two premultiplied pixels, rounding down.
inline std::uint32_t average(std::uint32_t a, std::uint32_t b) {
    return (a & b) + (((a ^ b) >> 1) & 0x7F7F7F7Fu);
}

/// How many passes of the soft blur a radius in pixels takes (each adds a variance of half a pixel).
int blurPassesFor(double radiusInPixels) {
    if (!(radiusInPixels >= 0.25)) return 0;
    const double sigma = radiusInPixels / 2.0;
    return std::clamp(static_cast<int>(std::lround(2.0 * sigma * sigma)), 1, 16);
}

/// A soft blur of the finished picture, for themes that imitate a slightly unsharp screen: passes
/// of the [1 2 1] / 4 kernel across and down, the edges repeated. Each pass reads one pixel
/// around, so a window blurs like the whole picture `passes` pixels inside its edges.
void blurImage(QImage& image, int passes) {
    const int w = image.width(), h = image.height();
    if (w < 3 || h < 3) return;
    std::vector<std::uint32_t> previous(static_cast<std::size_t>(w)), current(static_cast<std::size_t>(w));
    for (int pass = 0; pass < passes; ++pass) {
        for (int y = 0; y < h; ++y) {
            auto* row = reinterpret_cast<std::uint32_t*>(image.scanLine(y));
            std::uint32_t left = row[0];
            for (int x = 0; x < w; ++x) {
                const std::uint32_t centre = row[x];
                const std::uint32_t right = x + 1 < w ? row[x + 1] : centre;
                row[x] = average(average(left, right), centre);
                left = centre;
            }
        }
        auto* first = reinterpret_cast<std::uint32_t*>(image.scanLine(0));
        std::copy(first, first + w, previous.begin());
        for (int y = 0; y < h; ++y) {
            auto* row = reinterpret_cast<std::uint32_t*>(image.scanLine(y));
            const auto* below =
                reinterpret_cast<const std::uint32_t*>(image.constScanLine(std::min(y + 1, h - 1)));
            std::copy(row, row + w, current.begin());
            for (int x = 0; x < w; ++x)
                row[x] = average(average(previous[static_cast<std::size_t>(x)], below[x]),
                                 current[static_cast<std::size_t>(x)]);
            previous.swap(current);
        }
    }
}

void paintBackground(QImage& target, const LCTheme& theme, float bright) {
    // The screen behind the dots, dimmed with the brightness like a backlight.
    QPainter painter(&target);
    const QRectF all(0, 0, target.width(), target.height());
    QLinearGradient background(0, 0, 0, target.height());
    const auto& colors = theme.backgroundColors;
    if (colors.empty()) background.setColorAt(0, Qt::black);
    for (std::size_t i = 0; i < colors.size(); ++i)
        background.setColorAt(
            colors.size() == 1 ? 0.0 : static_cast<double>(i) / static_cast<double>(colors.size() - 1),
            qColor(colors[i]));
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(all, background);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    if (bright < 1) painter.fillRect(all, QColor::fromRgbF(0, 0, 0, (1 - bright) * 0.6f));
}

/// Merges rectangles that overlap or touch until none do.
std::vector<QRect> merged(std::vector<QRect> rects) {
    for (bool again = true; again;) {
        again = false;
        for (std::size_t i = 0; i < rects.size() && !again; ++i)
            for (std::size_t j = i + 1; j < rects.size(); ++j)
                if (rects[i].adjusted(-1, -1, 1, 1).intersects(rects[j])) {
                    rects[i] |= rects[j];
                    rects.erase(rects.begin() + static_cast<std::ptrdiff_t>(j));
                    again = true;
                    break;
                }
    }
    return rects;
}

QString findSevenSegmentFamily() {
    auto* application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    if (!application) return {};
    // Application fonts live as long as the application object, so they are added once per object.
    static QGuiApplication* loadedFor = nullptr;
    static QString family;
    if (loadedFor != application) {
        loadedFor = application;
        const char* overridden = std::getenv("LORVAN_LCD_FONT");
        const QString path = overridden && *overridden
                                 ? QString::fromLocal8Bit(overridden)
                                 : QStringLiteral("/usr/share/fonts/truetype/dseg/DSEG7Classic-Bold.ttf");
        const int id = QFontDatabase::addApplicationFont(path);
        const QStringList families = id < 0 ? QStringList() : QFontDatabase::applicationFontFamilies(id);
        family = families.isEmpty() ? QString() : families.first();
    }
    return family;
}

/// The unlit segments an LCD shows behind its digits: every digit position as "8".
std::string ghostOf(const std::string& text) {
    std::string ghost = text;
    for (char& c : ghost)
        if ((c >= '0' && c <= '9') || c == '-' || c == ' ') c = '8';
    return ghost;
}

} // namespace

DotMatrixDisplayRenderer::DotMatrixDisplayRenderer(const DotMatrixRasterizer& rasterizer)
    : rasterizer_(rasterizer)
    , sevenSegmentFamily_(findSevenSegmentFamily()) {}

DisplayGeometry DotMatrixDisplayRenderer::sanitized(const DisplayGeometry& g) {
    // Whatever a window reports, the renderer draws something sensible and never allocates
    // an absurd image: sizes are finite, non-negative and at most maximumPixels per side.
    DisplayGeometry safe = g;
    const auto finite = [](double v, double fallback) { return std::isfinite(v) ? v : fallback; };
    safe.scale = std::clamp(finite(g.scale, 1.0), 0.25, 8.0);
    safe.dotSize = std::clamp(finite(g.dotSize, UserUISettings::matrixDotSize), 0.5, 64.0);
    safe.width = std::clamp(finite(g.width, 0.0), 0.0, maximumPixels / safe.scale);
    safe.height = std::clamp(finite(g.height, 0.0), 0.0, maximumPixels / safe.scale);
    // And a matrix of at most 2048 dots a side, which is far more than any screen shows.
    safe.dotSize = std::max({safe.dotSize, safe.width / 2048, safe.height / 2048});
    safe.horizontalPadding = std::max(0L, g.horizontalPadding);
    safe.topPadding = std::max(0L, g.topPadding);
    safe.bottomPadding = std::max(0L, g.bottomPadding);
    return safe;
}

DisplayLayout DotMatrixDisplayRenderer::layout(const DisplayGeometry& geometry) {
    DisplayLayout l;
    const DisplayGeometry g = sanitized(geometry);
    const double dot = g.dotSize;
    l.columns = std::max(0L, static_cast<long>(std::floor(g.width / dot + 1e-9)));
    l.rows = std::max(0L, static_cast<long>(std::floor(g.height / dot + 1e-9)));
    l.originX = (g.width - static_cast<double>(l.columns) * dot) / 2;
    l.originY = (g.height - static_cast<double>(l.rows) * dot) / 2;

    const long left = g.horizontalPadding, top = g.topPadding;
    const long width = std::max(0L, l.columns - 2 * g.horizontalPadding);
    const long timeWidth = width * 62 / 100;
    const long sideX = left + timeWidth + 6;
    const long sideWidth = std::max(0L, left + width - sideX);
    l.statusLine = QRect(int(left), int(top), int(width), int(textHeight));
    l.time = QRect(int(left), int(top + 21), int(timeWidth), 44);
    l.timeLabel = QRect(int(sideX), int(top + 21), int(sideWidth), int(textHeight));
    l.bufferingMeter = QRect(int(sideX), int(top + 45), int(sideWidth), int(textHeight));
    l.title = QRect(int(left), int(top + 71), int(width), int(textHeight));
    l.subtitle = QRect(int(left), int(top + 89), int(width), int(textHeight));
    l.progressBar = QRect(int(left), int(top + 111), int(width), 9);
    l.leftMeter = QRect(int(left), int(top + 126), int(width), int(textHeight));
    l.rightMeter = QRect(int(left), int(top + 145), int(width), int(textHeight));
    return l;
}

QPoint DotMatrixDisplayRenderer::dotCenter(const DisplayGeometry& geometry, long column, long row) {
    const DisplayGeometry g = sanitized(geometry);
    const DisplayLayout l = layout(g);
    return {
        static_cast<int>(std::floor((l.originX + (static_cast<double>(column) + 0.4) * g.dotSize) * g.scale)),
        static_cast<int>(std::floor((l.originY + (static_cast<double>(row) + 0.4) * g.dotSize) * g.scale))};
}

const DotMatrix& DotMatrixDisplayRenderer::textDots(const std::string& text) {
    if (auto it = textCache_.find(text); it != textCache_.end()) return it->second;
    if (textCache_.size() > 256) textCache_.clear(); // a scrolling title makes many; keep it bounded
    return textCache_.emplace(text, rasterizer_.rasterize(text)).first->second;
}

const std::pair<long, std::vector<float>>&
DotMatrixDisplayRenderer::sevenSegmentCoverage(const std::string& text, long height) {
    const std::string key = std::to_string(height) + "|" + text;
    if (auto it = digitCache_.find(key); it != digitCache_.end()) return it->second;
    if (digitCache_.size() > 64) digitCache_.clear();

    QFont font(sevenSegmentFamily_);
    font.setPixelSize(100);
    font.setStyleStrategy(QFont::PreferAntialias);
    const QFontMetricsF reference(font);
    const QRectF eight = reference.tightBoundingRect(QStringLiteral("8"));
    const double pixelSize = 100.0 * static_cast<double>(height) / std::max(1.0, eight.height());
    font.setPixelSize(std::max(1, static_cast<int>(std::lround(pixelSize))));
    const QFontMetricsF metrics(font);
    const QString qText = QString::fromStdString(text);
    const long width = static_cast<long>(std::ceil(metrics.horizontalAdvance(qText))) + 2;

    QImage image(static_cast<int>(width), static_cast<int>(height), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::TextAntialiasing);
        painter.setFont(font);
        painter.setPen(Qt::white);
        const QRectF tight = metrics.tightBoundingRect(QStringLiteral("8"));
        painter.drawText(QPointF(1, -tight.top()), qText);
    }
    std::vector<float> coverage(static_cast<std::size_t>(width * height));
    for (long y = 0; y < height; ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(static_cast<int>(y)));
        for (long x = 0; x < width; ++x)
            coverage[static_cast<std::size_t>(y * width + x)] = qAlpha(row[x]) / 255.0f;
    }
    return digitCache_.emplace(key, std::make_pair(width, std::move(coverage))).first->second;
}

void DotMatrixDisplayRenderer::put(long x, long y, const Color& color, const Color& glow, float intensity) {
    if (x < 0 || y < 0 || x >= columns_ || y >= rows_ || intensity <= 0) return;
    const auto i = static_cast<std::size_t>(y * columns_ + x);
    const auto over = [](Pixel& dst, const Pixel& src) {
        for (int c = 0; c < 4; ++c)
            dst[c] = src[c] + dst[c] * (1 - src[3]);
    };
    over(lit_[i], premultiplied(color, intensity));
    over(glow_[i], premultiplied(glow, intensity));
}

bool DotMatrixDisplayRenderer::Drawn::samePart(const Drawn& other, Part part) const {
    switch (part) {
    case Part::status:
        return statusLeft == other.statusLeft && statusRight == other.statusRight;
    case Part::time:
        return time == other.time;
    case Part::timeLabel:
        return timeLabel == other.timeLabel;
    case Part::buffering:
        return buffering == other.buffering;
    case Part::title:
        return title == other.title;
    case Part::subtitle:
        return subtitle == other.subtitle;
    case Part::progress:
        return filled == other.filled && cursor == other.cursor && markers == other.markers;
    case Part::leftMeter:
        return left == other.left;
    case Part::rightMeter:
        return right == other.right;
    }
    return true;
}

namespace {

long litSegments(double level, long segments, const QRect& box) {
    if (segments <= 0 || box.width() <= 0) return 0;
    const double clamped = std::isfinite(level) ? std::clamp(level, 0.0, 1.0) : 0.0;
    return std::lround(clamped * static_cast<double>(segments));
}

// Where the meters' segments start, after their labels.
QRect bufferingSegmentsBox(const DisplayLayout& l) {
    return l.bufferingMeter.adjusted(31, 0, 0, 0);
}
QRect leftSegmentsBox(const DisplayLayout& l) {
    return l.leftMeter.adjusted(13, 0, 0, 0);
}
QRect rightSegmentsBox(const DisplayLayout& l) {
    return l.rightMeter.adjusted(13, 0, 0, 0);
}

} // namespace

DotMatrixDisplayRenderer::Drawn DotMatrixDisplayRenderer::drawn(const DisplayState& state,
                                                                const DisplayLayout& l) {
    Drawn d;
    d.statusLeft = state.statusLeft;
    d.statusRight = state.statusRight;
    d.time = state.time;
    d.timeLabel = state.timeLabel;
    d.title = state.title;
    d.subtitle = state.subtitle;
    d.buffering = litSegments(state.buffering, l.bufferingSegments, bufferingSegmentsBox(l));
    d.left = litSegments(state.levelLeft, l.meterSegments, leftSegmentsBox(l));
    d.right = litSegments(state.levelRight, l.meterSegments, rightSegmentsBox(l));
    const QRect bar = l.progressBar;
    const long width = bar.width();
    if (width > 2) {
        const double progress = std::isfinite(state.progress) ? std::clamp(state.progress, 0.0, 1.0) : 0.0;
        d.filled = std::lround(progress * static_cast<double>(width));
        d.cursor = bar.x() + std::lround(progress * static_cast<double>(width - 2));
        for (const double marker : state.cueMarkers)
            if (std::isfinite(marker) && marker >= 0 && marker <= 1)
                d.markers.push_back(bar.x() + std::lround(marker * static_cast<double>(width - 1)));
    }
    return d;
}

QRect DotMatrixDisplayRenderer::box(const DisplayLayout& l, Part part) {
    switch (part) {
    case Part::status:
        return l.statusLine;
    case Part::time:
        return l.time;
    case Part::timeLabel:
        return l.timeLabel;
    case Part::buffering:
        return l.bufferingMeter;
    case Part::title:
        return l.title;
    case Part::subtitle:
        return l.subtitle;
    case Part::progress:
        return l.progressBar;
    case Part::leftMeter:
        return l.leftMeter;
    case Part::rightMeter:
        return l.rightMeter;
    }
    return {};
}

void DotMatrixDisplayRenderer::putText(const std::string& text, const QRect& box, long scale) {
    if (text.empty()) return;
    const DotMatrix& dots = textDots(text);
    for (long y = 0; y < dots.height * scale && y < box.height(); ++y)
        for (long x = 0; x < dots.width * scale && x < box.width(); ++x)
            if (dots.lit(x / scale, y / scale))
                put(box.x() + x, box.y() + y, theme_.digits, theme_.digitsHalo, 1);
}

void DotMatrixDisplayRenderer::putTime(const std::string& text, const QRect& box) {
    if (text.empty()) return;
    if (sevenSegmentFamily_.isEmpty()) {
        putText(text, box.adjusted(0, 6, 0, 0), 2);
        return;
    }
    const long height = box.height();
    const auto& ghost = sevenSegmentCoverage(ghostOf(text), height);
    const auto& lit = sevenSegmentCoverage(text, height);
    const float ghostLevel = static_cast<float>(std::min(1.0, theme_.offOpacity * 1.5));
    for (long y = 0; y < height; ++y) {
        for (long x = 0; x < std::min<long>(box.width(), std::max(ghost.first, lit.first)); ++x) {
            const float g = x < ghost.first ? ghost.second[static_cast<std::size_t>(y * ghost.first + x)] : 0;
            const float l = x < lit.first ? lit.second[static_cast<std::size_t>(y * lit.first + x)] : 0;
            // A dot is lit when the digit covers most of it: the matrix shows the segments crisply.
            if (l > 0.35f)
                put(box.x() + x, box.y() + y, theme_.digits, theme_.digitsHalo, std::min(1.0f, l * 1.4f));
            else if (g > 0.35f)
                put(box.x() + x, box.y() + y, theme_.digits, Color::clear(), ghostLevel);
        }
    }
}

void DotMatrixDisplayRenderer::putMeter(long litSegments, long segments, const ColorMap& map,
                                        const QRect& box) {
    if (segments <= 0 || box.width() <= 0) return;
    const double pitch = static_cast<double>(box.width()) / static_cast<double>(segments);
    const long segmentWidth = std::max(1L, static_cast<long>(std::floor(pitch)) - 2);
    const float ghostLevel = static_cast<float>(std::min(1.0, theme_.offOpacity * 1.5));
    for (long s = 0; s < segments; ++s) {
        const Color color = map.segmentColor(static_cast<std::size_t>(s), static_cast<std::size_t>(segments));
        const bool on = s < litSegments;
        const long x0 = box.x() + static_cast<long>(std::lround(static_cast<double>(s) * pitch));
        for (long y = box.y() + 3; y < box.y() + box.height() - 3; ++y)
            for (long x = x0; x < x0 + segmentWidth; ++x)
                put(x, y, color, on ? color : Color::clear(), on ? 1.0f : ghostLevel);
    }
}

void DotMatrixDisplayRenderer::putProgress(const Drawn& d, const QRect& box) {
    const long width = box.width();
    if (width <= 2) return;
    const float ghostLevel = static_cast<float>(std::min(1.0, theme_.offOpacity * 1.5));
    for (long x = 0; x < width; ++x)
        for (long y = 3; y < 6; ++y)
            put(box.x() + x, box.y() + y, theme_.progressBar,
                x < d.filled ? theme_.progressBar : Color::clear(), x < d.filled ? 1.0f : ghostLevel);
    for (const long x : d.markers)
        for (const long y : {0L, 1L, 7L, 8L})
            put(x, box.y() + y, theme_.navigatorMarker, theme_.navigatorMarkerHalo, 1);
    for (long y = 0; y < box.height(); ++y)
        for (long x = d.cursor; x < d.cursor + 2; ++x)
            put(x, box.y() + y, theme_.cursor, theme_.cursorHalo, 1);
}

QImage DotMatrixDisplayRenderer::render(const DisplayState& state, const LCTheme& theme, double brightness,
                                        const DisplayGeometry& geometry) {
    update(state, theme, brightness, geometry);
    return frame_.copy();
}

void DotMatrixDisplayRenderer::render(QImage& target, const DisplayState& state, const LCTheme& theme,
                                      double brightness, const DisplayGeometry& geometry) {
    update(state, theme, brightness, geometry);
    if (target.size() != frame_.size() || target.format() != frame_.format()) {
        target = frame_.copy();
        return;
    }
    for (int y = 0; y < frame_.height(); ++y)
        std::memcpy(target.scanLine(y), frame_.constScanLine(y),
                    static_cast<std::size_t>(frame_.width()) * 4);
}

namespace {
float brightnessOf(double brightness) {
    return static_cast<float>(std::isfinite(brightness) ? std::clamp(brightness, 0.0, 1.0) : 1.0);
}
} // namespace

bool DotMatrixDisplayRenderer::wouldChange(const DisplayState& state, const LCTheme& theme, double brightness,
                                           const DisplayGeometry& requested) const {
    const DisplayGeometry geometry = sanitized(requested);
    if (!prepared_ || geometry != geometry_ || brightnessOf(brightness) != brightness_ || !(theme == theme_))
        return true;
    const Drawn d = drawn(state, layout_);
    for (int part = 0; part < partCount; ++part)
        if (!drawn_.samePart(d, static_cast<Part>(part))) return true;
    return false;
}

std::vector<QRect> DotMatrixDisplayRenderer::update(const DisplayState& state, const LCTheme& theme,
                                                    double brightness, const DisplayGeometry& requested) {
    const DisplayGeometry geometry = sanitized(requested);
    const float bright = brightnessOf(brightness);
    std::array<bool, partCount> parts{};
    const bool whole = !prepared_ || geometry != geometry_ || bright != brightness_ || !(theme == theme_);
    if (whole) {
        prepare(geometry, theme, bright);
        parts.fill(true);
    }
    const Drawn d = drawn(state, layout_);
    bool any = whole;
    for (int part = 0; part < partCount; ++part)
        if (!drawn_.samePart(d, static_cast<Part>(part))) any = parts[static_cast<std::size_t>(part)] = true;
    if (!any) return {};

    std::vector<QRect> dotsChanged, glowChanged;
    putParts(d, parts, dotsChanged, glowChanged);
    drawn_ = d;
    if (whole) {
        // Every dot of the halo, whatever the glow: the previous theme's halo is not this one's.
        glowChanged = {QRect(0, 0, int(columns_), int(rows_))};
        dotsChanged = glowChanged;
    }

    std::vector<QRect> pixels;
    for (const QRect& dots : dotsChanged)
        pixels.push_back(pixelsOfDots(dots));
    for (const QRect& glow : glowChanged)
        if (const QRect halo = blurHalo(glow); !halo.isEmpty()) pixels.push_back(pixelsOfHalo(halo));
    if (whole) pixels = {frame_.rect()};
    pixels.erase(std::remove_if(pixels.begin(), pixels.end(), [](const QRect& r) { return r.isEmpty(); }),
                 pixels.end());
    pixels = merged(std::move(pixels));

    if (blurPasses_ == 0) {
        for (const QRect& rect : pixels)
            compose(frame_, rect);
        return pixels;
    }
    // The overall blur reads the sharp frame around each pixel: compose everything first.
    for (const QRect& rect : pixels)
        compose(sharp_, rect);
    std::vector<QRect> blurred;
    for (const QRect& rect : pixels)
        blurred.push_back(rect.adjusted(-blurPasses_, -blurPasses_, blurPasses_, blurPasses_) &
                          frame_.rect());
    blurred = merged(std::move(blurred));
    for (const QRect& rect : blurred)
        blurFrame(rect);
    return blurred;
}

void DotMatrixDisplayRenderer::prepare(const DisplayGeometry& geometry, const LCTheme& theme, float bright) {
    prepared_ = true;
    geometry_ = geometry;
    theme_ = theme;
    brightness_ = bright;
    layout_ = layout(geometry);
    drawn_ = {};
    const double scale = geometry.scale;
    const QSize pixels(std::max(1, static_cast<int>(std::lround(geometry.width * scale))),
                       std::max(1, static_cast<int>(std::lround(geometry.height * scale))));
    if (frame_.size() != pixels || frame_.format() != QImage::Format_ARGB32_Premultiplied)
        frame_ = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
    blurPasses_ = blurPassesFor(theme.overallBlur * scale);
    if (blurPasses_ > 0 && (pixels.width() < 3 || pixels.height() < 3)) blurPasses_ = 0;
    if (blurPasses_ == 0)
        sharp_ = QImage();
    else if (sharp_.size() != pixels)
        sharp_ = QImage(pixels, QImage::Format_ARGB32_Premultiplied);

    columns_ = layout_.columns;
    rows_ = layout_.rows;
    halfColumns_ = (columns_ + 1) / 2;
    halfRows_ = (rows_ + 1) / 2;
    const auto dotCount = static_cast<std::size_t>(columns_ * rows_);
    lit_.assign(dotCount, Pixel{});
    glow_.assign(dotCount, Pixel{});
    haloA_.assign(dotCount * 4, 0.0f);
    haloB_.assign(static_cast<std::size_t>(halfColumns_ * halfRows_) * 4, 0.0f);
    halo_.assign(dotCount, 0);

    // Unlit dots show the matrix colour at the theme's off opacity.
    const Pixel off =
        theme.matrixEffect ? premultiplied(theme.matrix, static_cast<float>(theme.offOpacity)) : Pixel{};
    const auto byte = [](float v) {
        return static_cast<std::uint32_t>(std::clamp(v, 0.0f, 1.0f) * 255 + 0.5f);
    };
    const std::uint32_t unlit =
        (byte(off[3]) << 24) | (byte(off[0]) << 16) | (byte(off[1]) << 8) | byte(off[2]);
    dotColor_.assign(dotCount, unlit);

    // A square lit cell with a gap to its neighbours (none without the matrix effect).
    const double pitch = geometry.dotSize * scale;
    const double fill = theme.matrixEffect ? 0.72 : 1.0;
    const auto axis = [&](int length, double origin, long count, std::vector<int>& cellOf,
                          std::vector<int>& first, std::vector<int>& last) {
        cellOf.assign(static_cast<std::size_t>(length), -1);
        first.assign(static_cast<std::size_t>(count), INT_MAX);
        last.assign(static_cast<std::size_t>(count), -1);
        for (int p = 0; p < length; ++p) {
            const double position = (p + 0.5 - origin * scale) / pitch;
            const long cell = static_cast<long>(std::floor(position));
            if (cell >= 0 && cell < count && position - static_cast<double>(cell) < fill) {
                cellOf[static_cast<std::size_t>(p)] = static_cast<int>(cell);
                first[static_cast<std::size_t>(cell)] = std::min(first[static_cast<std::size_t>(cell)], p);
                last[static_cast<std::size_t>(cell)] = p;
            }
        }
    };
    axis(pixels.width(), layout_.originX, columns_, columnOfPixel_, firstPixelOfColumn_, lastPixelOfColumn_);
    axis(pixels.height(), layout_.originY, rows_, rowOfPixel_, firstPixelOfRow_, lastPixelOfRow_);

    // The halo: layer A on the grid, the wide layer B at half the grid's resolution (it is soft
    // anyway, and four times cheaper there), sampled back bilinearly.
    const double dotsPerPoint = 1.0 / geometry.dotSize;
    radiiA_ = boxRadii(theme.haloRadiusA * dotsPerPoint);
    radiiB_ = boxRadii(theme.haloRadiusB * dotsPerPoint / 2);
    haloScaleA_ = static_cast<float>(theme.haloOpacityA) * bright / glowUnits;
    haloScaleB_ = static_cast<float>(theme.haloOpacityB) * bright / (4 * glowUnits);
    const auto halfSamples = [](long count, long halfCount, std::vector<Sample>& samples) {
        samples.resize(static_cast<std::size_t>(count));
        for (long i = 0; i < count; ++i) {
            const double s =
                std::clamp((static_cast<double>(i) + 0.5) / 2 - 0.5, 0.0, static_cast<double>(halfCount - 1));
            const long i0 = static_cast<long>(s);
            samples[static_cast<std::size_t>(i)] = {i0, std::min(i0 + 1, halfCount - 1),
                                                    static_cast<float>(s - static_cast<double>(i0))};
        }
    };
    halfSamples(columns_, halfColumns_, halfSampleX_);
    halfSamples(rows_, halfRows_, halfSampleY_);
    prepareHaloSampling(geometry, theme);
    prepareLayers(theme);
}

void DotMatrixDisplayRenderer::prepareHaloSampling(const DisplayGeometry& geometry, const LCTheme& theme) {
    // The halo grid is stretched over the dots, shifted by the theme's offset, and sampled
    // bilinearly. This is what Qt's raster engine does for a smoothly scaled image, step by step,
    // so that frames keep the look they had when Qt drew the halo: the pixels whose centres the
    // stretched rectangle covers (its aliased rasteriser rounds each edge), the inverse
    // transform nudged by 1/65536, positions in 16.16 fixed point from the centre of the first
    // pixel of each run of at most 2048 pixels, stepped by a truncated increment.
    haloPixels_ = QRect();
    haloFx_.clear();
    haloFy_.clear();
    firstHaloPixelOfColumn_.assign(static_cast<std::size_t>(columns_), INT_MAX);
    lastHaloPixelOfColumn_.assign(static_cast<std::size_t>(columns_), -1);
    firstHaloPixelOfRow_.assign(static_cast<std::size_t>(rows_), INT_MAX);
    lastHaloPixelOfRow_.assign(static_cast<std::size_t>(rows_), -1);
    if (columns_ <= 0 || rows_ <= 0) return;
    const double scale = geometry.scale;
    const QRectF target((layout_.originX + theme.haloX) * scale, (layout_.originY + theme.haloY) * scale,
                        static_cast<double>(columns_) * geometry.dotSize * scale,
                        static_cast<double>(rows_) * geometry.dotSize * scale);
    const auto edge = [](double v, int limit) {
        return static_cast<int>(std::clamp(v, 0.0, static_cast<double>(limit)) + 0.5);
    };
    const int left = edge(target.left(), frame_.width()), right = edge(target.right(), frame_.width());
    const int top = edge(target.top(), frame_.height()), bottom = edge(target.bottom(), frame_.height());
    if (left >= right || top >= bottom) return;
    haloPixels_ = QRect(left, top, right - left, bottom - top);

    QTransform stretch;
    stretch.translate(target.x(), target.y());
    stretch.scale(target.width() / static_cast<double>(columns_),
                  target.height() / static_cast<double>(rows_));
    QTransform nudge;
    nudge.translate(1.0 / 65536, 1.0 / 65536);
    const QTransform inverse = (nudge * stretch).inverted();
    constexpr double fixedScale = 65536;
    constexpr int halfPoint = 1 << 15;
    const int stepX = static_cast<int>(inverse.m11() * fixedScale);
    const auto reach = [](int sample, long count, std::vector<int>& first, std::vector<int>& last, int p) {
        // A pixel reads the two grid cells around its sample, the edges repeated.
        for (const long i : {std::clamp<long>(sample >> 16, 0, count - 1),
                             std::clamp<long>((sample >> 16) + 1, 0, count - 1)}) {
            first[static_cast<std::size_t>(i)] = std::min(first[static_cast<std::size_t>(i)], p);
            last[static_cast<std::size_t>(i)] = std::max(last[static_cast<std::size_t>(i)], p);
        }
    };
    haloFx_.resize(static_cast<std::size_t>(right - left));
    int runStart = left, fx = 0;
    for (int x = left; x < right; ++x) {
        if ((x - left) % 2048 == 0) {
            runStart = x;
            const double cx = x + 0.5;
            fx = static_cast<int>((inverse.m11() * cx + inverse.dx()) * fixedScale) - halfPoint;
        }
        const int sample = fx + (x - runStart) * stepX;
        haloFx_[static_cast<std::size_t>(x - left)] = sample;
        reach(sample, columns_, firstHaloPixelOfColumn_, lastHaloPixelOfColumn_, x);
    }
    haloFy_.resize(static_cast<std::size_t>(bottom - top));
    for (int y = top; y < bottom; ++y) {
        const double cy = y + 0.5;
        const int sample = static_cast<int>((inverse.m22() * cy + inverse.dy()) * fixedScale) - halfPoint;
        haloFy_[static_cast<std::size_t>(y - top)] = sample;
        reach(sample, rows_, firstHaloPixelOfRow_, lastHaloPixelOfRow_, y);
    }
}

void DotMatrixDisplayRenderer::prepareLayers(const LCTheme& theme) {
    // Background, shadows and glass are vertical gradients: Qt fills each pixel row of them in
    // one colour, so one column of pixels holds their colours. Which pixels of a row the slanted
    // glass covers comes from Qt's rasteriser too.
    const int width = frame_.width(), height = frame_.height();
    const double scale = geometry_.scale;
    QImage column(1, height, QImage::Format_ARGB32_Premultiplied);
    paintBackground(column, theme, brightness_);
    background_.resize(static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y)
        background_[static_cast<std::size_t>(y)] = reinterpret_cast<const QRgb*>(column.constScanLine(y))[0];

    const auto layer = [&](RowLayer& rows, const QBrush& brush, const QRectF& area) {
        column.fill(Qt::transparent);
        {
            QPainter painter(&column);
            painter.setCompositionMode(QPainter::CompositionMode_Source);
            painter.fillRect(QRectF(0, area.y(), 1, area.height()), brush);
        }
        rows.color.resize(static_cast<std::size_t>(height));
        rows.left.assign(static_cast<std::size_t>(height), 0);
        rows.right.assign(static_cast<std::size_t>(height), width);
        for (int y = 0; y < height; ++y)
            rows.color[static_cast<std::size_t>(y)] =
                reinterpret_cast<const QRgb*>(column.constScanLine(y))[0];
    };
    const auto none = [&](RowLayer& rows) { rows.color.assign(static_cast<std::size_t>(height), 0); };

    if (theme.topBorderShadowSize > 0) {
        QLinearGradient top(0, 0, 0, theme.topBorderShadowSize * scale);
        top.setColorAt(0, qColor(theme.topBorderShadowColor));
        top.setColorAt(1, qColor(theme.topBorderShadowColor.withAlpha(0)));
        layer(topShadow_, top, QRectF(0, 0, width, theme.topBorderShadowSize * scale));
    } else {
        none(topShadow_);
    }
    if (theme.bottomBorderShadowSize > 0) {
        const double size = theme.bottomBorderShadowSize * scale;
        QLinearGradient bottom(0, height, 0, height - size);
        bottom.setColorAt(0, qColor(theme.bottomBorderShadowColor));
        bottom.setColorAt(1, qColor(theme.bottomBorderShadowColor.withAlpha(0)));
        layer(bottomShadow_, bottom, QRectF(0, height - size, width, size));
    } else {
        none(bottomShadow_);
    }
    if (theme.glassReflectColor.alpha > 0) {
        // A slanted reflection over the upper part.
        QLinearGradient reflect(0, 0, 0, height * 0.46);
        reflect.setColorAt(0, qColor(theme.glassReflectColor));
        reflect.setColorAt(1,
                           qColor(theme.glassReflectColor.withAlpha(theme.glassReflectColor.alpha * 0.25)));
        layer(glass_, reflect, QRectF(0, 0, 1, height));
        QPainterPath glass;
        glass.moveTo(0, 0);
        glass.lineTo(width, 0);
        glass.lineTo(width, height * 0.22);
        glass.lineTo(0, height * 0.46);
        glass.closeSubpath();
        QImage coverage(width, height, QImage::Format_Alpha8);
        coverage.fill(0);
        {
            QPainter painter(&coverage);
            painter.fillPath(glass, Qt::black);
        }
        // The shape is convex: one run of pixels per row.
        for (int y = 0; y < height; ++y) {
            const uchar* row = coverage.constScanLine(y);
            int first = 0;
            while (first < width && row[first] == 0)
                ++first;
            int last = width;
            while (last > first && row[last - 1] == 0)
                --last;
            glass_.left[static_cast<std::size_t>(y)] = first;
            glass_.right[static_cast<std::size_t>(y)] = last;
        }
    } else {
        none(glass_);
    }
}

void DotMatrixDisplayRenderer::putParts(const Drawn& d, const std::array<bool, partCount>& changed,
                                        std::vector<QRect>& dotsChanged, std::vector<QRect>& glowChanged) {
    const QRect grid(0, 0, int(columns_), int(rows_));
    // Parts whose boxes overlap are drawn again together, in order, since a part draws over what
    // is under it.
    std::array<bool, partCount> parts = changed;
    for (bool grown = true; grown;) {
        grown = false;
        for (int p = 0; p < partCount; ++p) {
            if (parts[static_cast<std::size_t>(p)]) continue;
            const QRect mine = box(layout_, static_cast<Part>(p)) & grid;
            for (int q = 0; q < partCount && !parts[static_cast<std::size_t>(p)]; ++q)
                if (parts[static_cast<std::size_t>(q)] &&
                    mine.intersects(box(layout_, static_cast<Part>(q)) & grid))
                    grown = parts[static_cast<std::size_t>(p)] = true;
        }
    }

    struct Before {
        QRect box;
        std::vector<Pixel> glow;
    };
    std::vector<Before> before;
    for (int p = 0; p < partCount; ++p) {
        if (!parts[static_cast<std::size_t>(p)]) continue;
        const QRect area = box(layout_, static_cast<Part>(p)) & grid;
        if (area.isEmpty()) continue;
        Before b{area, {}};
        b.glow.reserve(static_cast<std::size_t>(area.width() * area.height()));
        for (int y = area.top(); y <= area.bottom(); ++y) {
            const auto row = static_cast<std::size_t>(y * columns_);
            for (int x = area.left(); x <= area.right(); ++x) {
                b.glow.push_back(glow_[row + static_cast<std::size_t>(x)]);
                lit_[row + static_cast<std::size_t>(x)] = Pixel{};
                glow_[row + static_cast<std::size_t>(x)] = Pixel{};
            }
        }
        before.push_back(std::move(b));
    }

    const auto on = [&](Part p) { return parts[static_cast<std::size_t>(p)]; };
    const DisplayLayout& l = layout_;
    if (on(Part::status)) {
        putText(d.statusLeft, l.statusLine);
        if (!d.statusRight.empty()) {
            const long w = textDots(d.statusRight).width;
            putText(d.statusRight,
                    l.statusLine.adjusted(int(std::max(0L, l.statusLine.width() - w)), 0, 0, 0));
        }
    }
    if (on(Part::time)) putTime(d.time, l.time);
    if (on(Part::timeLabel)) putText(d.timeLabel, l.timeLabel);
    if (on(Part::buffering)) {
        putText("BUF", l.bufferingMeter);
        putMeter(d.buffering, l.bufferingSegments, theme_.bufferColorMap, bufferingSegmentsBox(l));
    }
    if (on(Part::title)) putText(d.title, l.title);
    if (on(Part::subtitle)) putText(d.subtitle, l.subtitle);
    if (on(Part::progress)) putProgress(d, l.progressBar);
    if (on(Part::leftMeter)) {
        putText("L", l.leftMeter);
        putMeter(d.left, l.meterSegments, theme_.volumeColorMap, leftSegmentsBox(l));
    }
    if (on(Part::rightMeter)) {
        putText("R", l.rightMeter);
        putMeter(d.right, l.meterSegments, theme_.volumeColorMap, rightSegmentsBox(l));
    }

    // What each dot shows over the halo, and which dots changed.
    const Pixel off =
        theme_.matrixEffect ? premultiplied(theme_.matrix, static_cast<float>(theme_.offOpacity)) : Pixel{};
    const float bright = brightness_;
    const auto byte = [](float v) {
        return static_cast<std::uint32_t>(std::clamp(v, 0.0f, 1.0f) * 255 + 0.5f);
    };
    for (const Before& b : before) {
        QRect colour, glow;
        std::size_t k = 0;
        for (int y = b.box.top(); y <= b.box.bottom(); ++y) {
            const auto row = static_cast<std::size_t>(y * columns_);
            for (int x = b.box.left(); x <= b.box.right(); ++x, ++k) {
                const std::size_t i = row + static_cast<std::size_t>(x);
                Pixel p;
                for (int c = 0; c < 4; ++c)
                    p[c] = lit_[i][c] * bright + off[c] * (1 - lit_[i][3] * bright);
                const std::uint32_t color =
                    (byte(p[3]) << 24) | (byte(p[0]) << 16) | (byte(p[1]) << 8) | byte(p[2]);
                if (color != dotColor_[i]) {
                    dotColor_[i] = color;
                    colour |= QRect(x, y, 1, 1);
                }
                if (glow_[i] != b.glow[k]) glow |= QRect(x, y, 1, 1);
            }
        }
        if (!colour.isEmpty()) dotsChanged.push_back(colour);
        if (!glow.isEmpty()) glowChanged.push_back(glow);
    }
}

QRect DotMatrixDisplayRenderer::blurHalo(const QRect& glowChanged) {
    const QRect grid(0, 0, int(columns_), int(rows_));
    const QRect halfGrid(0, 0, int(halfColumns_), int(halfRows_));
    if (grid.isEmpty()) return {};
    const auto quantised = [](float v) { return static_cast<float>(static_cast<int>(v * glowUnits + 0.5f)); };
    const auto reachOf = [](const std::array<long, 3>& radii) { return int(radii[0] + radii[1] + radii[2]); };

    // Layer A changes within its blur's reach of the changed glow; it is blurred again in a
    // window that reaches as far again, and kept where it is exact.
    const int reachA = reachOf(radiiA_);
    const QRect innerA = glowChanged.adjusted(-reachA, -reachA, reachA, reachA) & grid;
    const QRect windowA = innerA.adjusted(-reachA, -reachA, reachA, reachA) & grid;
    {
        const long w = windowA.width(), h = windowA.height();
        blurWork_.resize(static_cast<std::size_t>(w * h) * 4);
        for (long y = 0; y < h; ++y)
            for (long x = 0; x < w; ++x) {
                const Pixel& g =
                    glow_[static_cast<std::size_t>((windowA.top() + y) * columns_ + windowA.left() + x)];
                for (int c = 0; c < 4; ++c)
                    blurWork_[static_cast<std::size_t>((y * w + x) * 4 + c)] =
                        quantised(g[static_cast<std::size_t>(c)]);
            }
        boxBlur(blurWork_, blurScratch_, w, h, radiiA_);
        for (int y = innerA.top(); y <= innerA.bottom(); ++y)
            std::memcpy(&haloA_[static_cast<std::size_t>((y * columns_ + innerA.left()) * 4)],
                        &blurWork_[static_cast<std::size_t>(
                            ((y - windowA.top()) * w + innerA.left() - windowA.left()) * 4)],
                        static_cast<std::size_t>(innerA.width()) * 4 * sizeof(float));
    }

    // Layer B the same way on the half grid, whose cells add up 2 × 2 dots.
    const int reachB = reachOf(radiiB_);
    const QRect halfChanged(QPoint(glowChanged.left() / 2, glowChanged.top() / 2),
                            QPoint(glowChanged.right() / 2, glowChanged.bottom() / 2));
    const QRect innerB = halfChanged.adjusted(-reachB, -reachB, reachB, reachB) & halfGrid;
    const QRect windowB = innerB.adjusted(-reachB, -reachB, reachB, reachB) & halfGrid;
    {
        const long w = windowB.width(), h = windowB.height();
        blurWork_.assign(static_cast<std::size_t>(w * h) * 4, 0.0f);
        for (long y = 0; y < h; ++y)
            for (long dy = 0; dy < 2; ++dy) {
                const long gy = (windowB.top() + y) * 2 + dy;
                if (gy >= rows_) continue;
                for (long x = 0; x < w; ++x)
                    for (long dx = 0; dx < 2; ++dx) {
                        const long gx = (windowB.left() + x) * 2 + dx;
                        if (gx >= columns_) continue;
                        const Pixel& g = glow_[static_cast<std::size_t>(gy * columns_ + gx)];
                        for (int c = 0; c < 4; ++c)
                            blurWork_[static_cast<std::size_t>((y * w + x) * 4 + c)] +=
                                quantised(g[static_cast<std::size_t>(c)]);
                    }
            }
        boxBlur(blurWork_, blurScratch_, w, h, radiiB_);
        for (int y = innerB.top(); y <= innerB.bottom(); ++y)
            std::memcpy(&haloB_[static_cast<std::size_t>((y * halfColumns_ + innerB.left()) * 4)],
                        &blurWork_[static_cast<std::size_t>(
                            ((y - windowB.top()) * w + innerB.left() - windowB.left()) * 4)],
                        static_cast<std::size_t>(innerB.width()) * 4 * sizeof(float));
    }

    // Both layers at the theme's opacity, one pixel per dot; a dot reads B's cells around it.
    const QRect fromB(QPoint(innerB.left() * 2 - 1, innerB.top() * 2 - 1),
                      QPoint(innerB.right() * 2 + 2, innerB.bottom() * 2 + 2));
    const QRect dots = (innerA | fromB) & grid;
    QRect changed;
    for (int y = dots.top(); y <= dots.bottom(); ++y) {
        const Sample& sy = halfSampleY_[static_cast<std::size_t>(y)];
        const float* upper = &haloB_[static_cast<std::size_t>(sy.i0 * halfColumns_ * 4)];
        const float* lower = &haloB_[static_cast<std::size_t>(sy.i1 * halfColumns_ * 4)];
        const float* a = &haloA_[static_cast<std::size_t>(y * columns_ * 4)];
        std::uint32_t* out = &halo_[static_cast<std::size_t>(y * columns_)];
        int first = INT_MAX, last = -1;
        for (int x = dots.left(); x <= dots.right(); ++x) {
            const Sample& sx = halfSampleX_[static_cast<std::size_t>(x)];
            float c[4];
            for (int k = 0; k < 4; ++k) {
                const float u0 = upper[sx.i0 * 4 + k], u1 = upper[sx.i1 * 4 + k];
                const float l0 = lower[sx.i0 * 4 + k], l1 = lower[sx.i1 * 4 + k];
                const float top = u0 + (u1 - u0) * sx.f;
                const float bottom = l0 + (l1 - l0) * sx.f;
                c[k] =
                    std::min(1.0f, a[x * 4 + k] * haloScaleA_ + (top + (bottom - top) * sy.f) * haloScaleB_);
            }
            const std::uint32_t pixel = (static_cast<std::uint32_t>(c[3] * 255 + 0.5f) << 24) |
                                        (static_cast<std::uint32_t>(c[0] * 255 + 0.5f) << 16) |
                                        (static_cast<std::uint32_t>(c[1] * 255 + 0.5f) << 8) |
                                        static_cast<std::uint32_t>(c[2] * 255 + 0.5f);
            if (pixel != out[x]) {
                out[x] = pixel;
                first = std::min(first, x);
                last = x;
            }
        }
        if (last >= 0) changed |= QRect(first, y, last - first + 1, 1);
    }
    return changed;
}

QRect DotMatrixDisplayRenderer::pixelsOfDots(const QRect& dots) const {
    int left = INT_MAX, right = -1, top = INT_MAX, bottom = -1;
    for (int x = dots.left(); x <= dots.right(); ++x) {
        left = std::min(left, firstPixelOfColumn_[static_cast<std::size_t>(x)]);
        right = std::max(right, lastPixelOfColumn_[static_cast<std::size_t>(x)]);
    }
    for (int y = dots.top(); y <= dots.bottom(); ++y) {
        top = std::min(top, firstPixelOfRow_[static_cast<std::size_t>(y)]);
        bottom = std::max(bottom, lastPixelOfRow_[static_cast<std::size_t>(y)]);
    }
    if (right < left || bottom < top) return {};
    return {QPoint(left, top), QPoint(right, bottom)};
}

QRect DotMatrixDisplayRenderer::pixelsOfHalo(const QRect& dots) const {
    int left = INT_MAX, right = -1, top = INT_MAX, bottom = -1;
    for (int x = dots.left(); x <= dots.right(); ++x) {
        left = std::min(left, firstHaloPixelOfColumn_[static_cast<std::size_t>(x)]);
        right = std::max(right, lastHaloPixelOfColumn_[static_cast<std::size_t>(x)]);
    }
    for (int y = dots.top(); y <= dots.bottom(); ++y) {
        top = std::min(top, firstHaloPixelOfRow_[static_cast<std::size_t>(y)]);
        bottom = std::max(bottom, lastHaloPixelOfRow_[static_cast<std::size_t>(y)]);
    }
    if (right < left || bottom < top) return {};
    return {QPoint(left, top), QPoint(right, bottom)};
}

void DotMatrixDisplayRenderer::composeHalo(std::uint32_t* line, int y, int left, int right) const {
    // Down between two rows of the halo grid, then across, both in steps of 1/256, as Qt does.
    const int fy = haloFy_[static_cast<std::size_t>(y - haloPixels_.top())];
    long y1 = fy >> 16, y2;
    if (y1 < 0)
        y1 = y2 = 0;
    else if (y1 >= rows_ - 1)
        y1 = y2 = rows_ - 1;
    else
        y2 = y1 + 1;
    const std::uint32_t disty = (static_cast<std::uint32_t>(fy) & 0xFFFFu) >> 8, idisty = 256 - disty;
    const std::uint32_t* upper = &halo_[static_cast<std::size_t>(y1 * columns_)];
    const std::uint32_t* lower = &halo_[static_cast<std::size_t>(y2 * columns_)];
    const int* fx = haloFx_.data();
    const int origin = haloPixels_.left();
    const long firstCell = fx[left - origin] >> 16, lastCell = (fx[right - 1 - origin] >> 16) + 1;
    auto& redBlue = haloRedBlue_;
    auto& alphaGreen = haloAlphaGreen_;
    redBlue.resize(static_cast<std::size_t>(lastCell - firstCell + 1));
    alphaGreen.resize(redBlue.size());
    for (long cell = firstCell; cell <= lastCell; ++cell) {
        const long c = std::clamp(cell, 0L, columns_ - 1);
        const std::uint32_t t = upper[c], b = lower[c];
        const auto i = static_cast<std::size_t>(cell - firstCell);
        redBlue[i] = (((t & 0xFF00FFu) * idisty + (b & 0xFF00FFu) * disty) >> 8) & 0xFF00FFu;
        alphaGreen[i] = ((((t >> 8) & 0xFF00FFu) * idisty + ((b >> 8) & 0xFF00FFu) * disty) >> 8) & 0xFF00FFu;
    }
    for (int x = left; x < right; ++x) {
        const int sample = fx[x - origin];
        const auto i = static_cast<std::size_t>((sample >> 16) - firstCell);
        // No glow on either side: the pixel stays as it is (source-over of nothing).
        if ((redBlue[i] | redBlue[i + 1] | alphaGreen[i] | alphaGreen[i + 1]) == 0) continue;
        const std::uint32_t distx = (static_cast<std::uint32_t>(sample) & 0xFFFFu) >> 8, idistx = 256 - distx;
        const std::uint32_t rb = (redBlue[i] * idistx + redBlue[i + 1] * distx) & 0xFF00FF00u;
        const std::uint32_t ag = (alphaGreen[i] * idistx + alphaGreen[i + 1] * distx) & 0xFF00FF00u;
        line[x] = over((rb >> 8) | ag, line[x]);
    }
}

void DotMatrixDisplayRenderer::compose(QImage& target, const QRect& rect) const {
    const QRect area = rect & target.rect();
    const QRect halo = area & haloPixels_;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        auto* line = reinterpret_cast<std::uint32_t*>(target.scanLine(y));
        std::fill(line + area.left(), line + area.right() + 1, background_[static_cast<std::size_t>(y)]);
        if (y >= halo.top() && y <= halo.bottom()) composeHalo(line, y, halo.left(), halo.right() + 1);

        const int row = rowOfPixel_[static_cast<std::size_t>(y)];
        if (row >= 0) {
            const std::uint32_t* colorsOfRow = &dotColor_[static_cast<std::size_t>(row * columns_)];
            for (int x = area.left(); x <= area.right(); ++x) {
                const int column = columnOfPixel_[static_cast<std::size_t>(x)];
                if (column < 0) continue;
                const std::uint32_t src = colorsOfRow[column];
                const std::uint32_t alpha = src >> 24;
                if (alpha == 0) continue;
                const std::uint32_t dst = line[x];
                const std::uint32_t keep = 255 - alpha;
                // Premultiplied source-over, two channels at a time.
                const std::uint32_t rb = (((dst & 0x00FF00FFu) * keep + 0x00800080u) >> 8) & 0x00FF00FFu;
                const std::uint32_t ag =
                    ((((dst >> 8) & 0x00FF00FFu) * keep + 0x00800080u) >> 8) & 0x00FF00FFu;
                line[x] = src + (rb | (ag << 8));
            }
        }

        for (const RowLayer* layer : {&topShadow_, &bottomShadow_, &glass_}) {
            const std::uint32_t color = layer->color[static_cast<std::size_t>(y)];
            if (color == 0) continue;
            const int from = std::max(area.left(), layer->left[static_cast<std::size_t>(y)]);
            const int to = std::min(area.right() + 1, layer->right[static_cast<std::size_t>(y)]);
            for (int x = from; x < to; ++x)
                line[x] = over(color, line[x]);
        }
    }
}

void DotMatrixDisplayRenderer::blurFrame(const QRect& rect) {
    // Each pass reads one pixel around: blurring a window that reaches `passes` pixels beyond
    // the rectangle gives the rectangle the pixels of a whole blurred frame.
    const QRect image = frame_.rect();
    QRect window = rect.adjusted(-blurPasses_, -blurPasses_, blurPasses_, blurPasses_) & image;
    if (window.width() < 3) window = QRect(image.left(), window.top(), image.width(), window.height());
    if (window.height() < 3) window = QRect(window.left(), image.top(), window.width(), image.height());
    QImage part = sharp_.copy(window);
    blurImage(part, blurPasses_);
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        std::memcpy(reinterpret_cast<std::uint32_t*>(frame_.scanLine(y)) + rect.left(),
                    reinterpret_cast<const std::uint32_t*>(part.constScanLine(y - window.top())) +
                        rect.left() - window.left(),
                    static_cast<std::size_t>(rect.width()) * 4);
}

} // namespace lorvan
