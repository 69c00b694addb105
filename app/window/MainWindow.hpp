#pragma once

#include "ThemeColors.hpp"
#include "app/session/PlayerSession.hpp"
#include "core/UserDefaults.hpp"
#include "presentation/PlaybackViewModel.hpp"
#include "presentation/PlayerSettings.hpp"
#include "presentation/UserUISettings.hpp"

#include <QActionGroup>
#include <QMainWindow>
#include <QPointer>
#include <QStringList>
#include <filesystem>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <vector>

class QLabel;
class QTreeView;

namespace lorvan {
class AboutWindow;
class ConsoleLogRecord;
class ConsoleLogWindow;
class DiscInfoWindow;
class LocalizedError;
class PlaybackMessages;
class PreferencesWindow;
} // namespace lorvan

namespace lorvan::window {

class DiscNavigator;
class DisplayView;
class GlyphButton;
class RateVolumePanel;
class TrackListModel;

/// The player window: the display, the disc navigator, the transport, the rate and volume
/// dials and the track list, with the menus that carry every action of the application. The
/// widgets show the values the view model publishes (it is the player's one observer); the
/// actions call the session's player, and their effect comes back through the view model.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    /// `session`, `viewModel` and the settings must outlive the window; the view model must be
    /// the one observing `session`'s player.
    MainWindow(PlayerSession& session, PlaybackViewModel& viewModel, UserUISettings& uiSettings,
               PlayerSettings& playerSettings, QWidget* parent = nullptr);
    ~MainWindow() override;

    /// What opening `path` reads: a cue sheet or a folder as it is, an audio file's folder.
    [[nodiscard]] static std::filesystem::path discLocation(const std::filesystem::path& path);
    /// Opens a cue sheet, a folder, or an audio file's folder. A refusal shows the error's
    /// texts in an alert (unless `quiet`) and leaves the playing disc as it was. True when opened.
    bool openPath(const std::filesystem::path& path, bool quiet = false);
    /// `openPath` for a disc the session has been assembling from `discLocation(path)` (see
    /// `PlayerSession::assemble`) while the window was being built.
    bool openPath(const std::filesystem::path& path, std::future<AudioDisc> assembly);

    /// The action named `name` (its object name: "playPause", "nextTrack", "theme.Amber", ...).
    [[nodiscard]] QAction* action(const QString& name) const;
    [[nodiscard]] DisplayView& displayView() const { return *display_; }
    [[nodiscard]] DiscNavigator& navigator() const { return *navigator_; }
    [[nodiscard]] TrackListModel& trackList() const { return *trackModel_; }
    [[nodiscard]] QTreeView& trackView() const { return *trackView_; }
    [[nodiscard]] RateVolumePanel& rateVolumePanel() const { return *rateVolume_; }
    /// Recently opened discs, newest first.
    [[nodiscard]] QStringList recentDiscs() const;
    /// The texts of the last refusal shown, for those who cannot see the alert.
    [[nodiscard]] const QString& lastAlertText() const { return lastAlertText_; }
    /// Alerts are not shown (tests and scripts); their texts are still kept and logged.
    void setAlertsShown(bool shown) { alertsShown_ = shown; }
    /// The run's log that View > Console Log shows; none: the menu item does nothing.
    void setConsoleLogRecord(ConsoleLogRecord* record) { consoleLogRecord_ = record; }
    /// The secondary windows, once opened (each is made once and raised when asked for again).
    [[nodiscard]] AboutWindow* aboutWindow() const;
    [[nodiscard]] DiscInfoWindow* discInfoWindow() const;
    [[nodiscard]] PreferencesWindow* preferencesWindow() const;
    [[nodiscard]] ConsoleLogWindow* consoleLogWindow() const;
    /// The non-modal box for troubles while playing (a failed read, a lost sound device).
    [[nodiscard]] PlaybackMessages& playbackMessages() const { return *messages_; }

    static constexpr const char* recentDiscsKey = "recentDiscs";
    static constexpr int recentDiscsLimit = 10;

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QAction* addAction(QMenu* menu, const QString& name, const QString& text, const QList<QKeySequence>& keys,
                       void (MainWindow::*slot)());
    void buildActions();
    void buildLayout();
    void applyTheme();
    void observeViewModel();
    void showDisc();
    void showDisplay();
    void showPosition();
    void showState();
    void showRepeatMode();
    void showToggles();
    void showRateAndVolume();
    void showPlayingTrack();
    void rebuildRecentMenu();
    void rememberRecent(const QString& path);
    void showRefusal(const LocalizedError& error);
    /// Runs `open` for `path`: remembers it when it opened, shows the refusal (unless `quiet`) when not.
    bool opened(const std::filesystem::path& path, const std::function<void()>& open, bool quiet);

    void openDocument();
    void openFolderAsDisc();
    void eject();
    void playPause();
    void stopEject();
    void previousTrack();
    void nextTrack();
    void previousChapter();
    void nextChapter();
    void seekBackward();
    void seekForward();
    void increaseSpeed();
    void decreaseSpeed();
    void resetSpeed();
    void toggleBeat();
    void toggleRateControls();
    void increaseVolume();
    void decreaseVolume();
    void toggleMute();
    void toggleAmplifier();
    void cycleRepeatMode();
    void toggleShuffle();
    void cycleTimeMode();
    void increaseBrightness();
    void decreaseBrightness();
    void showConsoleLog();
    void showDiscInfo();
    void showAbout();
    void showSettingsWindow();
    void seekBy(double seconds);
    void takeSessionNotifications();
    void applyActionIcons();
    [[nodiscard]] AudioDiscPlayer& player() const { return session_.player(); }

    PlayerSession& session_;
    PlaybackViewModel& viewModel_;
    UserUISettings& ui_;
    PlayerSettings& playerSettings_;
    UserDefaults& defaults_;
    std::map<QString, QAction*> actions_;
    QActionGroup* themeGroup_ = nullptr;
    QActionGroup* repeatGroup_ = nullptr;
    QActionGroup* timeModeGroup_ = nullptr;
    QMenu* recentMenu_ = nullptr;
    DisplayView* display_ = nullptr;
    DiscNavigator* navigator_ = nullptr;
    std::map<QString, GlyphButton*> buttons_;
    RateVolumePanel* rateVolume_ = nullptr;
    TrackListModel* trackModel_ = nullptr;
    QTreeView* trackView_ = nullptr;
    QLabel* artwork_ = nullptr;
    QWidget* body_ = nullptr;
    ThemeColors colors_;
    QString lastAlertText_;
    bool alertsShown_ = true;
    ConsoleLogRecord* consoleLogRecord_ = nullptr;
    QPointer<ConsoleLogWindow> consoleLog_;
    QPointer<AboutWindow> about_;
    QPointer<DiscInfoWindow> discInfo_;
    QPointer<PreferencesWindow> preferences_;
    std::unique_ptr<PlaybackMessages> messages_;
    Published<LCTheme>::Subscription themeWatch_;
    Published<std::string>::Subscription deviceWatch_;
    /// The window's subscriptions to the view model, cancelled with the window.
    std::vector<std::shared_ptr<void>> watches_;
};

} // namespace lorvan::window
