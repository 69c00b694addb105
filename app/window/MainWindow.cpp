#include "MainWindow.hpp"

#include "AboutWindow.hpp"
#include "Alerts.hpp"
#include "ConsoleLogWindow.hpp"
#include "DiscInfoWindow.hpp"
#include "DiscNavigator.hpp"
#include "DisplayView.hpp"
#include "GlyphButton.hpp"
#include "Icons.hpp"
#include "PlaybackPane.hpp"
#include "PreferencesWindow.hpp"
#include "RateVolumePanel.hpp"
#include "TrackListModel.hpp"
#include "core/ConsoleLog.hpp"
#include "core/LocalizedError.hpp"
#include "presentation/PlaybackDisplayState.hpp"

#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <type_traits>

namespace lorvan::window {

namespace {

using Mode = AudioDiscPlayer::PlaybackTimecodeMode;
using RepeatMode = AudioDiscPlayer::RepeatMode;

QString keyText(const QList<QKeySequence>& keys) {
    return keys.isEmpty() ? QString() : keys.front().toString(QKeySequence::NativeText);
}

/// The playing row in the accent, hovered rows lit faintly: drawn from the theme like the rest
/// of the device.
class TrackRowDelegate : public QStyledItemDelegate {
public:
    TrackRowDelegate(const ThemeColors& colors, QObject* parent)
        : QStyledItemDelegate(parent)
        , colors_(colors) {}
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        QStyleOptionViewItem item = option;
        initStyleOption(&item, index);
        if (index.data(Qt::UserRole).toBool()) {
            painter->fillRect(option.rect, colors_.playingRow);
            item.palette.setColor(QPalette::Text, colors_.playingText);
            item.palette.setColor(QPalette::HighlightedText, colors_.playingText);
        } else if (index.column() == TrackListModel::number || index.column() == TrackListModel::pregap) {
            item.palette.setColor(QPalette::Text, colors_.secondary);
        }
        if (item.state & QStyle::State_MouseOver) painter->fillRect(option.rect, colors_.hover);
        item.state &= ~QStyle::State_MouseOver;
        item.state &= ~QStyle::State_HasFocus;
        QStyledItemDelegate::paint(painter, item, index);
    }
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const override {
        QSize size = QStyledItemDelegate::sizeHint(option, index);
        size.setHeight(std::max(size.height(), 24));
        return size;
    }
    const ThemeColors& colors_;
};

} // namespace

MainWindow::MainWindow(PlayerSession& session, PlaybackViewModel& viewModel, UserUISettings& uiSettings,
                       PlayerSettings& playerSettings, QWidget* parent)
    : QMainWindow(parent)
    , session_(session)
    , viewModel_(viewModel)
    , ui_(uiSettings)
    , playerSettings_(playerSettings)
    , defaults_(session.userDefaults())
    , messages_(std::make_unique<PlaybackMessages>(this)) {
    setWindowTitle(QStringLiteral("Lorvan"));
    setAcceptDrops(true);
    buildActions();
    applyActionIcons();
    buildLayout();
    const PlayerWindowSize size = playerSettings_.lastSize.value();
    resize(static_cast<int>(std::lround(size.width)), static_cast<int>(std::lround(size.height)));
    themeWatch_ = ui_.theme.subscribe([this](const LCTheme&) { applyTheme(); });
    applyTheme();
    observeViewModel();
    // The device chosen in the preferences plays the next disc opened.
    deviceWatch_ = playerSettings_.outputDevice.subscribe([this](const std::string& name) {
        session_.setOutputDevice(name.empty() ? std::nullopt : std::optional<std::string>(name));
    });
    takeSessionNotifications();
}

MainWindow::~MainWindow() {
    session_.notifications.readFailed = nullptr;
    session_.notifications.soundDeviceLost = nullptr;
}

void MainWindow::takeSessionNotifications() {
    // The session has logged each and acted as lorvan-cli play does: a failed read stops the
    // disc, a lost device leaves the null output playing on.
    session_.notifications.readFailed = [this](std::int64_t frame) {
        const DiscSummary& disc = viewModel_.disc.value();
        QString where = tr("frame %1").arg(frame);
        if (disc.disc)
            if (const auto place = NavigatorGeometry::placeAt(*disc.disc, frame))
                where = tr("track %1 at %2")
                            .arg(place->track + 1)
                            .arg(QString::fromStdString(displayTime(place->trackFrames, disc.sampleRate)));
        messages_->showReadFailure(tr("The disc could not be read from %1.").arg(where));
    };
    session_.notifications.soundDeviceLost = [this] {
        messages_->showDeviceLost(
            tr("The disc plays on without sound. A disc opened once the device is back plays through it."));
    };
}

void MainWindow::applyActionIcons() {
    const std::pair<const char*, ActionIcon> icons[] = {
        {"openDocument", ActionIcon::openCueSheet},
        {"openFolderAsDisc", ActionIcon::openFolder},
        {"eject", ActionIcon::eject},
        {"showSettingsWindow", ActionIcon::preferences},
        {"quit", ActionIcon::quit},
        {"playPause", ActionIcon::play},
        {"stopEject", ActionIcon::stop},
        {"previousTrack", ActionIcon::previousTrack},
        {"nextTrack", ActionIcon::nextTrack},
        {"previousChapter", ActionIcon::previousChapter},
        {"nextChapter", ActionIcon::nextChapter},
        {"toggleRateControls", ActionIcon::rate},
        {"toggleMute", ActionIcon::volumeMuted},
        {"toggleAmplifier", ActionIcon::amplifier},
        {"cycleRepeatMode", ActionIcon::repeat},
        {"toggleShuffle", ActionIcon::shuffle},
        {"cycleTimeMode", ActionIcon::timeMode},
        {"showConsoleLog", ActionIcon::consoleLog},
        {"showDiscInfo", ActionIcon::discInfo},
        {"showAbout", ActionIcon::about},
    };
    for (const auto& [name, icon] : icons)
        action(QString::fromLatin1(name))->setIcon(actionIcon(icon));
}

QAction* MainWindow::action(const QString& name) const {
    const auto found = actions_.find(name);
    return found == actions_.end() ? nullptr : found->second;
}

QAction* MainWindow::addAction(QMenu* menu, const QString& name, const QString& text,
                               const QList<QKeySequence>& keys, void (MainWindow::*slot)()) {
    auto* action = new QAction(text, this);
    action->setObjectName(name);
    action->setShortcuts(keys);
    // The window's keys work wherever the focus is inside it, as on the terminal's status screen.
    action->setShortcutContext(Qt::WindowShortcut);
    const QString plain = QString(text).remove(QLatin1Char('&')).remove(QStringLiteral("\u2026"));
    action->setToolTip(keys.isEmpty() ? plain
                                      : plain + QStringLiteral(" (") + keyText(keys) + QLatin1Char(')'));
    if (slot != nullptr) connect(action, &QAction::triggered, this, slot);
    if (menu != nullptr) menu->addAction(action);
    QMainWindow::addAction(action);
    actions_[name] = action;
    return action;
}

void MainWindow::buildActions() {
    using K = QKeySequence;
    QMenu* file = menuBar()->addMenu(tr("&File"));
    addAction(file, "openDocument", tr("&Open Cue Sheet\u2026"), {K(Qt::CTRL | Qt::Key_O)},
              &MainWindow::openDocument);
    addAction(file, "openFolderAsDisc", tr("Open &Folder as Disc\u2026"),
              {K(Qt::CTRL | Qt::SHIFT | Qt::Key_O)}, &MainWindow::openFolderAsDisc);
    recentMenu_ = file->addMenu(tr("Open &Recent"));
    recentMenu_->setObjectName("openRecent");
    file->addSeparator();
    addAction(file, "eject", tr("&Eject"), {K(Qt::CTRL | Qt::Key_E)}, &MainWindow::eject);
    file->addSeparator();
    addAction(file, "showSettingsWindow", tr("&Preferences\u2026"), {K(Qt::CTRL | Qt::Key_Comma)},
              &MainWindow::showSettingsWindow)
        ->setMenuRole(QAction::PreferencesRole);
    file->addSeparator();
    addAction(file, "quit", tr("&Quit"), {K(Qt::CTRL | Qt::Key_Q), K(Qt::Key_Q)}, nullptr)
        ->setMenuRole(QAction::QuitRole);
    connect(action("quit"), &QAction::triggered, this, &QWidget::close);

    QMenu* controls = menuBar()->addMenu(tr("&Controls"));
    addAction(controls, "playPause", tr("&Play/Pause"), {K(Qt::Key_Space)}, &MainWindow::playPause);
    addAction(controls, "stopEject", tr("&Stop/Eject"), {K(Qt::Key_S)}, &MainWindow::stopEject);
    controls->addSeparator();
    addAction(controls, "previousTrack", tr("Previous &Track"), {K(Qt::Key_P)}, &MainWindow::previousTrack);
    addAction(controls, "nextTrack", tr("&Next Track"), {K(Qt::Key_N)}, &MainWindow::nextTrack);
    addAction(controls, "previousChapter", tr("Previous C&hapter"), {K(Qt::Key_BracketLeft)},
              &MainWindow::previousChapter);
    addAction(controls, "nextChapter", tr("Next &Chapter"), {K(Qt::Key_BracketRight)},
              &MainWindow::nextChapter);
    addAction(controls, "seekBackward", tr("Back 10 Seconds"), {K(Qt::Key_Left)}, &MainWindow::seekBackward);
    addAction(controls, "seekForward", tr("Forward 10 Seconds"), {K(Qt::Key_Right)},
              &MainWindow::seekForward);
    controls->addSeparator();
    addAction(controls, "increaseSpeed", tr("&Faster"), {K(Qt::Key_Greater), K(Qt::Key_Period)},
              &MainWindow::increaseSpeed);
    addAction(controls, "decreaseSpeed", tr("S&lower"), {K(Qt::Key_Less), K(Qt::Key_Comma)},
              &MainWindow::decreaseSpeed);
    addAction(controls, "resetSpeed", tr("Normal Spee&d"), {K(Qt::Key_0)}, &MainWindow::resetSpeed);
    addAction(controls, "toggleBeat", tr("New &Beat"), {K(Qt::Key_B)}, &MainWindow::toggleBeat)
        ->setCheckable(true);
    addAction(controls, "toggleRateControls", tr("&Rate Controls"), {K(Qt::Key_V)},
              &MainWindow::toggleRateControls)
        ->setCheckable(true);
    controls->addSeparator();
    addAction(controls, "increaseVolume", tr("&Louder"), {K(Qt::Key_Plus), K(Qt::Key_Equal)},
              &MainWindow::increaseVolume);
    addAction(controls, "decreaseVolume", tr("&Quieter"), {K(Qt::Key_Minus)}, &MainWindow::decreaseVolume);
    addAction(controls, "toggleMute", tr("&Mute"), {K(Qt::Key_M)}, &MainWindow::toggleMute)
        ->setCheckable(true);
    addAction(controls, "toggleAmplifier", tr("&Amplifier"), {K(Qt::Key_A)}, &MainWindow::toggleAmplifier)
        ->setCheckable(true);
    controls->addSeparator();
    QMenu* repeat = controls->addMenu(tr("R&epeat"));
    repeatGroup_ = new QActionGroup(this);
    const std::pair<RepeatMode, QString> repeatModes[] = {{RepeatMode::none, tr("None")},
                                                          {RepeatMode::track, tr("Current Track")},
                                                          {RepeatMode::disc, tr("Entire Disc")}};
    for (const auto& [mode, text] : repeatModes) {
        QAction* item =
            addAction(repeat, QStringLiteral("repeat.") + QString::fromUtf8(AudioDiscPlayer::rawValue(mode)),
                      text, {}, nullptr);
        item->setCheckable(true);
        item->setActionGroup(repeatGroup_);
        connect(item, &QAction::triggered, this, [this, mode = mode] {
            player().setRepeatMode(mode);
            // As the preferences do: the next disc and the next run start with it too.
            defaults_.setString(AudioDiscPlayer::repeatModeDefaultsKey,
                                std::string(AudioDiscPlayer::rawValue(mode)));
        });
    }
    repeat->addSeparator();
    addAction(repeat, "cycleRepeatMode", tr("Next Repeat Mode"), {K(Qt::Key_R)},
              &MainWindow::cycleRepeatMode);
    addAction(controls, "toggleShuffle", tr("Shu&ffle"), {K(Qt::Key_Z)}, &MainWindow::toggleShuffle)
        ->setCheckable(true);
    QMenu* time = controls->addMenu(tr("&Time"));
    timeModeGroup_ = new QActionGroup(this);
    const std::pair<Mode, QString> modes[] = {{Mode::trackElapsedTime, tr("Track Elapsed")},
                                              {Mode::trackRemainingTime, tr("Track Remaining")},
                                              {Mode::discElapsedTime, tr("Disc Elapsed")},
                                              {Mode::discRemainingTime, tr("Disc Remaining")}};
    int modeNumber = 0;
    for (const auto& [mode, text] : modes) {
        QAction* item = addAction(time, QStringLiteral("timeMode.%1").arg(modeNumber++), text, {}, nullptr);
        item->setCheckable(true);
        item->setActionGroup(timeModeGroup_);
        connect(item, &QAction::triggered, this,
                [this, mode = mode] { player().setPlaybackTimecodeMode(mode); });
    }
    time->addSeparator();
    addAction(time, "cycleTimeMode", tr("Next Time Mode"), {K(Qt::Key_T)}, &MainWindow::cycleTimeMode);

    QMenu* view = menuBar()->addMenu(tr("&View"));
    QMenu* themes = view->addMenu(tr("&Theme"));
    themeGroup_ = new QActionGroup(this);
    for (const LCBuiltInTheme theme : allBuiltInThemes) {
        const QString name =
            QString::fromUtf8(rawValue(theme).data(), static_cast<int>(rawValue(theme).size()));
        // A theme name may hold an ampersand-free "][": shown as written.
        QAction* item =
            addAction(themes, QStringLiteral("theme.") + name, QString(name).replace('&', "&&"), {}, nullptr);
        item->setCheckable(true);
        item->setActionGroup(themeGroup_);
        connect(item, &QAction::triggered, this, [this, theme] { ui_.selectBuiltInTheme(theme); });
    }
    addAction(view, "increaseBrightness", tr("&Brighter"), {K(Qt::CTRL | Qt::Key_Up)},
              &MainWindow::increaseBrightness);
    addAction(view, "decreaseBrightness", tr("&Dimmer"), {K(Qt::CTRL | Qt::Key_Down)},
              &MainWindow::decreaseBrightness);
    view->addSeparator();
    addAction(view, "showConsoleLog", tr("&Console Log"), {K(Qt::CTRL | Qt::Key_L)},
              &MainWindow::showConsoleLog);
    addAction(view, "showDiscInfo", tr("&Disc Info"), {K(Qt::CTRL | Qt::Key_I)}, &MainWindow::showDiscInfo);

    QMenu* help = menuBar()->addMenu(tr("&Help"));
    addAction(help, "showAbout", tr("&About Lorvan"), {}, &MainWindow::showAbout)
        ->setMenuRole(QAction::AboutRole);
    rebuildRecentMenu();
}

void MainWindow::buildLayout() {
    body_ = new QWidget(this);
    body_->setObjectName("body");
    body_->setAutoFillBackground(true);
    auto* column = new QVBoxLayout(body_);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);

    display_ = new DisplayView(ui_, body_);
    connect(display_, &DisplayView::timeClicked, this, &MainWindow::cycleTimeMode);
    column->addWidget(display_);

    navigator_ = new DiscNavigator(body_);
    connect(navigator_, &DiscNavigator::seekRequested, this,
            [this](std::int64_t frame) { player().seekToFrame(frame, false); });
    column->addSpacing(6);
    column->addWidget(navigator_);

    auto* transport = new QHBoxLayout;
    transport->setContentsMargins(12, 2, 12, 4);
    transport->setSpacing(2);
    const auto button = [this](const QString& name, GlyphButton::Glyph glyph) {
        auto* b = new GlyphButton(glyph, action(name), body_);
        buttons_[name] = b;
        return b;
    };
    transport->addWidget(button("cycleTimeMode", GlyphButton::Glyph::timeMode));
    transport->addWidget(button("cycleRepeatMode", GlyphButton::Glyph::repeat));
    transport->addWidget(button("toggleShuffle", GlyphButton::Glyph::shuffle));
    transport->addStretch(1);
    transport->addWidget(button("previousTrack", GlyphButton::Glyph::previousTrack));
    transport->addWidget(button("previousChapter", GlyphButton::Glyph::previousChapter));
    transport->addSpacing(4);
    GlyphButton* play = button("playPause", GlyphButton::Glyph::play);
    play->setProminent(true);
    transport->addWidget(play);
    transport->addSpacing(4);
    transport->addWidget(button("stopEject", GlyphButton::Glyph::stopEject));
    transport->addWidget(button("nextChapter", GlyphButton::Glyph::nextChapter));
    transport->addWidget(button("nextTrack", GlyphButton::Glyph::nextTrack));
    transport->addStretch(1);
    // Balances the three toggles on the left, so that the play button sits in the middle.
    transport->addSpacing(3 * 34 + 4);
    column->addLayout(transport);

    rateVolume_ =
        new RateVolumePanel(action("toggleBeat"), action("toggleMute"), action("toggleAmplifier"), body_);
    connect(rateVolume_, &RateVolumePanel::rateChosen, this,
            [this](float rate) { player().setPlaybackRate(rate); });
    connect(rateVolume_, &RateVolumePanel::rateResetRequested, this, &MainWindow::resetSpeed);
    connect(rateVolume_, &RateVolumePanel::volumeChosen, this,
            [this](float volume) { player().setVolume(volume); });
    rateVolume_->setVisible(false);
    column->addWidget(rateVolume_);

    auto* separator = new QFrame(body_);
    separator->setObjectName("separator");
    separator->setFixedHeight(1);
    separator->setAutoFillBackground(true);
    separator->setBackgroundRole(QPalette::Mid);
    column->addWidget(separator);

    auto* tracks = new QHBoxLayout;
    tracks->setContentsMargins(0, 0, 0, 0);
    tracks->setSpacing(0);
    trackModel_ = new TrackListModel(this);
    trackView_ = new QTreeView(body_);
    trackView_->setModel(trackModel_);
    trackView_->setRootIsDecorated(false);
    trackView_->setUniformRowHeights(true);
    trackView_->setAllColumnsShowFocus(true);
    trackView_->setFrameShape(QFrame::NoFrame);
    trackView_->setMouseTracking(true);
    trackView_->setItemDelegate(new TrackRowDelegate(colors_, trackView_));
    trackView_->setAccessibleName(tr("Tracks"));
    trackView_->setToolTip(tr("Double-click a track to play it"));
    trackView_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    QHeaderView* header = trackView_->header();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(QHeaderView::ResizeToContents);
    header->setSectionResizeMode(TrackListModel::title, QHeaderView::Stretch);
    header->setSectionResizeMode(TrackListModel::performer, QHeaderView::Stretch);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    connect(trackView_, &QTreeView::activated, this,
            [this](const QModelIndex& index) { player().goToTrack(index.row(), 1, true); });
    tracks->addWidget(trackView_, 1);
    artwork_ = new QLabel(body_);
    artwork_->setAccessibleName(tr("Artwork"));
    artwork_->setFixedSize(132, 132);
    artwork_->setAlignment(Qt::AlignCenter);
    artwork_->setVisible(false);
    tracks->addWidget(artwork_, 0, Qt::AlignTop);
    column->addLayout(tracks, 1);
    setCentralWidget(body_);

    // Tab order follows the layout: navigator, transport from left to right, dials, tracks.
    QWidget* previous = navigator_;
    for (const char* name : {"cycleTimeMode", "cycleRepeatMode", "toggleShuffle", "previousTrack",
                             "previousChapter", "playPause", "stopEject", "nextChapter", "nextTrack"}) {
        setTabOrder(previous, buttons_[name]);
        previous = buttons_[name];
    }
    setTabOrder(previous, rateVolume_->rateDial());
    setTabOrder(rateVolume_->rateDial(), rateVolume_->volumeDial());
    setTabOrder(rateVolume_->volumeDial(), trackView_);
}

void MainWindow::applyTheme() {
    colors_ = ThemeColors::of(ui_.theme.value());
    body_->setPalette(colors_.palette());
    navigator_->setColors(colors_);
    for (const auto& [name, b] : buttons_)
        b->setColors(colors_);
    rateVolume_->setColors(colors_);
    trackView_->viewport()->update();
    QString themeName;
    if (const auto selected = ui_.selectedBuiltInTheme()) {
        themeName =
            QString::fromUtf8(rawValue(*selected).data(), static_cast<int>(rawValue(*selected).size()));
        if (QAction* item = action(QStringLiteral("theme.") + themeName)) item->setChecked(true);
    }
    // The header of the track list in the body's colours; its separators in the edge's.
    trackView_->header()->setStyleSheet(
        QStringLiteral(
            "QHeaderView::section { background: %1; color: %2; border: none; border-bottom: 1px solid %3;"
            " padding: 3px 6px; font-size: 90%; }")
            .arg(colors_.body.name(), colors_.secondary.name(), colors_.bodyEdge.name()));
}

void MainWindow::observeViewModel() {
    const auto watch = [this](auto& published, auto show) {
        using Subscription = typename std::remove_reference_t<decltype(published)>::Subscription;
        watches_.push_back(std::make_shared<Subscription>(
            published.subscribe([this, show](const auto&) { (this->*show)(); })));
    };
    PlaybackViewModel& vm = viewModel_;
    watch(vm.disc, &MainWindow::showDisc);
    watch(vm.progress().progress, &MainWindow::showPosition);
    watch(vm.state, &MainWindow::showState);
    watch(vm.currentTrackIndex, &MainWindow::showPlayingTrack);
    watch(vm.repeatMode, &MainWindow::showRepeatMode);
    watch(vm.timecodeMode, &MainWindow::showToggles);
    watch(vm.shuffle, &MainWindow::showToggles);
    watch(vm.newBeat, &MainWindow::showToggles);
    watch(vm.rateControlsShown, &MainWindow::showToggles);
    watch(vm.amplifier, &MainWindow::showToggles);
    watch(vm.muted, &MainWindow::showToggles);
    watch(vm.rate, &MainWindow::showRateAndVolume);
    watch(vm.volume, &MainWindow::showRateAndVolume);
    // The display reads several values that belong together: once per publication, after all.
    watch(vm.updated, &MainWindow::showDisplay);
    showDisc();
    showPosition();
    showState();
    showRepeatMode();
    showToggles();
    showRateAndVolume();
    showDisplay();
}

void MainWindow::showDisc() {
    const DiscSummary& disc = viewModel_.disc.value();
    navigator_->setDisc(disc.disc);
    trackModel_->setDisc(disc);
    showPlayingTrack();
    QPixmap art;
    if (disc.artworkPath) art.load(QString::fromStdString(*disc.artworkPath));
    if (!art.isNull()) {
        const qreal ratio = devicePixelRatioF();
        QPixmap scaled = art.scaled(QSize(120, 120) * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        scaled.setDevicePixelRatio(ratio);
        artwork_->setPixmap(scaled);
    }
    artwork_->setVisible(!art.isNull());
    const bool inserted = disc.disc != nullptr;
    for (const char* name : {"playPause", "stopEject", "previousTrack", "nextTrack", "previousChapter",
                             "nextChapter", "seekBackward", "seekForward", "eject", "showDiscInfo"})
        action(name)->setEnabled(inserted);
    if (discInfo_) discInfo_->setDisc(disc.disc.get());
    setWindowTitle(disc.title.empty()
                       ? QStringLiteral("Lorvan")
                       : QString::fromStdString(disc.title) + QStringLiteral(" \u2014 Lorvan"));
}

void MainWindow::showDisplay() {
    DisplayState state = displayState(viewModel_);
    if (!viewModel_.disc.value().disc) {
        state.title = tr("No disc").toStdString();
        state.subtitle = tr("Open a cue sheet or a folder (%1)")
                             .arg(action("openDocument")->shortcut().toString(QKeySequence::NativeText))
                             .toStdString();
    }
    display_->setState(state);
}

void MainWindow::showPosition() {
    const PlaybackProgress& progress = viewModel_.progress().progress.value();
    navigator_->setPosition(progress.discInPlayer ? std::clamp(progress.normalizedDiscPosition, 0.0, 1.0)
                                                  : 0.0);
}

void MainWindow::showState() {
    const bool playing = viewModel_.state.value() == AudioDiscPlayer::State::playing;
    buttons_["playPause"]->setGlyph(playing ? GlyphButton::Glyph::pause : GlyphButton::Glyph::play);
    action("playPause")->setText(playing ? tr("&Pause") : tr("&Play"));
    action("playPause")->setIcon(actionIcon(playing ? ActionIcon::pause : ActionIcon::play));
    showPlayingTrack();
}

void MainWindow::showPlayingTrack() {
    const bool marked =
        viewModel_.disc.value().disc && viewModel_.state.value() != AudioDiscPlayer::State::stopped;
    trackModel_->setPlayingTrack(marked ? viewModel_.currentTrackIndex.value() : std::nullopt);
}

void MainWindow::showRepeatMode() {
    const RepeatMode repeat = viewModel_.repeatMode.value();
    buttons_["cycleRepeatMode"]->setGlyph(repeat == RepeatMode::track ? GlyphButton::Glyph::repeatOne
                                                                      : GlyphButton::Glyph::repeat);
    action("cycleRepeatMode")->setCheckable(true);
    action("cycleRepeatMode")->setChecked(repeat != RepeatMode::none);
    action(QStringLiteral("repeat.") + QString::fromUtf8(AudioDiscPlayer::rawValue(repeat)))
        ->setChecked(true);
    action("cycleRepeatMode")
        ->setIcon(actionIcon(repeat == RepeatMode::track ? ActionIcon::repeatTrack : ActionIcon::repeat));
    if (preferences_) preferences_->playback()->showRepeatMode(repeat);
}

void MainWindow::showToggles() {
    const PlaybackViewModel& vm = viewModel_;
    action(QStringLiteral("timeMode.%1").arg(static_cast<int>(vm.timecodeMode.value())))->setChecked(true);
    action("toggleShuffle")->setChecked(vm.shuffle.value());
    action("toggleBeat")->setChecked(vm.newBeat.value());
    action("toggleRateControls")->setChecked(vm.rateControlsShown.value());
    action("toggleAmplifier")->setChecked(vm.amplifier.value());
    action("toggleMute")->setChecked(vm.muted.value());
    rateVolume_->setVisible(vm.rateControlsShown.value());
    showRateAndVolume();
}

void MainWindow::showRateAndVolume() {
    rateVolume_->setRate(viewModel_.rate.value(), viewModel_.newBeat.value());
    rateVolume_->setVolume(viewModel_.volume.value(), viewModel_.amplifier.value());
}

// MARK: Opening

std::filesystem::path MainWindow::discLocation(const std::filesystem::path& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) return path;
    if (std::filesystem::is_regular_file(path, error) && path.extension() != ".cue" &&
        path.extension() != ".CUE")
        return path.parent_path().empty() ? std::filesystem::path(".") : path.parent_path();
    return path;
}

bool MainWindow::openPath(const std::filesystem::path& path, bool quiet) {
    return opened(
        path,
        [&] {
            session_.open(discLocation(std::filesystem::absolute(path)),
                          playerSettings_.playWhenOpened.value());
        },
        quiet);
}

bool MainWindow::openPath(const std::filesystem::path& path, std::future<AudioDisc> assembly) {
    return opened(
        path, [&] { session_.open(std::move(assembly), playerSettings_.playWhenOpened.value()); }, false);
}

bool MainWindow::opened(const std::filesystem::path& path, const std::function<void()>& open, bool quiet) {
    try {
        open();
    } catch (const LocalizedError& error) {
        if (!quiet) showRefusal(error);
        return false;
    }
    rememberRecent(QString::fromStdString(std::filesystem::absolute(path).lexically_normal().string()));
    return true;
}

void MainWindow::showRefusal(const LocalizedError& error) {
    const auto alert = makeRefusedOpenAlert(error, this);
    lastAlertText_ = alert->text() + QLatin1Char('\n') + alert->informativeText();
    if (alertsShown_) showRefusedOpenAlert(error, this);
}

void MainWindow::openDocument() {
    const QString file = QFileDialog::getOpenFileName(this, QStringLiteral("Choose a cue sheet file"),
                                                      QString(), tr("Cue sheets (*.cue)"));
    if (!file.isEmpty()) openPath(file.toStdString());
}

void MainWindow::openFolderAsDisc() {
    const QString folder =
        QFileDialog::getExistingDirectory(this, QStringLiteral("Choose a folder with audio files"));
    if (!folder.isEmpty()) openPath(folder.toStdString());
}

QStringList MainWindow::recentDiscs() const {
    const auto stored = defaults_.string(recentDiscsKey);
    if (!stored || stored->empty()) return {};
    return QString::fromStdString(*stored).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void MainWindow::rememberRecent(const QString& path) {
    QStringList recent = recentDiscs();
    recent.removeAll(path);
    recent.prepend(path);
    while (recent.size() > recentDiscsLimit)
        recent.removeLast();
    defaults_.setString(recentDiscsKey, recent.join(QLatin1Char('\n')).toStdString());
    rebuildRecentMenu();
}

void MainWindow::rebuildRecentMenu() {
    recentMenu_->clear();
    const QStringList recent = recentDiscs();
    for (const QString& path : recent) {
        QAction* item =
            recentMenu_->addAction(QFileInfo(path).fileName().isEmpty() ? path : QFileInfo(path).fileName());
        item->setToolTip(path);
        item->setData(path);
        connect(item, &QAction::triggered, this, [this, path] { openPath(path.toStdString()); });
    }
    recentMenu_->addSeparator();
    QAction* clear = recentMenu_->addAction(tr("Clear Menu"));
    clear->setObjectName("clearRecent");
    clear->setEnabled(!recent.isEmpty());
    connect(clear, &QAction::triggered, this, [this] {
        defaults_.setString(recentDiscsKey, "");
        rebuildRecentMenu();
    });
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    const auto urls = event->mimeData()->urls();
    if (!urls.isEmpty() && urls.front().isLocalFile()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    const auto urls = event->mimeData()->urls();
    if (urls.isEmpty() || !urls.front().isLocalFile()) return;
    event->acceptProposedAction();
    openPath(urls.front().toLocalFile().toStdString());
}

// MARK: Player actions

void MainWindow::eject() {
    AudioDiscPlayer& p = player();
    if (p.state() != AudioDiscPlayer::State::stopped) p.stopEject();
    p.stopEject();
}

void MainWindow::playPause() {
    player().playPause();
}

void MainWindow::stopEject() {
    player().stopEject();
}

void MainWindow::previousTrack() {
    player().previousTrack();
}

void MainWindow::nextTrack() {
    player().nextTrack();
}

void MainWindow::previousChapter() {
    player().previousChapter();
}

void MainWindow::nextChapter() {
    player().nextChapter();
}

void MainWindow::seekBy(double seconds) {
    AudioDiscPlayer& p = player();
    const DiscSummary& disc = viewModel_.disc.value();
    if (!p.disc() || disc.totalFrames <= 0) return;
    // Within the disc: a seek past either end would start the disc over from frame 0. Forward
    // near the end goes to the last frame, which ends the disc.
    const std::int64_t target =
        p.discFramePosition() + static_cast<std::int64_t>(std::llround(seconds * disc.sampleRate));
    p.seekToFrame(std::clamp<std::int64_t>(target, 0, disc.totalFrames - 1), false);
}

void MainWindow::seekBackward() {
    seekBy(-10);
}
void MainWindow::seekForward() {
    seekBy(10);
}

void MainWindow::increaseSpeed() {
    player().increaseSpeed();
}

void MainWindow::decreaseSpeed() {
    player().decreaseSpeed();
}

void MainWindow::resetSpeed() {
    player().resetSpeed();
}

void MainWindow::toggleBeat() {
    player().toggleBeat();
}

void MainWindow::toggleRateControls() {
    AudioDiscPlayer& p = player();
    p.setRateControlsAreActive(!p.rateControlsAreActive());
}

void MainWindow::increaseVolume() {
    player().increaseVolume();
}

void MainWindow::decreaseVolume() {
    player().decreaseVolume();
}

void MainWindow::toggleMute() {
    player().toggleMute();
}

void MainWindow::toggleAmplifier() {
    AudioDiscPlayer& p = player();
    p.setAmplifierIsActive(!p.amplifierIsActive());
}

void MainWindow::cycleRepeatMode() {
    const RepeatMode current = player().repeatMode();
    const RepeatMode next = current == RepeatMode::none    ? RepeatMode::track
                            : current == RepeatMode::track ? RepeatMode::disc
                                                           : RepeatMode::none;
    action(QStringLiteral("repeat.") + QString::fromUtf8(AudioDiscPlayer::rawValue(next)))->trigger();
}

void MainWindow::toggleShuffle() {
    player().toggleShuffle();
}

void MainWindow::cycleTimeMode() {
    AudioDiscPlayer& p = player();
    p.setPlaybackTimecodeMode(static_cast<Mode>((static_cast<int>(p.playbackTimecodeMode()) + 1) % 4));
}

void MainWindow::increaseBrightness() {
    const double next =
        std::min(UserUISettings::maximumBrightness, std::round(ui_.brightness.value() * 10 + 1) / 10);
    ui_.brightness.set(next);
}

void MainWindow::decreaseBrightness() {
    const double next =
        std::max(UserUISettings::minimumBrightness, std::round(ui_.brightness.value() * 10 - 1) / 10);
    ui_.brightness.set(next);
}

// MARK: Other windows

namespace {

/// Shows a secondary window made once: raised and focused when it is open already.
void present(QWidget* window) {
    window->show();
    window->raise();
    window->activateWindow();
}

} // namespace

AboutWindow* MainWindow::aboutWindow() const {
    return about_;
}
DiscInfoWindow* MainWindow::discInfoWindow() const {
    return discInfo_;
}
PreferencesWindow* MainWindow::preferencesWindow() const {
    return preferences_;
}
ConsoleLogWindow* MainWindow::consoleLogWindow() const {
    return consoleLog_;
}

void MainWindow::showConsoleLog() {
    if (consoleLogRecord_ == nullptr) return;
    if (!consoleLog_) {
        consoleLog_ = new ConsoleLogWindow(*consoleLogRecord_, this);
        consoleLog_->setWindowFlag(Qt::Window);
    }
    present(consoleLog_);
}

void MainWindow::showDiscInfo() {
    if (!discInfo_) {
        discInfo_ = new DiscInfoWindow(this);
        discInfo_->setWindowFlag(Qt::Window);
    }
    discInfo_->setDisc(viewModel_.disc.value().disc.get());
    present(discInfo_);
}

void MainWindow::showAbout() {
    if (!about_) about_ = new AboutWindow(this);
    present(about_);
}

void MainWindow::showSettingsWindow() {
    if (!preferences_) {
        preferences_ = new PreferencesWindow(ui_, playerSettings_, defaults_, outputDeviceNames(), this);
        // The pane has stored the choice already, as the Repeat menu does.
        connect(preferences_->playback(), &PlaybackPane::repeatModeChosen, this,
                [this](RepeatMode mode) { player().setRepeatMode(mode); });
    }
    preferences_->playback()->showRepeatMode(viewModel_.repeatMode.value());
    present(preferences_);
}

// MARK: Window

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!isMaximized() && !isFullScreen())
        playerSettings_.lastSize.set({static_cast<double>(width()), static_cast<double>(height())});
    QMainWindow::closeEvent(event);
}

} // namespace lorvan::window
