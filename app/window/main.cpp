// lorvan: the desktop player.

#include "ConsoleLogWindow.hpp"
#include "MainWindow.hpp"
#include "app/identity/Identity.hpp"
#include "app/mpris/MprisService.hpp"
#include "app/mpris/SingleInstance.hpp"
#include "app/session/PlayerSession.hpp"
#include "core/ConsoleLog.hpp"
#include "platform/QtUserDefaults.hpp"
#include "presentation/PlaybackViewModel.hpp"
#include "presentation/PlayerSettings.hpp"
#include "presentation/UserUISettings.hpp"

#include <QApplication>
#include <QCommandLineParser>
#include <QWindow>
#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string_view>

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
    // Asked only for its help or version (by a terminal, or help2man at build time), lorvan
    // answers without a display: the window system is not even connected.
    const std::array<std::string_view, 5> answeredWithoutWindow{"-h", "--help", "--help-all", "-v",
                                                                "--version"};
    const bool onlyAsking = std::any_of(argv + 1, argv + argc, [&](const char* argument) {
        return std::ranges::find(answeredWithoutWindow, argument) != answeredWithoutWindow.end();
    });
    if (!onlyAsking && qEnvironmentVariableIsEmpty("DISPLAY") &&
        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        // Qt would abort with a core dump; a user at a bare terminal deserves a sentence.
        std::fprintf(stderr,
                     "lorvan: no display to open the window on (DISPLAY and WAYLAND_DISPLAY are not set); "
                     "lorvan-cli play PATH plays a disc in a terminal\n");
        return 1;
    }
    // On X11 the window's steady repaints are small strips (the cursor, the digits, the
    // meters), many times a second. Through shared memory Qt makes a round trip to the X server
    // before painting over a strip it handed over last time; through the socket it just sends
    // the few hundred pixels. Measured under Xvfb, this cuts the whole process's CPU while
    // playing by a fifth to a third. A user's own setting wins.
    if (!qEnvironmentVariableIsSet("QT_XCB_NO_MITSHM")) qputenv("QT_XCB_NO_MITSHM", "1");
    const std::unique_ptr<QCoreApplication> application = onlyAsking
                                                              ? std::make_unique<QCoreApplication>(argc, argv)
                                                              : std::make_unique<QApplication>(argc, argv);
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
    const QCommandLineOption newInstance(
        QStringLiteral("new-instance"),
        QStringLiteral("Run beside the running Lorvan instead of handing it the disc"));
    parser.addOption(newInstance);
    parser.process(*application);
    const QString outputChoice = parser.value(output);
    if (outputChoice != QLatin1String("device") && outputChoice != QLatin1String("null")) {
        std::fprintf(stderr, "lorvan: --output: device or null\n");
        return 2;
    }

    // One instance per desktop: a launch hands its disc and actions to the running one.
    mpris::LaunchRequest launch;
    for (const QString& path : parser.positionalArguments())
        launch.paths.emplace_back(path.toStdString());
    for (const auto& [option, action] :
         {std::pair{&pause, mpris::DesktopAction::pause}, std::pair{&play, mpris::DesktopAction::play},
          std::pair{&next, mpris::DesktopAction::next}, std::pair{&previous, mpris::DesktopAction::previous}})
        if (parser.isSet(*option)) launch.actions.push_back(action);
    launch.activationToken = mpris::launchActivationToken();
    if (!parser.isSet(newInstance) && mpris::handOver(launch)) return 0;

    // As the subsystems meet: the persisted repeat mode and theme first, then the one player,
    // its one observer, then the window.
    const auto defaults = std::make_shared<QtUserDefaults>();
    UserUISettings uiSettings(*defaults);
    PlayerSettings playerSettings(*defaults);
    // The launch's disc is assembled (its files read, its IDs computed) on a thread of its own
    // while the session and the window are built.
    std::future<AudioDisc> assembly;
    if (!launch.paths.empty())
        assembly = PlayerSession::assemble(
            window::MainWindow::discLocation(std::filesystem::absolute(launch.paths.front())));
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
        // Before the event loop runs, so that the first frame painted already shows the disc
        // (the view model's first publication carries it). A refusal's alert is window-modal
        // and appears with the window.
        if (!launch.paths.empty()) mainWindow.openPath(launch.paths.front(), std::move(assembly));
        for (const mpris::DesktopAction action : launch.actions)
            mpris::perform(action, session.player());
        const auto activate = [&](const QString& token) {
            if (QWindow* window = mainWindow.windowHandle()) mpris::activateWindow(*window, token);
        };
        const mpris::MprisService mediaControls(
            viewModel,
            {.raise = [&] { activate({}); },
             .quit = [] { QApplication::quit(); },
             .open = [&](const std::filesystem::path& path) { return mainWindow.openPath(path); }});
        const mpris::ApplicationService instance(
            {.open =
                 [&](const std::vector<std::filesystem::path>& paths, const QString& token) {
                     activate(token);
                     if (!paths.empty()) mainWindow.openPath(paths.front());
                 },
             .activate = activate,
             .perform = [&](mpris::DesktopAction action) { mpris::perform(action, session.player()); }});
        status = QApplication::exec();
    }
    session.shutDown();
    return status;
}
