// lorvan: the desktop player.

#include "ConsoleLogWindow.hpp"
#include "MainWindow.hpp"
#include "app/identity/Identity.hpp"
#include "app/session/PlayerSession.hpp"
#include "core/ConsoleLog.hpp"
#include "platform/QtUserDefaults.hpp"
#include "presentation/PlaybackViewModel.hpp"
#include "presentation/PlayerSettings.hpp"
#include "presentation/UserUISettings.hpp"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>
#include <cstdio>

int main(int argc, char* argv[]) {
    // The console log goes to standard output line by line, so that a terminal or a script
    // following it sees each line as it is written.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    using namespace lorvan;
    const auto text = [](std::string_view view) {
        return QString::fromUtf8(view.data(), static_cast<qsizetype>(view.size()));
    };
    QApplication::setApplicationName(text(identity::appName));
    QApplication::setOrganizationName(text(identity::appName));
    QApplication::setApplicationVersion(text(identity::version()));
    QApplication::setDesktopFileName(text(identity::appId));
    QApplication application(argc, argv);
    // First, so that the Console Log window shows the whole run.
    ConsoleLogRecord consoleLog;

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Plays audio CDs ripped to files."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("PATH"),
                                 QStringLiteral("A cue sheet, a folder of audio files, or an audio file"));
    const QCommandLineOption output(QStringLiteral("output"),
                                    QStringLiteral("device (the default sound device) or null (a clock)"),
                                    QStringLiteral("device|null"), QStringLiteral("device"));
    parser.addOption(output);
    // The desktop file's actions. Each acts once the disc given with it (if any) is open.
    const QCommandLineOption play(QStringLiteral("play"), QStringLiteral("Play the disc"));
    const QCommandLineOption pause(QStringLiteral("pause"),
                                   QStringLiteral("Pause (open the disc without playing)"));
    const QCommandLineOption next(QStringLiteral("next"), QStringLiteral("Go to the next track"));
    const QCommandLineOption previous(QStringLiteral("previous"), QStringLiteral("Go to the previous track"));
    parser.addOptions({play, pause, next, previous});
    parser.process(application);
    const QString outputChoice = parser.value(output);
    if (outputChoice != QLatin1String("device") && outputChoice != QLatin1String("null")) {
        std::fprintf(stderr, "lorvan: --output: device or null\n");
        return 2;
    }

    // As the subsystems meet: the persisted repeat mode and theme first, then the one player,
    // its one observer, then the window.
    const auto defaults = std::make_shared<QtUserDefaults>();
    UserUISettings uiSettings(*defaults);
    PlayerSettings playerSettings(*defaults);
    PlayerSession::Options options;
    options.soundDevice = outputChoice != QLatin1String("null");
    if (!playerSettings.outputDevice.value().empty())
        options.deviceName = playerSettings.outputDevice.value();
    options.userDefaults = defaults;
    PlayerSession session(std::move(options));
    PlaybackViewModel viewModel(session.sharedPlayer(), session.mainThread());
    int status = 0;
    {
        window::MainWindow mainWindow(session, viewModel, uiSettings, playerSettings);
        mainWindow.setConsoleLogRecord(&consoleLog);
        mainWindow.show();
        const QStringList paths = parser.positionalArguments();
        // After the window is up, so that a refusal's alert has a window to sit on.
        QTimer::singleShot(0, &mainWindow, [&] {
            if (!paths.isEmpty()) mainWindow.openPath(paths.front().toStdString());
            AudioDiscPlayer& player = session.player();
            if (parser.isSet(pause) && player.state() == AudioDiscPlayer::State::playing) player.playPause();
            if (parser.isSet(play) && player.state() != AudioDiscPlayer::State::playing) player.play();
            if (parser.isSet(next)) player.nextTrack();
            if (parser.isSet(previous)) player.previousTrack();
        });
        status = QApplication::exec();
    }
    session.shutDown();
    return status;
}
