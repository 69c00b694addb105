#include "GlyphButton.hpp"

#include <QAction>
#include <QPainter>
#include <QPainterPath>

namespace lorvan::window {

namespace {

QPainterPath triangle(QPointF tip, double height, bool pointsRight) {
    const double w = height * 0.86;
    QPainterPath path;
    const double back = pointsRight ? tip.x() - w : tip.x() + w;
    path.moveTo(tip);
    path.lineTo(back, tip.y() - height / 2);
    path.lineTo(back, tip.y() + height / 2);
    path.closeSubpath();
    return path;
}

void drawGlyph(QPainter& p, GlyphButton::Glyph glyph, const QRectF& box, const QColor& ink) {
    using G = GlyphButton::Glyph;
    const QPointF c = box.center();
    const double s = std::min(box.width(), box.height());
    p.setPen(Qt::NoPen);
    p.setBrush(ink);
    const double h = s * 0.42; // triangle height
    const auto bar = [&](double x, double height, double w = 0) {
        const double width = w > 0 ? w : s * 0.08;
        p.drawRoundedRect(QRectF(x - width / 2, c.y() - height / 2, width, height), width / 3, width / 3);
    };
    QPen line(ink, std::max(1.4, s * 0.075), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    switch (glyph) {
    case G::previousTrack:
        bar(c.x() - h * 0.78, h);
        p.drawPath(triangle({c.x() - h * 0.68, c.y()}, h, false));
        p.drawPath(triangle({c.x() + h * 0.05, c.y()}, h, false));
        break;
    case G::nextTrack:
        bar(c.x() + h * 0.78, h);
        p.drawPath(triangle({c.x() + h * 0.68, c.y()}, h, true));
        p.drawPath(triangle({c.x() - h * 0.05, c.y()}, h, true));
        break;
    case G::previousChapter:
        bar(c.x() - h * 0.45, h);
        p.drawPath(triangle({c.x() - h * 0.33, c.y()}, h, false));
        break;
    case G::nextChapter:
        bar(c.x() + h * 0.45, h);
        p.drawPath(triangle({c.x() + h * 0.33, c.y()}, h, true));
        break;
    case G::play:
        p.drawPath(triangle({c.x() + h * 0.52, c.y()}, h * 1.15, true));
        break;
    case G::pause:
        bar(c.x() - h * 0.25, h * 1.05, h * 0.28);
        bar(c.x() + h * 0.25, h * 1.05, h * 0.28);
        break;
    case G::stopEject: {
        // The square of stop above the bar of eject.
        p.drawRoundedRect(QRectF(c.x() - h * 0.6, c.y() - h * 0.75, h * 1.2, h * 1.0), 1.5, 1.5);
        p.drawRoundedRect(QRectF(c.x() - h * 0.6, c.y() + h * 0.45, h * 1.2, h * 0.26), 1, 1);
        break;
    }
    case G::repeat:
    case G::repeatOne: {
        p.setBrush(Qt::NoBrush);
        p.setPen(line);
        const QRectF loop(c.x() - h * 0.95, c.y() - h * 0.6, h * 1.9, h * 1.2);
        p.drawRoundedRect(loop, h * 0.3, h * 0.3);
        p.setPen(Qt::NoPen);
        p.setBrush(ink);
        p.drawPath(triangle({loop.center().x() + h * 0.4, loop.top()}, h * 0.6, true));
        if (glyph == G::repeatOne) {
            QFont font = p.font();
            font.setPixelSize(static_cast<int>(h * 0.62));
            font.setBold(true);
            p.setFont(font);
            p.setPen(ink);
            p.drawText(loop, Qt::AlignCenter, QStringLiteral("1"));
        }
        break;
    }
    case G::shuffle: {
        p.setBrush(Qt::NoBrush);
        p.setPen(line);
        const double l = c.x() - h * 0.8, r = c.x() + h * 0.6, t = c.y() - h * 0.38, b = c.y() + h * 0.38;
        QPainterPath a;
        a.moveTo(l, b);
        a.cubicTo(c.x() - h * 0.1, b, c.x() - h * 0.1, t, r, t);
        QPainterPath d;
        d.moveTo(l, t);
        d.cubicTo(c.x() - h * 0.1, t, c.x() - h * 0.1, b, r, b);
        p.drawPath(a);
        p.drawPath(d);
        p.setPen(Qt::NoPen);
        p.setBrush(ink);
        p.drawPath(triangle({r + h * 0.3, t}, h * 0.38, true));
        p.drawPath(triangle({r + h * 0.3, b}, h * 0.38, true));
        break;
    }
    case G::timeMode: {
        p.setBrush(Qt::NoBrush);
        p.setPen(line);
        p.drawEllipse(c, h * 0.62, h * 0.62);
        p.drawLine(c, QPointF(c.x(), c.y() - h * 0.4));
        p.drawLine(c, QPointF(c.x() + h * 0.3, c.y() + h * 0.12));
        break;
    }
    case G::newBeat:
    case G::amplifier: {
        QFont font = p.font();
        font.setPixelSize(static_cast<int>(s * 0.32));
        font.setBold(true);
        font.setLetterSpacing(QFont::PercentageSpacing, 92);
        p.setFont(font);
        p.setPen(ink);
        p.drawText(box.adjusted(-4, 0, 4, 0), Qt::AlignCenter,
                   glyph == G::newBeat ? QStringLiteral("NB") : QStringLiteral("AMP"));
        break;
    }
    case G::mute:
    case G::speaker: {
        // A loudspeaker; muted: crossed, else with its waves.
        QPainterPath speaker;
        speaker.moveTo(c.x() - h * 0.7, c.y() - h * 0.22);
        speaker.lineTo(c.x() - h * 0.38, c.y() - h * 0.22);
        speaker.lineTo(c.x() - h * 0.02, c.y() - h * 0.55);
        speaker.lineTo(c.x() - h * 0.02, c.y() + h * 0.55);
        speaker.lineTo(c.x() - h * 0.38, c.y() + h * 0.22);
        speaker.lineTo(c.x() - h * 0.7, c.y() + h * 0.22);
        speaker.closeSubpath();
        p.drawPath(speaker);
        p.setBrush(Qt::NoBrush);
        p.setPen(line);
        if (glyph == G::mute) {
            p.drawLine(QPointF(c.x() + h * 0.22, c.y() - h * 0.25),
                       QPointF(c.x() + h * 0.72, c.y() + h * 0.25));
            p.drawLine(QPointF(c.x() + h * 0.22, c.y() + h * 0.25),
                       QPointF(c.x() + h * 0.72, c.y() - h * 0.25));
        } else {
            p.drawArc(QRectF(c.x() - h * 0.3, c.y() - h * 0.4, h * 0.7, h * 0.8), -50 * 16, 100 * 16);
            p.drawArc(QRectF(c.x() - h * 0.45, c.y() - h * 0.7, h * 1.2, h * 1.4), -50 * 16, 100 * 16);
        }
        break;
    }
    }
}

} // namespace

GlyphButton::GlyphButton(Glyph glyph, QAction* action, QWidget* parent)
    : QToolButton(parent)
    , glyph_(glyph) {
    setDefaultAction(action);
    setAutoRaise(true);
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::PointingHandCursor);
    // The action's text without the menu's ellipsis or mnemonic is the control's name.
    setAccessibleName(action->text().remove(QLatin1Char('&')).remove(QStringLiteral("\u2026")));
}

void GlyphButton::setGlyph(Glyph glyph) {
    if (glyph == glyph_) return;
    glyph_ = glyph;
    update();
}

void GlyphButton::setColors(const ThemeColors& colors) {
    colors_ = colors;
    update();
}

void GlyphButton::setProminent(bool prominent) {
    prominent_ = prominent;
    updateGeometry();
}

QSize GlyphButton::sizeHint() const {
    return prominent_ ? QSize(46, 46) : QSize(34, 34);
}

void GlyphButton::enterEvent(QEnterEvent* event) {
    hovered_ = true;
    update();
    QToolButton::enterEvent(event);
}

void GlyphButton::leaveEvent(QEvent* event) {
    hovered_ = false;
    update();
    QToolButton::leaveEvent(event);
}

void GlyphButton::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(2, 2, -2, -2);
    const double side = std::min(box.width(), box.height());
    const QRectF square(box.center().x() - side / 2, box.center().y() - side / 2, side, side);
    QColor ink = isChecked() ? colors_.accent : colors_.primary;
    if (!isEnabled()) ink = colors_.secondary;
    if (prominent_) {
        // The play button: a lit disc with the glyph in the body's colour.
        QColor fill = colors_.accent;
        if (!isEnabled()) fill = colors_.secondary;
        if (hovered_ || isDown()) fill = fill.lighter(isDown() ? 90 : 112);
        p.setPen(Qt::NoPen);
        p.setBrush(fill);
        p.drawEllipse(square);
        ink = colors_.body;
    } else if (hovered_ || isDown() || isChecked()) {
        QColor back = isChecked() ? colors_.accent : colors_.hover;
        if (isChecked()) back.setAlphaF(hovered_ ? 0.24F : 0.16F);
        if (isDown()) back = back.darker(120);
        p.setPen(Qt::NoPen);
        p.setBrush(back);
        p.drawRoundedRect(square, 6, 6);
    }
    if (hasFocus()) {
        p.setPen(QPen(colors_.accent, 1, Qt::DotLine));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(square.adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    }
    drawGlyph(p, glyph_, square.adjusted(side * 0.18, side * 0.18, -side * 0.18, -side * 0.18), ink);
}

} // namespace lorvan::window
