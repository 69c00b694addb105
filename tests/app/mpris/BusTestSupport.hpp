#pragma once

// What the bus tests share: the Qt application, clients run as processes while the event loop
// goes on answering the bus, and a listener for the signals a service sends.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QEventLoop>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTimer>
#include <QVariantMap>
#include <functional>
#include <vector>

namespace lorvan::test {

/// The test executable's one application; made on first use.
inline QCoreApplication& application() {
    static int argc = 1;
    static char name[] = "lorvan_mpris_tests";
    static char* argv[] = {name, nullptr};
    static QCoreApplication* app = new QCoreApplication(argc, argv);
    return *app;
}

struct ClientRun {
    int status = -1;
    QString out;
    QString err;
};

/// Runs `loop` until it is quit, calling `tick` every millisecond. A minute is a hang, not a
/// slow machine.
inline void run(QEventLoop& loop, const std::function<void()>& tick) {
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        if (tick) tick();
    });
    QTimer::singleShot(60'000, &loop, &QEventLoop::quit);
    ticker.start(1);
    loop.exec();
}

/// Runs `program` to its end while the event loop goes on (the service it talks to lives in
/// this process), calling `tick` between events.
inline ClientRun runClient(const QString& program, const QStringList& arguments,
                           const std::function<void()>& tick = {}) {
    QProcess process;
    QEventLoop loop;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    process.start(program, arguments);
    run(loop, tick);
    ClientRun result;
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
        result.err = QStringLiteral("hung");
        return result;
    }
    result.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    result.err += QString::fromUtf8(process.readAllStandardError()).trimmed();
    return result;
}

/// gdbus calling `method` (with its interface) on the object at `path` of `destination`.
inline ClientRun gdbus(const QString& destination, const QString& path, const QString& method,
                       const QStringList& arguments = {}, const std::function<void()>& tick = {}) {
    return runClient(
        QStringLiteral("gdbus"),
        QStringList{"call", "--session", "--dest", destination, "--object-path", path, "--method", method} +
            arguments,
        tick);
}

/// The signals a service sends, seen from a connection of its own as any client would.
class SignalListener : public QObject {
    Q_OBJECT
public:
    SignalListener(const QString& name, const QString& service, const QString& path)
        : connection_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name))
        , service_(service)
        , path_(path) {
        connection_.connect(service, path, QStringLiteral("org.mpris.MediaPlayer2.Player"),
                            QStringLiteral("Seeked"), this, SLOT(seeked(qlonglong)));
        connection_.connect(service, path, QStringLiteral("org.freedesktop.DBus.Properties"),
                            QStringLiteral("PropertiesChanged"), this,
                            SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
    }
    ~SignalListener() override { QDBusConnection::disconnectFromBus(connection_.name()); }

    /// Waits until everything the service sent before now has arrived: a call's reply comes
    /// after the signals sent before it, on the same path through the bus.
    void sync(const std::function<void()>& tick) {
        QDBusMessage ping = QDBusMessage::createMethodCall(
            service_, path_, QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping"));
        QDBusPendingCallWatcher watcher(connection_.asyncCall(ping));
        QEventLoop loop;
        QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, &loop, &QEventLoop::quit);
        if (!watcher.isFinished()) run(loop, tick);
        QCoreApplication::processEvents();
    }
    void clear() {
        seeks.clear();
        changes.clear();
    }

    std::vector<qlonglong> seeks;
    /// The names of the changed properties of each PropertiesChanged, and their values.
    std::vector<QVariantMap> changes;

public slots:
    void seeked(qlonglong position) { seeks.push_back(position); }
    void propertiesChanged(const QString& interface, const QVariantMap& changed, const QStringList&) {
        if (interface == QLatin1String("org.mpris.MediaPlayer2.Player")) changes.push_back(changed);
    }

private:
    QDBusConnection connection_;
    QString service_;
    QString path_;
};

} // namespace lorvan::test
