#include "DiscNavigator.hpp"

#include "presentation/PlaybackDisplayState.hpp"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>
#include <algorithm>
#include <cmath>

namespace lorvan::window {

namespace {

std::string trackTitle(const AudioDisc& disc, long track) {
    if (disc.metadata && disc.metadata->tracksMetadata && track >= 0 &&
        static_cast<std::size_t>(track) < disc.metadata->tracksMetadata->size())
        if (const auto& title = (*disc.metadata->tracksMetadata)[static_cast<std::size_t>(track)].title)
            return *title;
    return "Track " + std::to_string(track + 1);
}

} // namespace

std::int64_t NavigatorGeometry::frameAtFraction(double p, std::int64_t total) {
    if (total <= 0 || !std::isfinite(p) || p <= 0) return 0;
    if (p >= 1) return total - 1;
    const auto t = static_cast<double>(total);
    auto frame = static_cast<std::int64_t>(p * t);
    // p × total in doubles may land a hair below a whole frame that p stands for exactly.
    while (frame + 1 < total && static_cast<double>(frame + 1) / t <= p)
        ++frame;
    while (frame > 0 && static_cast<double>(frame) / t > p)
        --frame;
    return std::clamp<std::int64_t>(frame, 0, total - 1);
}

double NavigatorGeometry::fractionOfFrame(std::int64_t frame, std::int64_t total) {
    if (total <= 0) return 0;
    return std::clamp(static_cast<double>(frame) / static_cast<double>(total), 0.0, 1.0);
}

double NavigatorGeometry::xOfFrame(std::int64_t frame, std::int64_t total, double left, double width) {
    return left + fractionOfFrame(frame, total) * width;
}

std::int64_t NavigatorGeometry::frameAtX(double x, std::int64_t total, double left, double width) {
    if (total <= 0 || width <= 0) return 0;
    std::int64_t frame = frameAtFraction((x - left) / width, total);
    while (frame + 1 < total && xOfFrame(frame + 1, total, left, width) <= x)
        ++frame;
    while (frame > 0 && xOfFrame(frame, total, left, width) > x)
        --frame;
    return frame;
}

std::optional<NavigatorGeometry::Place> NavigatorGeometry::placeAt(const AudioDisc& disc,
                                                                   std::int64_t frame) {
    const AudioCue* current = nullptr;
    for (const AudioCue& cue : disc.cues) {
        if (cue.keyFrame > frame) break;
        current = &cue;
    }
    if (current == nullptr) {
        if (disc.cues.empty()) return std::nullopt;
        current = &disc.cues.front();
    }
    Place place;
    place.track = current->trackIndex;
    place.chapter = current->chapter;
    if (current->trackIndex >= 0 && static_cast<std::size_t>(current->trackIndex) < disc.tracks.size()) {
        const AudioTrack& track = disc.tracks[static_cast<std::size_t>(current->trackIndex)];
        place.trackFrames = frame - disc.trackStartFrame(track).value_or(disc.trackTableStartFrame(track));
    }
    return place;
}

std::string NavigatorGeometry::hoverText(const AudioDisc& disc, std::int64_t frame) {
    const auto place = placeAt(disc, frame);
    if (!place) return {};
    char index[8];
    std::snprintf(index, sizeof index, "%02ld", place->chapter);
    const double rate = disc.data->audioFiles().empty()
                            ? 44100.0
                            : disc.data->audioFiles().front()->processingFormat().sampleRate;
    return "Track " + std::to_string(place->track + 1) + " \u00B7 Index " + index + " \u00B7 " +
           displayTime(place->trackFrames, rate) + " \u2014 " + trackTitle(disc, place->track);
}

DiscNavigator::DiscNavigator(QWidget* parent)
    : QWidget(parent) {
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFixedHeight(30);
    setAccessibleName(tr("Disc position"));
    setToolTip(tr("Click or drag to go to a place on the disc (\u2190/\u2192: 10 seconds)"));
}

QSize DiscNavigator::sizeHint() const {
    return {600, 30};
}

void DiscNavigator::setDisc(std::shared_ptr<const AudioDisc> disc) {
    disc_ = std::move(disc);
    update();
}

void DiscNavigator::setPosition(double fraction) {
    if (fraction == position_) return;
    // The position moves with the music about thirty times a second, a device pixel every
    // second or so on a whole disc: only a move the eye can see repaints, and only the strip
    // between the old and the new cursor (with its cap) is drawn again.
    const QRectF bar = barRect();
    const double pixels = bar.width() * devicePixelRatioF();
    const bool moved = std::floor(position_ * pixels) != std::floor(fraction * pixels);
    const double from = bar.left() + position_ * bar.width();
    const double to = bar.left() + fraction * bar.width();
    position_ = fraction;
    if (!moved || dragging_) return;
    constexpr double cap = 5;
    update(QRectF(std::min(from, to) - cap, 0, std::abs(to - from) + 2 * cap, height()).toAlignedRect());
}

void DiscNavigator::setColors(const ThemeColors& colors) {
    colors_ = colors;
    update();
}

QRectF DiscNavigator::barRect() const {
    return QRectF(14, 9, std::max(1, width() - 28), 12);
}

double DiscNavigator::fractionAt(double x) const {
    const QRectF bar = barRect();
    return std::clamp((x - bar.left()) / bar.width(), 0.0, 1.0);
}

double DiscNavigator::xOfFrame(std::int64_t frame) const {
    if (!disc_) return 0;
    const QRectF bar = barRect();
    return NavigatorGeometry::xOfFrame(frame, disc_->data->totalFrameCount(), bar.left(), bar.width());
}

void DiscNavigator::paintBar(QPainter& painter, double playedFraction, bool hovered) const {
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bar = barRect();
    QPainterPath clip;
    clip.addRoundedRect(bar, 3, 3);
    painter.fillPath(clip, colors_.well);
    if (!disc_) {
        painter.setPen(QPen(colors_.bodyEdge, 1));
        painter.drawPath(clip);
        return;
    }
    const std::int64_t total = std::max<std::int64_t>(disc_->data->totalFrameCount(), 1);
    const auto xOf = [&](std::int64_t frame) {
        return NavigatorGeometry::xOfFrame(frame, total, bar.left(), bar.width());
    };
    painter.save();
    painter.setClipPath(clip);
    // The played part.
    QColor played = colors_.accent;
    played.setAlphaF(0.35F);
    painter.fillRect(QRectF(bar.left(), bar.top(), playedFraction * bar.width(), bar.height()), played);
    // Pregaps: hatched from INDEX 00 to INDEX 01.
    QColor pregap = colors_.secondary;
    pregap.setAlphaF(0.35F);
    for (const AudioTrack& track : disc_->tracks) {
        if (track.cueIndices.empty()) continue;
        const AudioCue& first = disc_->cues[track.cueIndices.front()];
        const auto start = disc_->trackStartFrame(track);
        if (first.chapter == 0 && start && *start > first.keyFrame)
            painter.fillRect(
                QRectF(QPointF(xOf(first.keyFrame), bar.top()), QPointF(xOf(*start), bar.bottom())),
                QBrush(pregap, Qt::BDiagPattern));
    }
    // Hovered track segment.
    if (hovered && hover_) {
        const std::int64_t frame = NavigatorGeometry::frameAtFraction(*hover_, total);
        if (const auto place = NavigatorGeometry::placeAt(*disc_, frame)) {
            const AudioTrack& track = disc_->tracks[static_cast<std::size_t>(place->track)];
            const std::int64_t from = disc_->trackTableStartFrame(track);
            const std::int64_t to =
                from + disc_->trackLength(track, AudioDisc::TrackLengthMode::excludingNextTrackPregap);
            painter.fillRect(QRectF(QPointF(xOf(from), bar.top()), QPointF(xOf(to), bar.bottom())),
                             colors_.hover);
        }
    }
    painter.restore();
    // Track boundaries as full ticks through the bar, chapters as short ones.
    for (const AudioCue& cue : disc_->cues) {
        const double x = std::round(xOf(cue.keyFrame)) + 0.5;
        if (cue.chapter == 1 && cue.keyFrame > 0) {
            painter.setPen(QPen(colors_.body, 2));
            painter.drawLine(QPointF(x, bar.top()), QPointF(x, bar.bottom()));
        } else if (cue.chapter >= 2) {
            painter.setPen(QPen(colors_.primary, 1));
            painter.drawLine(QPointF(x, bar.top() - 4), QPointF(x, bar.top() - 1));
            painter.drawLine(QPointF(x, bar.bottom() + 1), QPointF(x, bar.bottom() + 4));
        }
    }
    painter.setPen(QPen(colors_.bodyEdge, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(clip);
}

void DiscNavigator::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRectF bar = barRect();
    const double x = bar.left() + position_ * bar.width();
    if (!disc_ || hover_) {
        paintBar(painter, position_, true);
    } else {
        // While the music moves the cursor, the bar is two pictures made once per size, theme
        // and disc, all played and all to come, cut where the cursor stands.
        const qreal scale = devicePixelRatioF();
        const LayerKey key{size(),
                           scale,
                           disc_.get(),
                           colors_.accent.rgba(),
                           colors_.well.rgba(),
                           colors_.secondary.rgba(),
                           colors_.body.rgba(),
                           colors_.primary.rgba(),
                           colors_.bodyEdge.rgba()};
        if (!(key == layerKey_) || layers_[0].isNull()) {
            for (int played = 0; played < 2; ++played) {
                QPixmap layer(size() * scale);
                layer.setDevicePixelRatio(scale);
                layer.fill(Qt::transparent);
                QPainter layerPainter(&layer);
                paintBar(layerPainter, played, false);
                layers_[static_cast<std::size_t>(played)] = layer;
            }
            layerKey_ = key;
        }
        const int cut = static_cast<int>(std::lround(x * scale));
        const int full = static_cast<int>(std::lround(width() * scale));
        const int tall = static_cast<int>(std::lround(height() * scale));
        painter.drawPixmap(QRectF(0, 0, cut / scale, height()), layers_[1], QRectF(0, 0, cut, tall));
        painter.drawPixmap(QRectF(cut / scale, 0, (full - cut) / scale, height()), layers_[0],
                           QRectF(cut, 0, full - cut, tall));
    }
    painter.setRenderHint(QPainter::Antialiasing);
    // The position: a small lit cap over a line.
    painter.setPen(QPen(colors_.accent, 2));
    painter.drawLine(QPointF(x, bar.top() - 3), QPointF(x, bar.bottom() + 3));
    painter.setPen(Qt::NoPen);
    painter.setBrush(colors_.accent);
    painter.drawEllipse(QPointF(x, bar.top() - 4), 3.5, 3.5);
    if (hasFocus()) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(colors_.accent, 1, Qt::DotLine));
        painter.drawRoundedRect(bar.adjusted(-3, -5, 3, 5), 4, 4);
    }
}

void DiscNavigator::seekTo(double x) {
    if (!disc_) return;
    const QRectF bar = barRect();
    const std::int64_t frame =
        NavigatorGeometry::frameAtX(x, disc_->data->totalFrameCount(), bar.left(), bar.width());
    position_ = fractionAt(x);
    update();
    emit seekRequested(frame);
}

void DiscNavigator::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !disc_) return QWidget::mousePressEvent(event);
    dragging_ = true;
    seekTo(event->position().x());
}

void DiscNavigator::mouseMoveEvent(QMouseEvent* event) {
    if (!disc_) return;
    if (dragging_) seekTo(event->position().x());
    hover_ = fractionAt(event->position().x());
    const std::int64_t frame = NavigatorGeometry::frameAtFraction(*hover_, disc_->data->totalFrameCount());
    QToolTip::showText(event->globalPosition().toPoint(),
                       QString::fromStdString(NavigatorGeometry::hoverText(*disc_, frame)), this);
    update();
}

void DiscNavigator::mouseReleaseEvent(QMouseEvent* event) {
    if (dragging_ && event->button() == Qt::LeftButton) dragging_ = false;
    QWidget::mouseReleaseEvent(event);
}

void DiscNavigator::leaveEvent(QEvent* event) {
    hover_.reset();
    update();
    QWidget::leaveEvent(event);
}

} // namespace lorvan::window
