#include "app/window/AppearancePane.hpp"

#include "presentation/DotMatrixRasterizer.hpp"

#include <QButtonGroup>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QScrollArea>
#include <QScrollBar>
#include <QSlider>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

namespace lorvan {
namespace {

constexpr int columns = 3;
// The display's own proportions (600 × 274 points), drawn small.
constexpr double tileScale = 0.25;
constexpr double currentScale = 0.7;
// Dots smaller than a pixel or two beat against the pixel grid; drawn at 1.5 pixels a dot or
// more and scaled down smoothly, they blend as the eye blends the real display seen from afar.
constexpr double minimumDrawingScale = 1.0;

QString themeName(LCBuiltInTheme theme) {
    return QString::fromUtf8(rawValue(theme).data(), static_cast<qsizetype>(rawValue(theme).size()));
}

} // namespace

AppearancePane::AppearancePane(UserUISettings& settings, QWidget* parent)
    : QWidget(parent)
    , settings_(settings)
    , rasterizer_(std::make_unique<DotMatrixRasterizer>(UnifontGlyphs::shared(), settings.font.value()))
    , renderer_(std::make_unique<DotMatrixDisplayRenderer>(*rasterizer_))
    , current_(new QLabel(this))
    , currentName_(new QLabel(this))
    , group_(new QButtonGroup(this))
    , brightness_(new QSlider(Qt::Horizontal, this))
    , brightnessValue_(new QLabel(this)) {
    setObjectName(QStringLiteral("appearancePane"));

    current_->setAlignment(Qt::AlignCenter);
    current_->setAccessibleName(tr("Preview of the chosen theme"));
    QFont nameFont = currentName_->font();
    nameFont.setBold(true);
    currentName_->setFont(nameFont);
    currentName_->setAlignment(Qt::AlignCenter);

    // Brightness, as a percentage of full.
    auto* brightnessLabel = new QLabel(tr("&Brightness:"), this);
    brightnessLabel->setBuddy(brightness_);
    brightness_->setRange(sliderMinimum, sliderMaximum);
    brightness_->setSingleStep(1);
    brightness_->setPageStep(10);
    brightness_->setAccessibleName(tr("Display brightness"));
    brightness_->setToolTip(tr("Display brightness, 10 % to 100 % (View menu: brighter and dimmer)"));
    brightnessValue_->setMinimumWidth(
        brightnessValue_->fontMetrics().horizontalAdvance(QStringLiteral("100 %")) + 4);
    brightnessValue_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    connect(brightness_, &QSlider::valueChanged, this, [this](int value) {
        brightnessValue_->setText(tr("%1 %").arg(value));
        const double brightness = value / 100.0;
        if (std::abs(settings_.brightness.value() - brightness) > 1e-9) settings_.brightness.set(brightness);
    });

    auto* header = new QVBoxLayout;
    header->setSpacing(6);
    header->addWidget(current_);
    header->addWidget(currentName_);
    auto* brightnessRow = new QHBoxLayout;
    brightnessRow->addWidget(brightnessLabel);
    brightnessRow->addWidget(brightness_, 1);
    brightnessRow->addWidget(brightnessValue_);
    header->addLayout(brightnessRow);

    // The themes, in the order they are offered everywhere.
    auto* tiles = new QWidget;
    auto* grid = new QGridLayout(tiles);
    grid->setSpacing(6);
    grid->setContentsMargins(6, 6, 6, 6);
    const QSize iconSize(static_cast<int>(600 * tileScale), static_cast<int>(274 * tileScale));
    int index = 0;
    QWidget* previous = brightness_;
    for (LCBuiltInTheme theme : allBuiltInThemes) {
        auto* button = new QToolButton(tiles);
        button->setCheckable(true);
        button->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
        button->setIconSize(iconSize);
        button->setText(themeName(theme));
        button->setAutoRaise(true);
        button->setAccessibleName(tr("Theme %1").arg(themeName(theme)));
        button->setToolTip(tr("Use the %1 theme (also in the View menu)").arg(themeName(theme)));
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
        group_->addButton(button, static_cast<int>(theme));
        buttons_[theme] = button;
        grid->addWidget(button, index / columns, index % columns);
        setTabOrder(previous, button);
        previous = button;
        connect(button, &QToolButton::clicked, this, [this, theme] {
            if (settings_.selectedBuiltInTheme() != theme) settings_.selectBuiltInTheme(theme);
        });
        ++index;
    }
    group_->setExclusive(true);
    auto* scroll = new QScrollArea(this);
    scroll->setWidget(tiles);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFrameShape(QFrame::StyledPanel);
    grid->activate();
    scroll->setMinimumWidth(tiles->sizeHint().width() + scroll->verticalScrollBar()->sizeHint().width() +
                            2 * scroll->frameWidth());
    scroll->setAccessibleName(tr("Themes"));

    auto* themesTitle = new QLabel(tr("Themes"), this);
    themesTitle->setFont(nameFont);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(header);
    layout->addSpacing(4);
    layout->addWidget(themesTitle);
    layout->addWidget(scroll, 1);

    redraw_.setSingleShot(true);
    redraw_.setInterval(0);
    connect(&redraw_, &QTimer::timeout, this, &AppearancePane::drawPreviews);
    themeWatch_ = settings_.theme.subscribe([this](const LCTheme&) {
        showSelection();
        schedulePreviews();
    });
    brightnessWatch_ = settings_.brightness.subscribe([this](double value) {
        showBrightness(value);
        schedulePreviews();
    });
    showSelection();
    showBrightness(settings_.brightness.value());
    drawPreviews();
}

AppearancePane::~AppearancePane() = default;

void AppearancePane::setPreviewState(const DisplayState& state) {
    state_ = state;
    schedulePreviews();
}

void AppearancePane::showSelection() {
    const auto selected = settings_.selectedBuiltInTheme();
    if (selected) {
        buttons_.at(*selected)->setChecked(true);
        currentName_->setText(themeName(*selected));
    } else {
        // A custom theme: no tile stands for it.
        group_->setExclusive(false);
        for (auto& [theme, button] : buttons_)
            button->setChecked(false);
        group_->setExclusive(true);
        currentName_->setText(tr("Custom theme"));
    }
}

void AppearancePane::showBrightness(double brightness) {
    const QSignalBlocker blocker(brightness_);
    const int value = static_cast<int>(std::lround(brightness * 100));
    brightness_->setValue(value);
    brightnessValue_->setText(tr("%1 %").arg(brightness_->value()));
}

void AppearancePane::schedulePreviews() {
    redraw_.start();
}

void AppearancePane::drawPreviews() {
    const double brightness = settings_.brightness.value();
    const qreal ratio = devicePixelRatioF();
    const auto draw = [&](const LCTheme& theme, double scale) {
        DisplayGeometry geometry;
        geometry.scale = std::max(scale * ratio * 2, minimumDrawingScale);
        const QImage large = renderer_->render(state_, theme, brightness, geometry);
        QImage image =
            large.scaled(qRound(geometry.width * scale * ratio), qRound(geometry.height * scale * ratio),
                         Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        image.setDevicePixelRatio(ratio);
        return image;
    };
    for (auto& [theme, button] : buttons_)
        button->setIcon(QIcon(QPixmap::fromImage(draw(themeOf(theme), tileScale))));
    currentImage_ = draw(settings_.theme.value(), currentScale);
    current_->setPixmap(QPixmap::fromImage(currentImage_));
}

} // namespace lorvan
