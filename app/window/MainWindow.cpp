#include "MainWindow.hpp"

#include "Alerts.hpp"
#include "ConsoleLogWindow.hpp"
#include "DiscNavigator.hpp"
#include "DisplayView.hpp"
#include "GlyphButton.hpp"
#include "RateVolumePanel.hpp"
#include "TrackListModel.hpp"
#include "core/ConsoleLog.hpp"
#include "core/LocalizedError.hpp"

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
            painter->fillRect(
                option.rect, QColor(colors_.accent.red(), colors_.accent.green(), colors_.accent.blue(), 46));
            item.palette.setColor(QPalette::Text, colors_.accent);
            item.palette.setColor(QPalette::HighlightedText, colors_.accent);
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

MainWindow::MainWindow(WindowSession& session, UserUISettings& uiSettings, PlayerSettings& playerSettings,
                       UserDefaults& defaults, QWidget* parent)
    : QMainWindow(parent)
    , session_(session)
    , ui_(uiSettings)
    , playerSettings_(playerSettings)
    , defaults_(defaults)
    , monitor_(new PlayerMonitor(session.sharedPlayer(), this)) {
    setWindowTitle(QStringLiteral("Lorvan"));
    setAcceptDrops(true);
    buildActions();
    buildLayout();
    const PlayerWindowSize size = playerSettings_.lastSize.value();
    resize(static_cast<int>(std::lround(size.width)), static_cast<int>(std::lround(size.height)));
    themeWatch_ = ui_.theme.subscribe([this](const LCTheme&) { applyTheme(); });
    applyTheme();
    connect(monitor_, &PlayerMonitor::discChanged, this, &MainWindow::showDisc);
    connect(monitor_, &PlayerMonitor::changed, this, &MainWindow::showSnapshot);
    showDisc();
    showSnapshot();
}

MainWindow::~MainWindow() {
    monitor_->detach();
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
            session_.player().setRepeatMode(mode);
            // As the preferences do: the next disc and the next run start with it too.
            defaults_.setString(AudioDiscPlayer::repeatModeDefaultsKey,
                                std::string(AudioDiscPlayer::rawValue(mode)));
            acted();
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
        connect(item, &QAction::triggered, this, [this, mode = mode] {
            session_.player().setPlaybackTimecodeMode(mode);
            acted();
        });
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
    connect(navigator_, &DiscNavigator::seekRequested, this, [this](std::int64_t frame) {
        session_.player().seekToFrame(frame, false);
        acted();
    });
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
    connect(rateVolume_, &RateVolumePanel::rateChosen, this, [this](float rate) {
        session_.player().setPlaybackRate(rate);
        acted();
    });
    connect(rateVolume_, &RateVolumePanel::rateResetRequested, this, &MainWindow::resetSpeed);
    connect(rateVolume_, &RateVolumePanel::volumeChosen, this, [this](float volume) {
        session_.player().setVolume(volume);
        acted();
    });
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
    connect(trackView_, &QTreeView::activated, this, [this](const QModelIndex& index) {
        session_.player().goToTrack(index.row(), 1, true);
        acted();
    });
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

void MainWindow::showDisc() {
    const auto& disc = monitor_->snapshot().disc;
    navigator_->setDisc(disc);
    trackModel_->setDisc(disc);
    QPixmap art;
    if (disc && disc->artworkURL) art.load(QString::fromStdString(disc->artworkURL->path().string()));
    if (!art.isNull()) {
        const qreal ratio = devicePixelRatioF();
        QPixmap scaled = art.scaled(QSize(120, 120) * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        scaled.setDevicePixelRatio(ratio);
        artwork_->setPixmap(scaled);
    }
    artwork_->setVisible(!art.isNull());
    for (const char* name : {"playPause", "stopEject", "previousTrack", "nextTrack", "previousChapter",
                             "nextChapter", "seekBackward", "seekForward", "eject", "showDiscInfo"})
        action(name)->setEnabled(disc != nullptr);
    QString title = QStringLiteral("Lorvan");
    if (disc && disc->metadata && disc->metadata->releaseTitle)
        title = QString::fromStdString(*disc->metadata->releaseTitle) + QStringLiteral(" \u2014 Lorvan");
    setWindowTitle(title);
}

void MainWindow::showSnapshot() {
    const PlayerSnapshot& s = monitor_->snapshot();
    display_->setState(displayState(s));
    navigator_->setPosition(s.disc ? std::clamp(s.positions.normalizedDiscPosition, 0.0, 1.0) : 0.0);
    const bool playing = s.state == AudioDiscPlayer::State::playing;
    buttons_["playPause"]->setGlyph(playing ? GlyphButton::Glyph::pause : GlyphButton::Glyph::play);
    action("playPause")->setText(playing ? tr("&Pause") : tr("&Play"));
    buttons_["cycleRepeatMode"]->setGlyph(s.repeat == RepeatMode::track ? GlyphButton::Glyph::repeatOne
                                                                        : GlyphButton::Glyph::repeat);
    action("cycleRepeatMode")->setCheckable(true);
    action("cycleRepeatMode")->setChecked(s.repeat != RepeatMode::none);
    action(QStringLiteral("repeat.") + QString::fromUtf8(AudioDiscPlayer::rawValue(s.repeat)))
        ->setChecked(true);
    action(QStringLiteral("timeMode.%1").arg(static_cast<int>(s.timeMode)))->setChecked(true);
    action("toggleShuffle")->setChecked(s.shuffle);
    action("toggleBeat")->setChecked(s.newBeat);
    action("toggleRateControls")->setChecked(s.rateControls);
    action("toggleAmplifier")->setChecked(s.amplifier);
    action("toggleMute")->setChecked(s.amplifier && s.volume == 0.0F);
    rateVolume_->setVisible(s.rateControls);
    rateVolume_->setRate(s.rate, s.newBeat);
    rateVolume_->setVolume(s.volume, s.amplifier);
    trackModel_->setPlayingTrack(s.disc && s.state != AudioDiscPlayer::State::stopped ? s.track
                                                                                      : std::nullopt);
}

// MARK: Opening

bool MainWindow::openPath(const std::filesystem::path& path, bool quiet) {
    try {
        session_.open(path, true);
    } catch (const LocalizedError& error) {
        if (!quiet) showRefusal(error);
        acted();
        return false;
    }
    rememberRecent(QString::fromStdString(std::filesystem::absolute(path).lexically_normal().string()));
    acted();
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
    AudioDiscPlayer& player = session_.player();
    if (player.state() != AudioDiscPlayer::State::stopped) player.stopEject();
    player.stopEject();
    acted();
}

void MainWindow::playPause() {
    session_.player().playPause();
    acted();
}

void MainWindow::stopEject() {
    session_.player().stopEject();
    acted();
}

void MainWindow::previousTrack() {
    session_.player().previousTrack();
    acted();
}

void MainWindow::nextTrack() {
    session_.player().nextTrack();
    acted();
}

void MainWindow::previousChapter() {
    session_.player().previousChapter();
    acted();
}

void MainWindow::nextChapter() {
    session_.player().nextChapter();
    acted();
}

void MainWindow::seekBy(double seconds) {
    AudioDiscPlayer& player = session_.player();
    if (!player.disc()) return;
    const double rate = monitor_->snapshot().sampleRate();
    player.seekToFrame(std::max<std::int64_t>(0, player.discFramePosition() +
                                                     static_cast<std::int64_t>(std::llround(seconds * rate))),
                       false);
    acted();
}

void MainWindow::seekBackward() {
    seekBy(-10);
}
void MainWindow::seekForward() {
    seekBy(10);
}

void MainWindow::increaseSpeed() {
    session_.player().increaseSpeed();
    acted();
}

void MainWindow::decreaseSpeed() {
    session_.player().decreaseSpeed();
    acted();
}

void MainWindow::resetSpeed() {
    session_.player().resetSpeed();
    acted();
}

void MainWindow::toggleBeat() {
    session_.player().toggleBeat();
    acted();
}

void MainWindow::toggleRateControls() {
    AudioDiscPlayer& player = session_.player();
    player.setRateControlsAreActive(!player.rateControlsAreActive());
    acted();
}

void MainWindow::increaseVolume() {
    session_.player().increaseVolume();
    acted();
}

void MainWindow::decreaseVolume() {
    session_.player().decreaseVolume();
    acted();
}

void MainWindow::toggleMute() {
    session_.player().toggleMute();
    acted();
}

void MainWindow::toggleAmplifier() {
    AudioDiscPlayer& player = session_.player();
    player.setAmplifierIsActive(!player.amplifierIsActive());
    acted();
}

void MainWindow::cycleRepeatMode() {
    const RepeatMode current = session_.player().repeatMode();
    const RepeatMode next = current == RepeatMode::none    ? RepeatMode::track
                            : current == RepeatMode::track ? RepeatMode::disc
                                                           : RepeatMode::none;
    action(QStringLiteral("repeat.") + QString::fromUtf8(AudioDiscPlayer::rawValue(next)))->trigger();
}

void MainWindow::toggleShuffle() {
    session_.player().toggleShuffle();
    acted();
}

void MainWindow::cycleTimeMode() {
    AudioDiscPlayer& player = session_.player();
    player.setPlaybackTimecodeMode(
        static_cast<Mode>((static_cast<int>(player.playbackTimecodeMode()) + 1) % 4));
    acted();
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

void MainWindow::showConsoleLog() {
    QMessageBox::information(this, tr("Console Log"),
                             tr("The console log of this run is written to standard output."));
}

void MainWindow::showDiscInfo() {
    const auto& disc = monitor_->snapshot().disc;
    if (!disc) return;
    QString text;
    for (const auto mode : {TOCMode::cues, TOCMode::tracksRipper, TOCMode::tracksMusicBrainz})
        for (const auto& line :
             disc->tableOfContents(mode, AudioDisc::TrackLengthMode::includingNextTrackPregap))
            text += QString::fromStdString(line) + QLatin1Char('\n');
    QMessageBox box(QMessageBox::Information, tr("Disc Info"), tr("Tables of contents"), QMessageBox::Ok,
                    this);
    box.setDetailedText(text);
    box.exec();
}

void MainWindow::showAbout() {
    QMessageBox::about(this, tr("About Lorvan"),
                       tr("<b>Lorvan</b><p>Plays audio CDs ripped to files, gaplessly, the way a CD player "
                          "would, on a dot-matrix display.</p>"));
}

void MainWindow::showSettingsWindow() {
    // The preferences window comes with the panels; until then the View menu holds the same choices.
    QMessageBox::information(this, tr("Preferences"), tr("Themes and brightness are in the View menu."));
}

// MARK: Window

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!isMaximized() && !isFullScreen())
        playerSettings_.lastSize.set({static_cast<double>(width()), static_cast<double>(height())});
    QMainWindow::closeEvent(event);
}

} // namespace lorvan::window
