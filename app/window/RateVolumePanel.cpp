#include "RateVolumePanel.hpp"

#include "playback/AudioDiscPlayer.hpp"

#include <QAction>
#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>
#include <cmath>

namespace lorvan::window {

ThemedDial::ThemedDial(QWidget* parent)
    : QDial(parent) {
    setNotchesVisible(false);
    setWrapping(false);
    setCursor(Qt::PointingHandCursor);
    setFixedSize(44, 44);
}

void ThemedDial::setColors(const ThemeColors& colors) {
    colors_ = colors;
    update();
}

void ThemedDial::setOrigin(int origin) {
    origin_ = origin;
    update();
}

void ThemedDial::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        emit resetRequested();
        return;
    }
    QDial::mouseDoubleClickEvent(event);
}

void ThemedDial::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const double side = std::min(width(), height()) - 4.0;
    const QRectF ring((width() - side) / 2, (height() - side) / 2, side, side);
    // QDial's geometry: the range spans 300° clockwise from 240° (lower left).
    const auto angleOf = [&](int value) {
        const double span = std::max(1, maximum() - minimum());
        return 240.0 - 300.0 * (value - minimum()) / span;
    };
    const QColor track = colors_.well;
    p.setPen(QPen(track, 4, Qt::SolidLine, Qt::RoundCap));
    p.drawArc(ring.adjusted(2, 2, -2, -2), static_cast<int>(-60 * 16), static_cast<int>(300 * 16));
    QColor lit = isEnabled() ? colors_.accent : colors_.secondary;
    const double from = angleOf(std::clamp(origin_, minimum(), maximum()));
    const double to = angleOf(value());
    p.setPen(QPen(lit, 4, Qt::SolidLine, Qt::RoundCap));
    p.drawArc(ring.adjusted(2, 2, -2, -2), static_cast<int>(from * 16), static_cast<int>((to - from) * 16));
    // The knob.
    const QRectF knob = ring.adjusted(8, 8, -8, -8);
    QRadialGradient shade(knob.center() - QPointF(0, knob.height() * 0.3), knob.width());
    shade.setColorAt(0, colors_.body.lighter(140));
    shade.setColorAt(1, colors_.body.darker(125));
    p.setPen(QPen(colors_.bodyEdge, 1));
    p.setBrush(shade);
    p.drawEllipse(knob);
    const double radians = to * M_PI / 180.0;
    const QPointF c = knob.center();
    const double r = knob.width() / 2 - 3;
    p.setPen(QPen(isEnabled() ? colors_.primary : colors_.secondary, 2, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(c + QPointF(std::cos(radians) * r * 0.35, -std::sin(radians) * r * 0.35),
               c + QPointF(std::cos(radians) * r, -std::sin(radians) * r));
    if (hasFocus()) {
        p.setPen(QPen(colors_.accent, 1, Qt::DotLine));
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(ring.adjusted(-1, -1, 1, 1));
    }
}

namespace {

QLabel* readout(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    label->setMinimumWidth(46);
    return label;
}

} // namespace

RateVolumePanel::RateVolumePanel(QAction* newBeat, QAction* mute, QAction* amplifier, QWidget* parent)
    : QWidget(parent)
    , rateDial_(new ThemedDial(this))
    , volumeDial_(new ThemedDial(this))
    , rateLabel_(readout(this))
    , volumeLabel_(readout(this))
    , newBeat_(new GlyphButton(GlyphButton::Glyph::newBeat, newBeat, this))
    , mute_(new GlyphButton(GlyphButton::Glyph::speaker, mute, this))
    , amplifier_(new GlyphButton(GlyphButton::Glyph::amplifier, amplifier, this)) {
    rateDial_->setRange(static_cast<int>(std::lround(AudioDiscPlayer::minimumRate * rateSteps)),
                        static_cast<int>(std::lround(AudioDiscPlayer::maximumRate * rateSteps)));
    rateDial_->setSingleStep(1);
    rateDial_->setPageStep(4);
    rateDial_->setOrigin(rateSteps);
    rateDial_->setValue(rateSteps);
    rateDial_->setAccessibleName(tr("Playback rate"));
    rateDial_->setToolTip(
        tr("Playback rate, 0.25\u00D7 to 4\u00D7 (> faster, < slower, double-click or 0: normal)"));
    volumeDial_->setRange(0, 100);
    volumeDial_->setValue(100);
    volumeDial_->setAccessibleName(tr("Volume"));
    volumeDial_->setToolTip(tr("Volume, through the amplifier (+ louder, \u2212 quieter)"));

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 0, 12, 0);
    layout->setSpacing(6);
    layout->addWidget(rateDial_);
    layout->addWidget(rateLabel_);
    layout->addWidget(newBeat_);
    layout->addStretch(1);
    layout->addWidget(amplifier_);
    layout->addWidget(mute_);
    layout->addWidget(volumeLabel_);
    layout->addWidget(volumeDial_);
    volumeLabel_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);

    connect(rateDial_, &QDial::valueChanged, this, [this](int value) {
        if (updating_) return;
        rateLabel_->setText(QString::number(value / static_cast<double>(rateSteps), 'f', 2) +
                            QStringLiteral("\u00D7"));
        emit rateChosen(static_cast<float>(value) / static_cast<float>(rateSteps));
    });
    connect(rateDial_, &ThemedDial::resetRequested, this, &RateVolumePanel::rateResetRequested);
    connect(volumeDial_, &QDial::valueChanged, this, [this](int value) {
        if (updating_) return;
        volumeLabel_->setText(QString::number(value) + QStringLiteral(" %"));
        emit volumeChosen(static_cast<float>(value) / 100.0F);
    });
    setRate(1.0F, false);
    setVolume(1.0F, false);
}

void RateVolumePanel::setRate(float rate, bool newBeat) {
    updating_ = true;
    if (!rateDial_->isSliderDown()) rateDial_->setValue(static_cast<int>(std::lround(rate * rateSteps)));
    rateLabel_->setText(QString::number(static_cast<double>(rate), 'f', 2) + QStringLiteral("\u00D7"));
    newBeat_->setChecked(newBeat);
    updating_ = false;
}

void RateVolumePanel::setVolume(float volume, bool amplifierOn) {
    updating_ = true;
    if (!volumeDial_->isSliderDown()) volumeDial_->setValue(static_cast<int>(std::lround(volume * 100.0F)));
    volumeDial_->setEnabled(amplifierOn);
    volumeLabel_->setText(amplifierOn ? QString::number(std::lround(volume * 100.0F)) + QStringLiteral(" %")
                                      : tr("amp off"));
    mute_->setGlyph(amplifierOn && volume == 0.0F ? GlyphButton::Glyph::mute : GlyphButton::Glyph::speaker);
    amplifier_->setChecked(amplifierOn);
    updating_ = false;
}

void RateVolumePanel::setColors(const ThemeColors& colors) {
    for (auto* dial : {rateDial_, volumeDial_})
        dial->setColors(colors);
    for (auto* button : {newBeat_, mute_, amplifier_})
        button->setColors(colors);
}

} // namespace lorvan::window
