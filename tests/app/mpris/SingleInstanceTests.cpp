// One running instance: the application's own interface on a private session bus, reached by
// gdbus and by a second launch's hand-over, which runs on a thread of its own here as it would
// in a process of its own (its call blocks until the instance has answered).

#include "BusTestSupport.hpp"
#include "app/mpris/SingleInstance.hpp"
#include "support/TestSupport.hpp"

#include <QDBusConnectionInterface>
#include <QDir>
#include <QProcessEnvironment>
#include <QUrl>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <thread>

namespace lorvan {
namespace {

using mpris::DesktopAction;
using testing::HasSubstr;

class SingleInstanceTest : public testing::Test {
protected:
    void SetUp() override {
        test::application();
        handlers.open = [this](const std::vector<std::filesystem::path>& paths, const QString& token) {
            opened.push_back(paths);
            tokens.push_back(token);
        };
        handlers.activate = [this](const QString& token) { tokens.push_back(token); };
        handlers.perform = [this](DesktopAction action) { performed.push_back(action); };
    }

    /// A second launch's hand-over, on its own connection and thread, while this thread's
    /// event loop lets the instance answer.
    bool handOver(const mpris::LaunchRequest& request) {
        static int connections = 0;
        const QString name = "launch" + QString::number(++connections);
        auto done = std::async(std::launch::async, [&] {
            const bool taken =
                mpris::handOver(request, QDBusConnection::connectToBus(QDBusConnection::SessionBus, name));
            QDBusConnection::disconnectFromBus(name);
            return taken;
        });
        while (done.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
            QCoreApplication::processEvents();
        // The handlers run from the event loop after the answer.
        QCoreApplication::processEvents();
        return done.get();
    }

    mpris::ApplicationService::Handlers handlers;
    std::vector<std::vector<std::filesystem::path>> opened;
    std::vector<QString> tokens;
    std::vector<DesktopAction> performed;
};

TEST_F(SingleInstanceTest, DesktopActionsAreKnownByTheirNamesInEitherCase) {
    for (const auto& [name, action] :
         std::vector<std::pair<std::string, DesktopAction>>{{"play", DesktopAction::play},
                                                            {"Pause", DesktopAction::pause},
                                                            {"next", DesktopAction::next},
                                                            {"Previous", DesktopAction::previous}}) {
        EXPECT_EQ(mpris::desktopAction(name), action) << name;
        EXPECT_EQ(mpris::desktopAction(mpris::actionName(action)), action);
    }
    EXPECT_EQ(mpris::desktopAction("stop"), std::nullopt);
    EXPECT_EQ(mpris::desktopAction(""), std::nullopt);
}

TEST_F(SingleInstanceTest, ALaunchHandsItsPathsActionAndTokenToTheRunningInstance) {
    EXPECT_FALSE(handOver({{"disc.cue"}, {}, {}})) << "without a running instance the launch runs on its own";
    mpris::ApplicationService instance(handlers);
    ASSERT_TRUE(instance.registered());
    {
        // A second instance started anyway (--new-instance) does not take the name.
        mpris::ApplicationService second(handlers,
                                         QDBusConnection::connectToBus(QDBusConnection::SessionBus, "other"));
        EXPECT_FALSE(second.registered());
    }
    QDBusConnection::disconnectFromBus("other");

    // Relative paths are the launch's: the instance has another working directory.
    test::TemporaryDirectory directory;
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(QString::fromStdString(directory.path().string())));
    const bool taken = handOver(
        {{"Ça va/disc 1.cue", "/music/b/../c"}, {DesktopAction::pause, DesktopAction::play}, "token-1"});
    QDir::setCurrent(before);
    ASSERT_TRUE(taken);
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened[0],
              (std::vector<std::filesystem::path>{directory.path() / "Ça va/disc 1.cue", "/music/c"}));
    EXPECT_EQ(performed, (std::vector<DesktopAction>{DesktopAction::pause, DesktopAction::play}))
        << "in order, after the disc is open";
    EXPECT_EQ(tokens, std::vector<QString>{"token-1"});

    // No path and no action: bring the window forward. An action alone leaves the window be.
    EXPECT_TRUE(handOver({{}, {}, "token-2"}));
    EXPECT_TRUE(handOver({{}, {DesktopAction::next}, "token-3"}));
    EXPECT_EQ(tokens, (std::vector<QString>{"token-1", "token-2"}));
    EXPECT_EQ(performed,
              (std::vector<DesktopAction>{DesktopAction::pause, DesktopAction::play, DesktopAction::next}));
    EXPECT_EQ(opened.size(), 1u);
}

TEST_F(SingleInstanceTest, TheInterfaceAnswersOtherClientsAndRefusesWhatItCannotDo) {
    mpris::ApplicationService instance(handlers);
    ASSERT_TRUE(instance.registered());
    const auto call = [](const QString& method, const QStringList& arguments) {
        return test::gdbus("app.lorvan.Lorvan", "/app/lorvan/Lorvan", "org.freedesktop.Application." + method,
                           arguments);
    };
    // As a launcher would send it, with the X11 startup id only.
    const test::ClientRun open =
        call("Open", {"['file:///music/A%20B/disc.cue']", "{'desktop-startup-id': <'x11-id'>}"});
    EXPECT_EQ(open.status, 0) << open.err.toStdString();
    QCoreApplication::processEvents();
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened[0], std::vector<std::filesystem::path>{"/music/A B/disc.cue"});
    EXPECT_EQ(tokens, std::vector<QString>{"x11-id"});

    const test::ClientRun web = call("Open", {"['sftp:/music/disc.cue']", "@a{sv} {}"});
    EXPECT_NE(web.status, 0);
    EXPECT_THAT(web.err.toStdString(), HasSubstr("Only file URIs can be opened"));
    const test::ClientRun unknown = call("ActivateAction", {"eject", "@av []", "@a{sv} {}"});
    EXPECT_NE(unknown.status, 0);
    EXPECT_THAT(unknown.err.toStdString(), HasSubstr("No such action: eject"));
    const test::ClientRun pause = call("ActivateAction", {"Pause", "@av []", "@a{sv} {}"});
    EXPECT_EQ(pause.status, 0) << pause.err.toStdString();
    QCoreApplication::processEvents();
    EXPECT_EQ(opened.size(), 1u);
    EXPECT_EQ(performed, std::vector<DesktopAction>{DesktopAction::pause});
}

/// The real lorvan, twice and more, on this test's private bus and the offscreen platform.
class SecondLaunchTest : public testing::Test {
protected:
    void SetUp() override {
        test::application();
        for (const auto& [folder, split] : {std::pair{"a", ""}, std::pair{"b", "--split "}}) {
            const auto made = test::runProcess(LORVAN_CLI, std::string("demo ") + split + "--dir " +
                                                               test::shellQuoted(directory.path() / folder));
            ASSERT_EQ(made.status, 0) << made.out;
        }
        environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_QPA_PLATFORM", "offscreen");
        environment.insert("XDG_CONFIG_HOME", path("config"));
        environment.insert("XDG_RUNTIME_DIR", path("runtime"));
        std::filesystem::create_directories(directory.path() / "runtime");
        std::filesystem::permissions(directory.path() / "runtime", std::filesystem::perms::owner_all);
    }
    void TearDown() override {
        // What the instances logged, for a failure's reader.
        if (HasFailure())
            for (const char* log : {"first.log", "third.log"})
                std::cerr << "--- " << log << "\n"
                          << test::runProcess("cat", test::shellQuoted(directory.path() / log)).out;
        for (QProcess* process : {&first, &third}) {
            if (process->state() == QProcess::NotRunning) continue;
            process->kill();
            process->waitForFinished();
        }
    }

    [[nodiscard]] QString path(const char* name) const {
        return QString::fromStdString((directory.path() / name).string());
    }
    void start(QProcess& process, const QStringList& arguments) {
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.setWorkingDirectory(path(""));
        process.start(QStringLiteral(LORVAN), QStringList{"--output", "null"} + arguments);
        ASSERT_TRUE(process.waitForStarted());
    }
    /// A launch that hands over and ends, from the test's folder.
    test::ClientRun launch(const QStringList& arguments) {
        QProcess process;
        start(process, arguments);
        const bool ended = process.waitForFinished(60'000) && process.exitStatus() == QProcess::NormalExit;
        return {ended ? process.exitCode() : -1, QString::fromUtf8(process.readAll()), {}};
    }
    /// playerctl on the instance that holds the plain name; its arguments are split at spaces.
    static QString playerctl(const QString& arguments) {
        return test::runClient("playerctl", QStringList{"--player=lorvan"} + arguments.split(' ')).out;
    }
    static bool hasOwner(const QString& name) {
        return QDBusConnection::sessionBus().interface()->isServiceRegistered(name).value();
    }
    /// Polls `done` until it holds; a minute is a hang, not a slow machine.
    template <typename Condition> static bool eventually(Condition done) {
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (!done()) {
            if (std::chrono::steady_clock::now() > giveUp) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return true;
    }

    test::TemporaryDirectory directory;
    QProcessEnvironment environment;
    QProcess first;
    QProcess third;
};

TEST_F(SecondLaunchTest, ASecondLorvanHandsItsDiscAndActionsToTheRunningOneAndNewInstanceRunsBeside) {
    first.setStandardOutputFile(path("first.log"));
    third.setStandardOutputFile(path("third.log"));
    start(first, {path("a") + "/Lorvan Demo.cue"});
    ASSERT_TRUE(eventually([] { return hasOwner("app.lorvan.Lorvan"); })) << "no application id";
    const auto showsCoverOf = [this](const char* disc) {
        const QString cover = QUrl::fromLocalFile(path(disc) + "/cover.png").toString();
        return eventually([&] { return playerctl("metadata mpris:artUrl") == cover; });
    };
    ASSERT_TRUE(showsCoverOf("a"));

    // The folder of disc B, relative to the launch's working directory.
    const test::ClientRun second = launch({"b"});
    EXPECT_EQ(second.status, 0) << second.out.toStdString();
    EXPECT_TRUE(showsCoverOf("b")) << "the running instance replaced its disc";
    EXPECT_EQ(first.state(), QProcess::Running);

    // The desktop file's actions act on the running player.
    const test::ClientRun pause = launch({"--pause"});
    EXPECT_EQ(pause.status, 0) << pause.out.toStdString();
    EXPECT_TRUE(eventually([&] { return playerctl("status") == "Paused"; }));
    EXPECT_EQ(launch({"--next"}).status, 0);
    EXPECT_TRUE(eventually([&] { return playerctl("metadata xesam:trackNumber") == "2"; }));
    EXPECT_EQ(playerctl("status"), "Paused") << "next keeps the pause";

    // --new-instance runs beside it, under a media-controls name of its own.
    start(third, {"--new-instance"});
    const QString thirdName = "org.mpris.MediaPlayer2.lorvan.instance" + QString::number(third.processId());
    EXPECT_TRUE(eventually([&] { return hasOwner(thirdName); }));
    EXPECT_EQ(third.state(), QProcess::Running);

    // Media controls quit the first; the application id is free again.
    const test::ClientRun quit = test::gdbus("org.mpris.MediaPlayer2.lorvan", "/org/mpris/MediaPlayer2",
                                             "org.mpris.MediaPlayer2.Quit");
    EXPECT_EQ(quit.status, 0) << quit.err.toStdString();
    // It may have ended already, while the event loop ran for gdbus.
    if (first.state() != QProcess::NotRunning) {
        ASSERT_TRUE(first.waitForFinished(60'000));
    }
    EXPECT_EQ(first.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(first.exitCode(), 0);
    EXPECT_TRUE(eventually([] { return !hasOwner("org.mpris.MediaPlayer2.lorvan"); }));
}

} // namespace
} // namespace lorvan
