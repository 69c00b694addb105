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
#include <cmath>
#include <cstdlib>

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

/// Three box blurs approximate a Gaussian whose "radius" (as a drop shadow's blur radius) is
/// `radius` dots; the boxes follow Kovesi's widths for a standard deviation of radius / 2.
/// Outside the grid counts as transparent. Rows are walked in memory order so the loops vectorise.
void gaussianBlur(std::vector<std::array<float, 4>>& pixels, std::vector<std::array<float, 4>>& scratchPixels,
                  long width, long height, double radius) {
    if (radius <= 0.05 || width <= 0 || height <= 0) return;
    const double sigma = radius / 2.0;
    const double ideal = std::sqrt(12.0 * sigma * sigma / 3.0 + 1.0);
    long lower = static_cast<long>(std::floor(ideal));
    if (lower % 2 == 0) --lower;
    const long upper = lower + 2;
    const double m =
        std::round((12.0 * sigma * sigma - 3.0 * lower * lower - 12.0 * lower - 9.0) / (-4.0 * lower - 4.0));
    scratchPixels.resize(pixels.size());
    float* data = pixels.front().data();
    float* scratch = scratchPixels.front().data();
    const std::size_t stride = static_cast<std::size_t>(width) * 4;
    std::vector<float> sums(stride), zeros(stride, 0.0f);
    for (int pass = 0; pass < 3; ++pass) {
        const long r = ((pass < m ? lower : upper) - 1) / 2;
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
                    out[x * 4 + c] = sum[c] * norm;
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
                out[i] = sum[i] * norm;
                sum[i] += entering[i] - leaving[i];
            }
        }
    }
}

/// Halves a grid of premultiplied pixels in both directions (2 × 2 averages).
void halve(const std::vector<std::array<float, 4>>& from, long width, long height,
           std::vector<std::array<float, 4>>& to, long& halfWidth, long& halfHeight) {
    halfWidth = (width + 1) / 2;
    halfHeight = (height + 1) / 2;
    to.assign(static_cast<std::size_t>(halfWidth * halfHeight), std::array<float, 4>{});
    for (long y = 0; y < height; ++y)
        for (long x = 0; x < width; ++x) {
            auto& dst = to[static_cast<std::size_t>((y / 2) * halfWidth + x / 2)];
            const auto& src = from[static_cast<std::size_t>(y * width + x)];
            for (int c = 0; c < 4; ++c)
                dst[c] += src[c] * 0.25f;
        }
}

/// Byte-wise average of two premultiplied pixels, rounding down.
inline std::uint32_t average(std::uint32_t a, std::uint32_t b) {
    return (a & b) + (((a ^ b) >> 1) & 0x7F7F7F7Fu);
}

/// A soft blur of the finished picture, for themes that imitate a slightly unsharp screen: passes
/// of the [1 2 1] / 4 kernel across and down, as many as the radius needs (each pass adds a
/// variance of half a pixel). Cheap enough to run every frame.
void blurImage(QImage& image, double radiusInPixels) {
    if (radiusInPixels < 0.25) return;
    const double sigma = radiusInPixels / 2.0;
    const int passes = std::clamp(static_cast<int>(std::lround(2.0 * sigma * sigma)), 1, 16);
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

void DotMatrixDisplayRenderer::putText(const std::string& text, const QRect& box, const LCTheme& theme,
                                       long scale) {
    if (text.empty()) return;
    const DotMatrix& dots = textDots(text);
    for (long y = 0; y < dots.height * scale && y < box.height(); ++y)
        for (long x = 0; x < dots.width * scale && x < box.width(); ++x)
            if (dots.lit(x / scale, y / scale))
                put(box.x() + x, box.y() + y, theme.digits, theme.digitsHalo, 1);
}

void DotMatrixDisplayRenderer::putTime(const std::string& text, const QRect& box, const LCTheme& theme) {
    if (text.empty()) return;
    if (sevenSegmentFamily_.isEmpty()) {
        putText(text, box.adjusted(0, 6, 0, 0), theme, 2);
        return;
    }
    const long height = box.height();
    const auto& ghost = sevenSegmentCoverage(ghostOf(text), height);
    const auto& lit = sevenSegmentCoverage(text, height);
    const float ghostLevel = static_cast<float>(std::min(1.0, theme.offOpacity * 1.5));
    for (long y = 0; y < height; ++y) {
        for (long x = 0; x < std::min<long>(box.width(), std::max(ghost.first, lit.first)); ++x) {
            const float g = x < ghost.first ? ghost.second[static_cast<std::size_t>(y * ghost.first + x)] : 0;
            const float l = x < lit.first ? lit.second[static_cast<std::size_t>(y * lit.first + x)] : 0;
            // A dot is lit when the digit covers most of it: the matrix shows the segments crisply.
            if (l > 0.35f)
                put(box.x() + x, box.y() + y, theme.digits, theme.digitsHalo, std::min(1.0f, l * 1.4f));
            else if (g > 0.35f)
                put(box.x() + x, box.y() + y, theme.digits, Color::clear(), ghostLevel);
        }
    }
}

void DotMatrixDisplayRenderer::putMeter(double level, long segments, const ColorMap& map, const QRect& box,
                                        const LCTheme& theme) {
    if (segments <= 0 || box.width() <= 0) return;
    const double clamped = std::isfinite(level) ? std::clamp(level, 0.0, 1.0) : 0.0;
    const long litSegments = std::lround(clamped * static_cast<double>(segments));
    const double pitch = static_cast<double>(box.width()) / static_cast<double>(segments);
    const long segmentWidth = std::max(1L, static_cast<long>(std::floor(pitch)) - 2);
    const float ghostLevel = static_cast<float>(std::min(1.0, theme.offOpacity * 1.5));
    for (long s = 0; s < segments; ++s) {
        const Color color = map.segmentColor(static_cast<std::size_t>(s), static_cast<std::size_t>(segments));
        const bool on = s < litSegments;
        const long x0 = box.x() + static_cast<long>(std::lround(static_cast<double>(s) * pitch));
        for (long y = box.y() + 3; y < box.y() + box.height() - 3; ++y)
            for (long x = x0; x < x0 + segmentWidth; ++x)
                put(x, y, color, on ? color : Color::clear(), on ? 1.0f : ghostLevel);
    }
}

void DotMatrixDisplayRenderer::putProgress(const DisplayState& state, const QRect& box,
                                           const LCTheme& theme) {
    const long width = box.width();
    if (width <= 2) return;
    const double progress = std::isfinite(state.progress) ? std::clamp(state.progress, 0.0, 1.0) : 0.0;
    const long filled = std::lround(progress * static_cast<double>(width));
    const float ghostLevel = static_cast<float>(std::min(1.0, theme.offOpacity * 1.5));
    for (long x = 0; x < width; ++x)
        for (long y = 3; y < 6; ++y)
            put(box.x() + x, box.y() + y, theme.progressBar, x < filled ? theme.progressBar : Color::clear(),
                x < filled ? 1.0f : ghostLevel);
    for (const double marker : state.cueMarkers) {
        if (!std::isfinite(marker) || marker < 0 || marker > 1) continue;
        const long x = box.x() + std::lround(marker * static_cast<double>(width - 1));
        for (const long y : {0L, 1L, 7L, 8L})
            put(x, box.y() + y, theme.navigatorMarker, theme.navigatorMarkerHalo, 1);
    }
    const long cursor = box.x() + std::lround(progress * static_cast<double>(width - 2));
    for (long y = 0; y < box.height(); ++y)
        for (long x = cursor; x < cursor + 2; ++x)
            put(x, box.y() + y, theme.cursor, theme.cursorHalo, 1);
}

QImage DotMatrixDisplayRenderer::render(const DisplayState& state, const LCTheme& theme, double brightness,
                                        const DisplayGeometry& geometry) {
    QImage image;
    render(image, state, theme, brightness, geometry);
    return image;
}

void DotMatrixDisplayRenderer::render(QImage& target, const DisplayState& state, const LCTheme& theme,
                                      double brightness, const DisplayGeometry& requested) {
    const DisplayGeometry geometry = sanitized(requested);
    const DisplayLayout l = layout(geometry);
    const QSize pixels(std::max(1, static_cast<int>(std::lround(geometry.width * geometry.scale))),
                       std::max(1, static_cast<int>(std::lround(geometry.height * geometry.scale))));
    if (target.size() != pixels || target.format() != QImage::Format_ARGB32_Premultiplied)
        target = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
    const float bright =
        static_cast<float>(std::isfinite(brightness) ? std::clamp(brightness, 0.0, 1.0) : 1.0);

    putContent(state, l, theme);
    paintBackground(target, theme, bright);
    blurHalo(theme, geometry, bright);
    paintHalo(target, l, theme, geometry);
    paintDots(target, l, theme, geometry, bright);
    paintGlass(target, theme, geometry.scale);
    blurImage(target, theme.overallBlur * geometry.scale);
}

void DotMatrixDisplayRenderer::putContent(const DisplayState& state, const DisplayLayout& l,
                                          const LCTheme& theme) {
    columns_ = l.columns;
    rows_ = l.rows;
    const auto dotCount = static_cast<std::size_t>(columns_ * rows_);
    lit_.assign(dotCount, Pixel{});
    glow_.assign(dotCount, Pixel{});

    putText(state.statusLeft, l.statusLine, theme);
    if (!state.statusRight.empty()) {
        const long w = textDots(state.statusRight).width;
        putText(state.statusRight,
                l.statusLine.adjusted(int(std::max(0L, l.statusLine.width() - w)), 0, 0, 0), theme);
    }
    putTime(state.time, l.time, theme);
    putText(state.timeLabel, l.timeLabel, theme);
    putText("BUF", l.bufferingMeter, theme);
    putMeter(state.buffering, l.bufferingSegments, theme.bufferColorMap,
             l.bufferingMeter.adjusted(31, 0, 0, 0), theme);
    putText(state.title, l.title, theme);
    putText(state.subtitle, l.subtitle, theme);
    putProgress(state, l.progressBar, theme);
    putText("L", l.leftMeter, theme);
    putMeter(state.levelLeft, l.meterSegments, theme.volumeColorMap, l.leftMeter.adjusted(13, 0, 0, 0),
             theme);
    putText("R", l.rightMeter, theme);
    putMeter(state.levelRight, l.meterSegments, theme.volumeColorMap, l.rightMeter.adjusted(13, 0, 0, 0),
             theme);
}

void DotMatrixDisplayRenderer::paintBackground(QImage& target, const LCTheme& theme, float bright) {
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

void DotMatrixDisplayRenderer::blurHalo(const LCTheme& theme, const DisplayGeometry& geometry, float bright) {
    // The lit dots' glow colours blurred twice. The wide layer B is soft anyway: it is blurred at
    // half the grid's resolution, which makes it four times cheaper, and sampled back bilinearly.
    const double dotsPerPoint = 1.0 / geometry.dotSize;
    haloA_ = glow_;
    gaussianBlur(haloA_, scratch_, columns_, rows_, theme.haloRadiusA * dotsPerPoint);
    long halfColumns = 0, halfRows = 0;
    halve(glow_, columns_, rows_, haloB_, halfColumns, halfRows);
    gaussianBlur(haloB_, scratch_, halfColumns, halfRows, theme.haloRadiusB * dotsPerPoint / 2);
    if (haloImage_.width() != columns_ || haloImage_.height() != rows_)
        haloImage_ = QImage(int(std::max(1L, columns_)), int(std::max(1L, rows_)),
                            QImage::Format_ARGB32_Premultiplied);
    const float opacityA = static_cast<float>(theme.haloOpacityA) * bright;
    const float opacityB = static_cast<float>(theme.haloOpacityB) * bright;
    // Bilinear sampling positions of B along a row are the same on every row.
    struct Sample {
        std::size_t x0, x1;
        float fx;
    };
    std::vector<Sample> samples(static_cast<std::size_t>(columns_));
    for (long x = 0; x < columns_; ++x) {
        const double sx =
            std::clamp((static_cast<double>(x) + 0.5) / 2 - 0.5, 0.0, static_cast<double>(halfColumns - 1));
        const long x0 = static_cast<long>(sx);
        samples[static_cast<std::size_t>(x)] = {static_cast<std::size_t>(x0),
                                                static_cast<std::size_t>(std::min(x0 + 1, halfColumns - 1)),
                                                static_cast<float>(sx - static_cast<double>(x0))};
    }
    for (long y = 0; y < rows_; ++y) {
        auto* row = reinterpret_cast<QRgb*>(haloImage_.scanLine(int(y)));
        const double sy =
            std::clamp((static_cast<double>(y) + 0.5) / 2 - 0.5, 0.0, static_cast<double>(halfRows - 1));
        const long y0 = static_cast<long>(sy), y1 = std::min(y0 + 1, halfRows - 1);
        const float fy = static_cast<float>(sy - static_cast<double>(y0));
        const Pixel* upper = &haloB_[static_cast<std::size_t>(y0 * halfColumns)];
        const Pixel* lower = &haloB_[static_cast<std::size_t>(y1 * halfColumns)];
        const Pixel* a = &haloA_[static_cast<std::size_t>(y * columns_)];
        for (long x = 0; x < columns_; ++x) {
            const Sample& s = samples[static_cast<std::size_t>(x)];
            float c[4];
            for (int k = 0; k < 4; ++k) {
                const float top = upper[s.x0][k] + (upper[s.x1][k] - upper[s.x0][k]) * s.fx;
                const float bottom = lower[s.x0][k] + (lower[s.x1][k] - lower[s.x0][k]) * s.fx;
                c[k] = std::min(1.0f, a[x][k] * opacityA + (top + (bottom - top) * fy) * opacityB);
            }
            row[x] = (static_cast<QRgb>(c[3] * 255 + 0.5f) << 24) |
                     (static_cast<QRgb>(c[0] * 255 + 0.5f) << 16) |
                     (static_cast<QRgb>(c[1] * 255 + 0.5f) << 8) | static_cast<QRgb>(c[2] * 255 + 0.5f);
        }
    }
}

void DotMatrixDisplayRenderer::paintHalo(QImage& target, const DisplayLayout& l, const LCTheme& theme,
                                         const DisplayGeometry& geometry) const {
    // Under the dots, shifted by the theme's offset.
    if (columns_ <= 0 || rows_ <= 0) return;
    const double scale = geometry.scale;
    QPainter painter(&target);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRectF((l.originX + theme.haloX) * scale, (l.originY + theme.haloY) * scale,
                             static_cast<double>(columns_) * geometry.dotSize * scale,
                             static_cast<double>(rows_) * geometry.dotSize * scale),
                      haloImage_);
}

void DotMatrixDisplayRenderer::paintDots(QImage& target, const DisplayLayout& l, const LCTheme& theme,
                                         const DisplayGeometry& geometry, float bright) const {
    // A square lit cell with a gap to its neighbours, unlit dots in the matrix colour at the
    // theme's off opacity.
    const double scale = geometry.scale;
    const auto dotCount = static_cast<std::size_t>(columns_ * rows_);
    const Pixel off =
        theme.matrixEffect ? premultiplied(theme.matrix, static_cast<float>(theme.offOpacity)) : Pixel{};
    std::vector<std::uint32_t> dotColor(dotCount);
    for (std::size_t i = 0; i < dotCount; ++i) {
        Pixel p;
        for (int k = 0; k < 4; ++k)
            p[k] = lit_[i][k] * bright + off[k] * (1 - lit_[i][3] * bright);
        const auto byte = [](float v) {
            return static_cast<std::uint32_t>(std::clamp(v, 0.0f, 1.0f) * 255 + 0.5f);
        };
        dotColor[i] = (byte(p[3]) << 24) | (byte(p[0]) << 16) | (byte(p[1]) << 8) | byte(p[2]);
    }
    const double pitch = geometry.dotSize * scale;
    const double fill = theme.matrixEffect ? 0.72 : 1.0;
    const auto axis = [&](int length, double origin, long count, std::vector<long>& index) {
        index.assign(static_cast<std::size_t>(length), -1);
        for (int p = 0; p < length; ++p) {
            const double position = (p + 0.5 - origin * scale) / pitch;
            const long cell = static_cast<long>(std::floor(position));
            if (cell >= 0 && cell < count && position - static_cast<double>(cell) < fill)
                index[static_cast<std::size_t>(p)] = cell;
        }
    };
    std::vector<long> columnOf, rowOf;
    axis(target.width(), l.originX, columns_, columnOf);
    axis(target.height(), l.originY, rows_, rowOf);
    for (int y = 0; y < target.height(); ++y) {
        const long row = rowOf[static_cast<std::size_t>(y)];
        if (row < 0) continue;
        auto* line = reinterpret_cast<std::uint32_t*>(target.scanLine(y));
        const std::uint32_t* colorsOfRow = &dotColor[static_cast<std::size_t>(row * columns_)];
        for (int x = 0; x < target.width(); ++x) {
            const long column = columnOf[static_cast<std::size_t>(x)];
            if (column < 0) continue;
            const std::uint32_t src = colorsOfRow[column];
            const std::uint32_t alpha = src >> 24;
            if (alpha == 0) continue;
            const std::uint32_t dst = line[x];
            const std::uint32_t keep = 255 - alpha;
            // Premultiplied source-over, two channels at a time.
            const std::uint32_t rb = (((dst & 0x00FF00FFu) * keep + 0x00800080u) >> 8) & 0x00FF00FFu;
            const std::uint32_t ag = ((((dst >> 8) & 0x00FF00FFu) * keep + 0x00800080u) >> 8) & 0x00FF00FFu;
            line[x] = src + (rb | (ag << 8));
        }
    }
}

void DotMatrixDisplayRenderer::paintGlass(QImage& target, const LCTheme& theme, double scale) {
    // Inner shadows under the top and over the bottom edge, then a slanted reflection.
    const int width = target.width(), height = target.height();
    QPainter painter(&target);
    if (theme.topBorderShadowSize > 0) {
        QLinearGradient top(0, 0, 0, theme.topBorderShadowSize * scale);
        top.setColorAt(0, qColor(theme.topBorderShadowColor));
        top.setColorAt(1, qColor(theme.topBorderShadowColor.withAlpha(0)));
        painter.fillRect(QRectF(0, 0, width, theme.topBorderShadowSize * scale), top);
    }
    if (theme.bottomBorderShadowSize > 0) {
        const double size = theme.bottomBorderShadowSize * scale;
        QLinearGradient bottom(0, height, 0, height - size);
        bottom.setColorAt(0, qColor(theme.bottomBorderShadowColor));
        bottom.setColorAt(1, qColor(theme.bottomBorderShadowColor.withAlpha(0)));
        painter.fillRect(QRectF(0, height - size, width, size), bottom);
    }
    if (theme.glassReflectColor.alpha > 0) {
        QPainterPath glass;
        glass.moveTo(0, 0);
        glass.lineTo(width, 0);
        glass.lineTo(width, height * 0.22);
        glass.lineTo(0, height * 0.46);
        glass.closeSubpath();
        QLinearGradient reflect(0, 0, 0, height * 0.46);
        reflect.setColorAt(0, qColor(theme.glassReflectColor));
        reflect.setColorAt(1,
                           qColor(theme.glassReflectColor.withAlpha(theme.glassReflectColor.alpha * 0.25)));
        painter.fillPath(glass, reflect);
    }
}

} // namespace lorvan
