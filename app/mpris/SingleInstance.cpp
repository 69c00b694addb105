#include "app/mpris/SingleInstance.hpp"

#include "app/identity/Identity.hpp"
#include "app/mpris/MprisAdaptors.hpp"
#include "core/LogEntry.hpp"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>
#include <QGuiApplication>
#include <QTimer>
#include <QUrl>
#include <QWindow>
#include <array>

namespace lorvan::mpris {

namespace {

QString appId() {
    return QString::fromUtf8(identity::appId.data(), static_cast<qsizetype>(identity::appId.size()));
}

constexpr const char* applicationInterface = "org.freedesktop.Application";
/// A hung instance must not keep a launch waiting forever; then the launch runs on its own.
constexpr int callTimeoutMilliseconds = 10'000;

constexpr std::array<std::pair<DesktopAction, std::string_view>, 4> actionNames{{
    {DesktopAction::play, "play"},
    {DesktopAction::pause, "pause"},
    {DesktopAction::next, "next"},
    {DesktopAction::previous, "previous"},
}};

/// Both keys: Wayland's launchers read the first, X11's startup notification the second.
QVariantMap platformData(const QString& token) {
    QVariantMap data;
    if (token.isEmpty()) return data;
    data.insert(QStringLiteral("activation-token"), token);
    data.insert(QStringLiteral("desktop-startup-id"), token);
    return data;
}

QString tokenIn(const QVariantMap& data) {
    for (const char* key : {"activation-token", "desktop-startup-id"}) {
        const QString token = data.value(QString::fromLatin1(key)).toString();
        if (!token.isEmpty()) return token;
    }
    return {};
}

} // namespace

std::string_view actionName(DesktopAction action) {
    for (const auto& [known, name] : actionNames)
        if (known == action) return name;
    return {};
}

std::optional<DesktopAction> desktopAction(std::string_view name) {
    const QString lower = QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size())).toLower();
    for (const auto& [action, known] : actionNames)
        if (lower == QLatin1String(known.data(), static_cast<qsizetype>(known.size()))) return action;
    return std::nullopt;
}

void perform(DesktopAction action, AudioDiscPlayer& player) {
    switch (action) {
    case DesktopAction::play:
        if (player.state() != AudioDiscPlayer::State::playing) player.play();
        break;
    case DesktopAction::pause:
        if (player.state() == AudioDiscPlayer::State::playing) player.playPause();
        break;
    case DesktopAction::next:
        player.nextTrack();
        break;
    case DesktopAction::previous:
        player.previousTrack();
        break;
    }
}

QString launchActivationToken() {
    for (const char* variable : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
        const QString token = qEnvironmentVariable(variable);
        if (!token.isEmpty()) return token;
    }
    return {};
}

QString applicationObjectPath() {
    return QLatin1Char('/') + appId().replace(QLatin1Char('.'), QLatin1Char('/'));
}

bool handOver(const LaunchRequest& request, QDBusConnection connection) {
    if (!connection.isConnected()) return false;
    QDBusConnectionInterface* bus = connection.interface();
    if (bus == nullptr || !bus->isServiceRegistered(appId()).value()) return false;

    const auto call = [&](const QString& method, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            appId(), applicationObjectPath(), QString::fromLatin1(applicationInterface), method);
        message.setArguments(arguments);
        const QDBusMessage reply = connection.call(message, QDBus::Block, callTimeoutMilliseconds);
        if (reply.type() == QDBusMessage::ErrorMessage) {
            LogEntry::warning("The running Lorvan did not take the request: " +
                              reply.errorMessage().toStdString())
                .print();
            return false;
        }
        return true;
    };
    const QVariantMap data = platformData(request.activationToken);
    if (!request.paths.empty()) {
        QStringList uris;
        for (const std::filesystem::path& path : request.paths)
            uris.push_back(QUrl::fromLocalFile(QDir::cleanPath(QDir::current().absoluteFilePath(
                                                   QString::fromStdString(path))))
                               .toString(QUrl::FullyEncoded));
        if (!call(QStringLiteral("Open"), {uris, data})) return false;
    } else if (request.actions.empty()) {
        if (!call(QStringLiteral("Activate"), {data})) return false;
    }
    for (const DesktopAction action : request.actions) {
        const std::string_view name = actionName(action);
        if (!call(QStringLiteral("ActivateAction"),
                  {QString::fromLatin1(name.data(), static_cast<qsizetype>(name.size())), QVariantList(),
                   data}))
            return false;
    }
    return true;
}

// MARK: - The running instance

ApplicationAdaptor::ApplicationAdaptor(ApplicationService& service, BusObject* host)
    : QDBusAbstractAdaptor(host)
    , service_(service) {}

void ApplicationAdaptor::refuse(const QString& message) {
    static_cast<BusObject*>(parent())->sendErrorReply(QDBusError::InvalidArgs, message);
}

void ApplicationAdaptor::Activate(const QVariantMap& platform_data) {
    const QString token = tokenIn(platform_data);
    QTimer::singleShot(0, parent(), [this, token] {
        if (service_.handlers_.activate) service_.handlers_.activate(token);
    });
}

void ApplicationAdaptor::Open(const QStringList& uris, const QVariantMap& platform_data) {
    std::vector<std::filesystem::path> paths;
    for (const QString& uri : uris) {
        const QUrl url(uri);
        if (!url.isValid() || !url.isLocalFile()) {
            refuse(QStringLiteral("Only file URIs can be opened: ") + uri);
            return;
        }
        paths.emplace_back(url.toLocalFile().toStdString());
    }
    const QString token = tokenIn(platform_data);
    QTimer::singleShot(0, parent(), [this, paths = std::move(paths), token] {
        if (service_.handlers_.open) service_.handlers_.open(paths, token);
    });
}

void ApplicationAdaptor::ActivateAction(const QString& action_name, const QVariantList& /*parameter*/,
                                        const QVariantMap& /*platform_data*/) {
    const auto action = desktopAction(action_name.toStdString());
    if (!action) {
        refuse(QStringLiteral("No such action: ") + action_name);
        return;
    }
    QTimer::singleShot(0, parent(), [this, action = *action] {
        if (service_.handlers_.perform) service_.handlers_.perform(action);
    });
}

ApplicationService::ApplicationService(Handlers handlers, QDBusConnection connection)
    : handlers_(std::move(handlers))
    , connection_(std::move(connection))
    , host_(std::make_unique<BusObject>()) {
    new ApplicationAdaptor(*this, static_cast<BusObject*>(host_.get()));
    if (!connection_.isConnected()) return;
    if (!connection_.registerObject(applicationObjectPath(), host_.get(), QDBusConnection::ExportAdaptors))
        return;
    registered_ = connection_.registerService(appId());
    if (!registered_) connection_.unregisterObject(applicationObjectPath());
}

ApplicationService::~ApplicationService() {
    if (!registered_) return;
    connection_.unregisterService(appId());
    connection_.unregisterObject(applicationObjectPath());
}

void activateWindow(QWindow& window, const QString& token) {
    // Qt's Wayland window hands the compositor the token it finds here when it asks to be
    // activated; the X11 window manager decides from the request alone.
    if (!token.isEmpty() && QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
        qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
    if (window.windowState() & Qt::WindowMinimized)
        window.setWindowStates(window.windowStates() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.requestActivate();
}

} // namespace lorvan::mpris
