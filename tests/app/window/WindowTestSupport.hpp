#pragma once

#include "app/window/MainWindow.hpp"
#include "app/window/WindowSession.hpp"
#include "core/UserDefaults.hpp"
#include "playback/BuiltInOutputs.hpp"
#include "presentation/PlayerSettings.hpp"
#include "presentation/UserUISettings.hpp"

#include <QApplication>
#include <QString>
#include <filesystem>
#include <memory>

namespace lorvan::test {

/// The one QApplication of a window test executable, on the offscreen platform unless the
/// environment names another (the end-to-end run under Xvfb does).
QApplication& application();

/// The settings file as QtUserDefaults wrote it to disk, in this process's own XDG folder.
QString settingsFileText();

/// The demo disc written by `lorvan-cli demo` into a folder shared by the cases of this run.
[[nodiscard]] const std::filesystem::path& demoCueSheet();

/// A main window over the real player on the manual output, with settings in memory.
struct WindowFixture {
    WindowFixture();
    ~WindowFixture();

    std::shared_ptr<InMemoryUserDefaults> defaults = std::make_shared<InMemoryUserDefaults>();
    std::unique_ptr<UserUISettings> ui;
    std::unique_ptr<PlayerSettings> playerSettings;
    ManualAudioOutput* output = nullptr;
    std::unique_ptr<window::WindowSession> session;
    std::unique_ptr<window::MainWindow> window;

    [[nodiscard]] AudioDiscPlayer& player() const { return session->player(); }
    /// Triggers the action named `name` and lets the event loop run what it posted.
    void trigger(const char* name) const;
};

} // namespace lorvan::test
