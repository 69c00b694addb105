#pragma once

#include "playback/AudioDiscPlayer.hpp"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

class QWindow;

namespace lorvan::mpris {

/// The desktop file's actions, which `lorvan --play` and the like perform: "play", "pause",
/// "next" and "previous".
enum class DesktopAction { play, pause, next, previous };

[[nodiscard]] std::string_view actionName(DesktopAction action);
/// Also takes the desktop file's capitalised names ("Play"); none for anything else.
[[nodiscard]] std::optional<DesktopAction> desktopAction(std::string_view name);
/// Pause pauses only a playing player and play starts only one that is not playing, so that
/// either can be repeated.
void perform(DesktopAction action, AudioDiscPlayer& player);

/// What a launch of `lorvan` asks for.
struct LaunchRequest {
    /// Cue sheets, folders or audio files; the first is opened.
    std::vector<std::filesystem::path> paths;
    /// Performed in this order, after the disc is open.
    std::vector<DesktopAction> actions;
    /// The desktop's token for bringing a window forward, if it gave this launch one.
    QString activationToken;
};

/// The token the desktop passed to this launch: XDG_ACTIVATION_TOKEN (Wayland), else
/// DESKTOP_STARTUP_ID (X11); empty without one.
[[nodiscard]] QString launchActivationToken();

/// "/app/lorvan/Lorvan": the application id as an object path.
[[nodiscard]] QString applicationObjectPath();

/// Hands `request` to the instance that owns the application id on `connection`, through
/// org.freedesktop.Application: Open with the paths as file URIs (made absolute here, since
/// the other process has another working directory), else Activate when there is no action;
/// then ActivateAction with each action. The token goes along as the platform data
/// "activation-token" and "desktop-startup-id". True when an instance took it; false when none
/// runs or it did not answer (the caller then runs on its own).
[[nodiscard]] bool handOver(const LaunchRequest& request,
                            QDBusConnection connection = QDBusConnection::sessionBus());

class ApplicationAdaptor;

/// The running instance's side: owns the application id on the session bus and answers
/// org.freedesktop.Application at `applicationObjectPath()`. Main thread, with the event loop
/// running; the handlers run there, after the request has been answered.
class ApplicationService {
public:
    struct Handlers {
        /// Open the paths (replacing the disc) and bring the window forward with the token.
        std::function<void(const std::vector<std::filesystem::path>& paths, const QString& token)> open;
        /// Bring the window forward with the token.
        std::function<void(const QString& token)> activate;
        std::function<void(DesktopAction action)> perform;
    };

    /// Registers at once; `registered()` tells whether the name was free.
    explicit ApplicationService(Handlers handlers,
                                QDBusConnection connection = QDBusConnection::sessionBus());
    ~ApplicationService();
    ApplicationService(const ApplicationService&) = delete;
    ApplicationService& operator=(const ApplicationService&) = delete;

    [[nodiscard]] bool registered() const { return registered_; }

private:
    friend class ApplicationAdaptor;
    Handlers handlers_;
    QDBusConnection connection_;
    std::unique_ptr<QObject> host_;
    bool registered_ = false;
};

/// Shows `window` and asks the window system to bring it forward with the desktop's
/// activation `token` (empty: without one): on Wayland through xdg-activation, which Qt's
/// window takes from XDG_ACTIVATION_TOKEN; on X11 by a _NET_ACTIVE_WINDOW request.
void activateWindow(QWindow& window, const QString& token);

} // namespace lorvan::mpris
