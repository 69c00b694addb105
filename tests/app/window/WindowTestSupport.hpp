#pragma once

#include "app/session/PlayerSession.hpp"
#include "app/window/MainWindow.hpp"
#include "core/UserDefaults.hpp"
#include "playback/BuiltInOutputs.hpp"
#include "presentation/PlaybackViewModel.hpp"
#include "presentation/PlayerSettings.hpp"
#include "presentation/UserUISettings.hpp"

#include <QApplication>
#include <QPointF>
#include <QString>
#include <QWidget>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lorvan::test {

/// The one QApplication of a window test executable, on the offscreen platform unless the
/// environment names another (the end-to-end run under Xvfb does).
QApplication& application();

/// The demo disc written by `lorvan-cli demo` into a folder shared by the cases of this run.
[[nodiscard]] const std::filesystem::path& demoCueSheet();

/// Runs the event loop until `done` holds or ten seconds pass: a bound, not a timing, so that
/// something that never happens fails the case instead of hanging it.
bool processEventsUntil(const std::function<bool()>& done);

/// A left click at `at`, pressed and released, as the mouse sends it.
void click(QWidget& widget, QPointF at);

/// A main window over the real session's player on the manual output and its view model, with
/// settings in memory.
struct WindowFixture {
    WindowFixture();
    ~WindowFixture();

    std::shared_ptr<InMemoryUserDefaults> defaults = std::make_shared<InMemoryUserDefaults>();
    std::unique_ptr<UserUISettings> ui;
    std::unique_ptr<PlayerSettings> playerSettings;
    /// The output the session made last, and the device name each output was made for.
    ManualAudioOutput* output = nullptr;
    std::vector<std::optional<std::string>> outputsMade;
    std::unique_ptr<PlayerSession> session;
    std::unique_ptr<PlaybackViewModel> viewModel;
    std::unique_ptr<window::MainWindow> window;

    [[nodiscard]] AudioDiscPlayer& player() const { return session->player(); }
    /// Runs the event loop until the view model has published everything the player reported.
    void settle() const;
    /// Triggers the action named `name`, then settles.
    void trigger(const char* name) const;
    /// Opens the demo disc (playing at once unless the preference says to wait), then settles.
    void openDemo() const;
};

} // namespace lorvan::test
