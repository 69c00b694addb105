#include "app/window/PlaybackPane.hpp"

#include "core/UserDefaults.hpp"

#include <QButtonGroup>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QRadioButton>
#include <QVBoxLayout>

namespace lorvan {
namespace {

constexpr std::array repeatModes{AudioDiscPlayer::RepeatMode::none, AudioDiscPlayer::RepeatMode::track,
                                 AudioDiscPlayer::RepeatMode::disc};

QString text(std::string_view value) {
    return QString::fromUtf8(value.data(), static_cast<qsizetype>(value.size()));
}

QLabel* note(const QString& words, QWidget* parent) {
    auto* label = new QLabel(words, parent);
    label->setForegroundRole(QPalette::PlaceholderText);
    QFont small = label->font();
    small.setPointSizeF(small.pointSizeF() * 0.9);
    label->setFont(small);
    return label;
}

} // namespace

PlaybackPane::PlaybackPane(PlayerSettings& settings, UserDefaults& defaults,
                           std::vector<std::string> deviceNames, QWidget* parent)
    : QWidget(parent)
    , settings_(settings)
    , defaults_(defaults)
    , repeat_(new QComboBox(this))
    , device_(new QComboBox(this))
    , playAtOnce_(new QRadioButton(tr("&Play it at once"), this))
    , wait_(new QRadioButton(tr("&Wait for Play"), this)) {
    setObjectName(QStringLiteral("playbackPane"));

    // Repeat, by the names the player stores.
    for (const auto mode : repeatModes)
        repeat_->addItem(text(AudioDiscPlayer::rawValue(mode)), static_cast<int>(mode));
    repeat_->setAccessibleName(tr("Repeat mode"));
    repeat_->setToolTip(tr("What plays after the last track (Controls menu: Repeat)"));
    const auto stored = defaults_.string(AudioDiscPlayer::repeatModeDefaultsKey);
    showRepeatMode(stored ? AudioDiscPlayer::repeatMode(*stored).value_or(RepeatMode::none)
                          : RepeatMode::none);
    connect(repeat_, &QComboBox::activated, this, [this](int index) {
        const auto mode = static_cast<RepeatMode>(repeat_->itemData(index).toInt());
        defaults_.setString(AudioDiscPlayer::repeatModeDefaultsKey,
                            std::string(AudioDiscPlayer::rawValue(mode)));
        emit repeatModeChosen(mode);
    });

    // Sound device: the default first, then what PortAudio lists; a stored device that is not
    // there now stays listed, so that choosing nothing keeps it for when it comes back.
    device_->addItem(tr("System Default"), QString());
    for (const std::string& name : deviceNames)
        device_->addItem(QString::fromStdString(name), QString::fromStdString(name));
    const QString chosen = QString::fromStdString(settings_.outputDevice.value());
    if (!chosen.isEmpty() && device_->findData(chosen) < 0)
        device_->addItem(tr("%1 (not connected)").arg(chosen), chosen);
    device_->setCurrentIndex(std::max(0, device_->findData(chosen)));
    device_->setAccessibleName(tr("Sound device"));
    device_->setToolTip(tr("The device Lorvan plays through"));
    device_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    device_->setMinimumContentsLength(24);
    connect(device_, &QComboBox::activated, this, [this](int index) {
        settings_.outputDevice.set(device_->itemData(index).toString().toStdString());
    });
    deviceWatch_ = settings_.outputDevice.subscribe([this](const std::string& name) {
        const int index = device_->findData(QString::fromStdString(name));
        if (index >= 0) device_->setCurrentIndex(index);
    });

    // What opening a disc does.
    auto* group = new QButtonGroup(this);
    group->addButton(playAtOnce_);
    group->addButton(wait_);
    playAtOnce_->setAccessibleName(tr("Play an opened disc at once"));
    playAtOnce_->setToolTip(tr("A disc starts playing as soon as it is opened (Alt+P)"));
    wait_->setAccessibleName(tr("Wait for Play after opening a disc"));
    wait_->setToolTip(tr("An opened disc waits at track 1 until you press Play (Alt+W)"));
    (settings_.playWhenOpened.value() ? playAtOnce_ : wait_)->setChecked(true);
    connect(playAtOnce_, &QRadioButton::toggled, this, [this](bool on) {
        if (on != settings_.playWhenOpened.value()) settings_.playWhenOpened.set(on);
    });
    playWatch_ = settings_.playWhenOpened.subscribe(
        [this](bool play) { (play ? playAtOnce_ : wait_)->setChecked(true); });

    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->setVerticalSpacing(10);
    auto* repeatLabel = new QLabel(tr("&Repeat:"), this);
    repeatLabel->setBuddy(repeat_);
    form->addRow(repeatLabel, repeat_);
    auto* deviceLabel = new QLabel(tr("Sound &device:"), this);
    deviceLabel->setBuddy(device_);
    form->addRow(deviceLabel, device_);
    form->addRow(QString(), note(tr("A new device is used from the next disc on."), this));
    auto* openChoices = new QVBoxLayout;
    openChoices->setSpacing(4);
    openChoices->addWidget(playAtOnce_);
    openChoices->addWidget(wait_);
    form->addRow(tr("When a disc is opened:"), openChoices);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addStretch(1);
    setTabOrder(repeat_, device_);
    setTabOrder(device_, playAtOnce_);
    setTabOrder(playAtOnce_, wait_);
}

void PlaybackPane::showRepeatMode(RepeatMode mode) {
    repeat_->setCurrentIndex(repeat_->findData(static_cast<int>(mode)));
}

} // namespace lorvan
