// Draws every secondary window into PNG files, to look at them: lorvan_window_gallery OUTDIR [CUE].
#include "app/window/AboutWindow.hpp"
#include "app/window/Alerts.hpp"
#include "app/window/AppearancePane.hpp"
#include "app/window/ConsoleLogWindow.hpp"
#include "app/window/DiscInfoWindow.hpp"
#include "app/window/Icons.hpp"
#include "app/window/PreferencesWindow.hpp"
#include "core/ConsoleLog.hpp"
#include "core/LocalizedError.hpp"
#include "cuesheet/CueSheet.hpp"
#include "disc/AudioDisc.hpp"
#include "platform/PlatformDiscServices.hpp"
#include "presentation/PlayerSettings.hpp"
#include "presentation/UserUISettings.hpp"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QPainter>
#include <QTabWidget>
#include <cstdio>

using namespace lorvan;

namespace {

class SampleError final : public LocalizedError {
public:
    SampleError()
        : LocalizedError("sample") {}
    std::string typeName() const override { return "CueSheetError"; }
    std::string kindName() const override { return "INDEX_IndexBeforeTrack"; }
    std::optional<std::string> errorDescription() const override {
        return "The cue sheet “Live at the Roundhouse.cue” could not be opened.";
    }
    std::optional<std::string> failureReason() const override {
        return "Line 12: an INDEX comes before any TRACK.";
    }
    std::optional<std::string> recoverySuggestion() const override {
        return "Open the cue sheet in a text editor and check the order of its TRACK and INDEX lines.";
    }
};

void save(QWidget& widget, const QString& path, bool fit = true) {
    widget.show();
    if (fit) widget.adjustSize();
    QCoreApplication::processEvents();
    widget.grab().save(path);
    std::printf("%s\n", qPrintable(path));
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    if (argc < 2) return 2;
    const QDir out(QString::fromLocal8Bit(argv[1]));
    ConsoleLog::discard();
    ConsoleLogRecord record;
    std::optional<AudioDisc> disc;
    if (argc > 2)
        disc.emplace(AudioDisc::fromCueSheet(CueSheet(Url::fileURL(argv[2])), platform::audioDiscServices()));

    InMemoryUserDefaults defaults;
    UserUISettings ui(defaults);
    PlayerSettings player(defaults);
    for (LCBuiltInTheme theme : {LCBuiltInTheme::lcd, LCBuiltInTheme::pipBoy, LCBuiltInTheme::synthwave}) {
        ui.selectBuiltInTheme(theme);
        PreferencesWindow preferences(ui, player, defaults,
                                      {"HDA Intel PCH: ALC257 Analog (hw:0,0)", "pulse"});
        preferences.resize(preferences.sizeHint().width(), 640);
        preferences.show();
        QCoreApplication::processEvents();
        preferences.grab().save(out.filePath(
            QStringLiteral("preferences-appearance-%1.png").arg(QString::fromUtf8(rawValue(theme).data()))));
        preferences.tabs()->setCurrentIndex(1);
        QCoreApplication::processEvents();
        preferences.grab().save(out.filePath("preferences-playback.png"));
    }

    AboutWindow about;
    save(about, out.filePath("about.png"));

    ConsoleLog::write("➤ New audio disc from cue sheet: Lorvan Demo.cue");
    ConsoleLog::write("  Found audio file: Lorvan Demo.flac");
    ConsoleLog::write("⚠️ The sound device went away, playing on to the null output");
    QCoreApplication::processEvents();
    ConsoleLogWindow console(record);
    console.resize(760, 420);
    QCoreApplication::processEvents();
    save(console, out.filePath("console-log.png"), false);

    DiscInfoWindow info;
    info.setDisc(disc ? &*disc : nullptr);
    info.resize(760, 600);
    save(info, out.filePath("disc-info.png"), false);

    QWidget parent;
    parent.resize(600, 512);
    auto alert = makeRefusedOpenAlert(SampleError(), &parent);
    save(*alert, out.filePath("refused-open.png"));
    PlaybackMessages messages(&parent);
    messages.showReadFailure("track03.flac: Invalid data found when processing input");
    save(*messages.box(), out.filePath("read-failure.png"));

    // Every icon on the window's background, as a menu shows them.
    QImage sheet(48 * 10 + 8, 48 * 3 + 8, QImage::Format_ARGB32);
    sheet.fill(app.palette().color(QPalette::Window));
    QPainter painter(&sheet);
    int index = 0;
    for (ActionIcon icon : allActionIcons) {
        fallbackActionIcon(icon).paint(&painter, 8 + (index % 10) * 48, 8 + (index / 10) * 48, 32, 32);
        ++index;
    }
    painter.end();
    sheet.save(out.filePath("icons.png"));
    return 0;
}
