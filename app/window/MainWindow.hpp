#pragma once

#include "PlayerMonitor.hpp"
#include "ThemeColors.hpp"
#include "WindowSession.hpp"
#include "core/UserDefaults.hpp"
#include "presentation/PlayerSettings.hpp"
#include "presentation/UserUISettings.hpp"

#include <QActionGroup>
#include <QMainWindow>
#include <QStringList>
#include <filesystem>
#include <map>

class QLabel;
class QTreeView;

namespace lorvan {
class ConsoleLogRecord;
class ConsoleLogWindow;
class LocalizedError;
} // namespace lorvan

namespace lorvan::window {

class DiscNavigator;
class DisplayView;
class GlyphButton;
class RateVolumePanel;
class TrackListModel;

/// The player window: the display, the disc navigator, the transport, the rate and volume
/// dials and the track list, with the menus that carry every action of the application. The
/// widgets show what the monitor read from the player; the actions call the player.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    MainWindow(WindowSession& session, UserUISettings& uiSettings, PlayerSettings& playerSettings,
               UserDefaults& defaults, QWidget* parent = nullptr);
    ~MainWindow() override;

    /// Opens a cue sheet, a folder, or an audio file's folder. A refusal shows the error's
    /// texts in an alert (unless `quiet`) and leaves the playing disc as it was. True when opened.
    bool openPath(const std::filesystem::path& path, bool quiet = false);

    /// The action named `name` (its object name: "playPause", "nextTrack", "theme.Amber", ...).
    [[nodiscard]] QAction* action(const QString& name) const;
    [[nodiscard]] PlayerMonitor& monitor() const { return *monitor_; }
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
    void showSnapshot();
    void showDisc();
    void rebuildRecentMenu();
    void rememberRecent(const QString& path);
    void showRefusal(const LocalizedError& error);

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
    /// After an action the window shows its effect at once instead of at the next reading.
    void acted() { monitor_->refresh(); }

    WindowSession& session_;
    UserUISettings& ui_;
    PlayerSettings& playerSettings_;
    UserDefaults& defaults_;
    PlayerMonitor* monitor_;
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
    ConsoleLogWindow* consoleLog_ = nullptr;
    Published<LCTheme>::Subscription themeWatch_;
};

} // namespace lorvan::window
