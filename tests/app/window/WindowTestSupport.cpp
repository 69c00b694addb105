#include "WindowTestSupport.hpp"

#include "support/TestSupport.hpp"

#include <QAction>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <cstdlib>

namespace lorvan::test {

QApplication& application() {
    static int argc = 1;
    static char name[] = "lorvan_window_tests";
    static char* argv[] = {name, nullptr};
    static QApplication* app = [] {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
        // The settings file of this process only, created before Qt first looks for it.
        static char configHome[] = "/tmp/lorvan-window-tests-XXXXXX";
        if (::mkdtemp(configHome)) ::setenv("XDG_CONFIG_HOME", configHome, 1);
        return new QApplication(argc, argv);
    }();
    return *app;
}

const std::filesystem::path& demoCueSheet() {
    static TemporaryDirectory folder;
    static const std::filesystem::path cue = [] {
        const ProcessRun run = runProcess(LORVAN_CLI, "demo --dir " + shellQuoted(folder.path() / "demo"));
        EXPECT_EQ(run.status, 0) << run.out;
        return folder.path() / "demo" / "Lorvan Demo.cue";
    }();
    return cue;
}

void click(QWidget& widget, QPointF at) {
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, at, widget.mapToGlobal(at), Qt::LeftButton,
                          type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(&widget, &event);
    }
    QCoreApplication::processEvents();
}

WindowFixture::WindowFixture() {
    (void)application();
    ui = std::make_unique<UserUISettings>(*defaults);
    playerSettings = std::make_unique<PlayerSettings>(*defaults);
    PlayerSession::Options options;
    options.userDefaults = defaults;
    options.makeOutput = [this](const std::optional<std::string>& deviceName) {
        auto manual = std::make_unique<ManualAudioOutput>();
        output = manual.get();
        outputsMade.push_back(deviceName);
        return manual;
    };
    session = std::make_unique<PlayerSession>(std::move(options));
    viewModel = std::make_unique<PlaybackViewModel>(session->sharedPlayer(), session->mainThread());
    window = std::make_unique<window::MainWindow>(*session, *viewModel, *ui, *playerSettings);
    window->setAlertsShown(false);
    settle();
}

WindowFixture::~WindowFixture() {
    window.reset();
    viewModel.reset();
    session->shutDown();
}

bool processEventsUntil(const std::function<bool()>& done) {
    QElapsedTimer waited;
    waited.start();
    QCoreApplication::processEvents();
    while (!done() && waited.elapsed() < 10'000)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
    return done();
}

void WindowFixture::settle() const {
    // The view model publishes at most once per interval: a change right after a publication
    // waits for the next one.
    EXPECT_TRUE(processEventsUntil([this] { return !viewModel->changesPending(); }))
        << "the view model never published";
}

void WindowFixture::trigger(const char* name) const {
    QAction* action = window->action(QString::fromLatin1(name));
    if (action == nullptr) {
        ADD_FAILURE() << "no action " << name;
        return;
    }
    action->trigger();
    settle();
}

void WindowFixture::openDemo() const {
    EXPECT_TRUE(window->openPath(demoCueSheet()));
    settle();
}

} // namespace lorvan::test
