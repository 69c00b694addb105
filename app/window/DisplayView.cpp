#include "DisplayView.hpp"

#include <QMouseEvent>
#include <QPainter>
#include <cmath>

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
    themeWatch_ = settings_.theme.subscribe([this](const LCTheme&) { invalidate(); });
    brightnessWatch_ = settings_.brightness.subscribe([this](double) { invalidate(); });
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

void DisplayView::invalidate() {
    dirty_ = true;
    update();
}

void DisplayView::setState(const DisplayState& incoming) {
    // The progress bar is drawn one dot at a time: a move smaller than a dot draws the same
    // pixels, so it is not a change worth a frame.
    DisplayState state = incoming;
    const long dots = DotMatrixDisplayRenderer::layout(geometry()).progressBar.width();
    if (dots > 0)
        state.progress = std::floor(state.progress * static_cast<double>(dots)) / static_cast<double>(dots);
    if (state.statusLeft == state_.statusLeft && state.statusRight == state_.statusRight &&
        state.time == state_.time && state.timeLabel == state_.timeLabel && state.title == state_.title &&
        state.subtitle == state_.subtitle && state.progress == state_.progress &&
        state.cueMarkers == state_.cueMarkers && state.levelLeft == state_.levelLeft &&
        state.levelRight == state_.levelRight && state.buffering == state_.buffering)
        return;
    state_ = state;
    invalidate();
}

QRectF DisplayView::timeRect() const {
    const DisplayGeometry g = geometry();
    const DisplayLayout layout = DotMatrixDisplayRenderer::layout(g);
    const double dot = g.dotSize;
    return {layout.originX + layout.time.x() * dot, layout.originY + layout.time.y() * dot,
            (layout.time.width() + layout.timeLabel.width() + 2) * dot, layout.time.height() * dot};
}

void DisplayView::paintEvent(QPaintEvent*) {
    const DisplayGeometry g = geometry();
    const QSize pixels(static_cast<int>(g.width * g.scale), static_cast<int>(g.height * g.scale));
    if (dirty_ || frame_.size() != pixels) {
        renderer_->render(frame_, state_, settings_.theme.value(), settings_.brightness.value(), g);
        frame_.setDevicePixelRatio(g.scale);
        dirty_ = false;
        ++renderedFrames_;
    }
    QPainter painter(this);
    painter.drawImage(QPointF(0, 0), frame_);
}

void DisplayView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && timeRect().contains(event->position())) {
        emit timeClicked();
        return;
    }
    QWidget::mousePressEvent(event);
}

} // namespace lorvan::window
