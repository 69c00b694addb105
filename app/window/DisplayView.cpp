#include "DisplayView.hpp"

#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace lorvan::window {

DisplayView::DisplayView(UserUISettings& settings, QWidget* parent)
    : QWidget(parent)
    , settings_(settings)
    , rasterizer_(std::make_unique<DotMatrixRasterizer>(UnifontGlyphs::shared(), settings.font.value()))
    , renderer_(std::make_unique<DotMatrixDisplayRenderer>(*rasterizer_)) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMinimumHeight(120);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFixedHeight(static_cast<int>(settings.displayHeight));
    setAccessibleName(tr("Display"));
    setToolTip(tr("Click the time to change what it counts (T)"));
    themeWatch_ = settings_.theme.subscribe([this](const LCTheme&) { redraw(); });
    brightnessWatch_ = settings_.brightness.subscribe([this](double) { redraw(); });
}

DisplayView::~DisplayView() = default;

QSize DisplayView::sizeHint() const {
    return {600, static_cast<int>(settings_.displayHeight)};
}

DisplayGeometry DisplayView::geometry() const {
    DisplayGeometry g;
    g.width = width();
    g.height = height();
    g.scale = devicePixelRatioF();
    return DotMatrixDisplayRenderer::sanitized(g);
}

bool DisplayView::drawable() const {
    return isVisible() && !window()->isMinimized();
}

void DisplayView::setState(const DisplayState& state) {
    state_ = state;
    redraw();
}

QRegion DisplayView::drawFrame() {
    const DisplayGeometry g = geometry();
    const LCTheme& theme = settings_.theme.value();
    const double brightness = settings_.brightness.value();
    // Most publications while playing move the time by less than a second and the progress by
    // less than a dot: asking first costs no drawing.
    if (!renderer_->wouldChange(state_, theme, brightness, g)) return {};
    QRegion changed;
    for (const QRect& pixels : renderer_->update(state_, theme, brightness, g))
        changed += QRectF(pixels.x() / g.scale, pixels.y() / g.scale, pixels.width() / g.scale,
                          pixels.height() / g.scale)
                       .toAlignedRect();
    ++renderedFrames_;
    lastChanged_ = changed;
    return changed;
}

void DisplayView::redraw() {
    if (!drawable()) return;
    const QRegion changed = drawFrame();
    if (!changed.isEmpty()) update(changed);
}

QRectF DisplayView::timeRect() const {
    const DisplayGeometry g = geometry();
    const DisplayLayout layout = DotMatrixDisplayRenderer::layout(g);
    const double dot = g.dotSize;
    return {layout.originX + layout.time.x() * dot, layout.originY + layout.time.y() * dot,
            (layout.time.width() + layout.timeLabel.width() + 2) * dot, layout.time.height() * dot};
}

namespace {

/// bench/window/measure-window sets LORVAN_TRACE_FIRST_FRAME to time a start: when the first
/// frame showing a disc's title has been painted, the wall clock and the CPU time the process
/// has used so far go to standard error.
void traceFirstDiscFrame(const DisplayState& state) {
    static bool pending = qEnvironmentVariableIsSet("LORVAN_TRACE_FIRST_FRAME");
    if (!pending || state.title.empty() || !state.statusLeft.starts_with("TRACK")) return;
    pending = false;
    timespec now{}, cpu{};
    clock_gettime(CLOCK_REALTIME, &now);
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpu);
    std::fprintf(stderr, "first frame showing a disc at %lld.%09ld after %lld.%09ld s of CPU\n",
                 static_cast<long long>(now.tv_sec), now.tv_nsec, static_cast<long long>(cpu.tv_sec), cpu.tv_nsec);
}

} // namespace

void DisplayView::paintEvent(QPaintEvent* event) {
    // After being hidden, minimised or resized the frame may be behind; otherwise this is a no-op.
    const QRegion changed = drawFrame();
    const QImage& frame = renderer_->image();
    if (frame.isNull()) return;
    const double scale = geometry().scale;
    // What the paint itself drew beyond the region asked for is shown by the next paint.
    if (const QRegion beyond = changed - event->region(); !beyond.isEmpty()) update(beyond);
    QPainter painter(this);
    // The frame's alpha is a hair short of opaque in places: over the last frame it would let
    // the old picture show through, so each repainted rectangle starts from black.
    for (const QRect& rect : event->region()) {
        painter.fillRect(rect, Qt::black);
        const QRectF source(rect.x() * scale, rect.y() * scale, rect.width() * scale, rect.height() * scale);
        painter.drawImage(QRectF(rect), frame, source);
    }
    traceFirstDiscFrame(state_);
}

void DisplayView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && timeRect().contains(event->position())) {
        emit timeClicked();
        return;
    }
    QWidget::mousePressEvent(event);
}

} // namespace lorvan::window
