#include "CliSupport.hpp"
#include "Commands.hpp"
#include "app/display/DotMatrixDisplayRenderer.hpp"
#include "core/LogEntry.hpp"
#include "platform/QtUserDefaults.hpp"
#include "presentation/UserUISettings.hpp"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QImageWriter>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace lorvan::cli {
namespace {

std::string themeNames() {
    std::string names;
    for (const auto theme : allBuiltInThemes)
        names += (names.empty() ? "\"" : ", \"") + std::string(rawValue(theme)) + "\"";
    return names;
}

/// Renders one PNG per theme into `directory`; false (after saying why) when any cannot be written.
bool writePreviews(const std::filesystem::path& directory) {
    std::error_code ec;
    std::filesystem::create_directories(directory, ec);
    if (ec || !std::filesystem::is_directory(directory)) {
        std::printf("Cannot create the preview folder %s: %s\n", directory.string().c_str(),
                    ec ? ec.message().c_str() : "a file of that name exists");
        return false;
    }

    // The seven-segment face needs Qt's font database, which comes with a GUI application;
    // the offscreen platform needs no display. If another application object already exists the
    // renderer falls back to matrix digits.
    static int argc = 1;
    static char name[] = "lorvan-cli";
    static char* argv[] = {name, nullptr};
    std::unique_ptr<QGuiApplication> gui;
    if (!QCoreApplication::instance()) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        // Without a desktop session Qt complains about a runtime folder it does not need here.
        static QtMessageHandler forward = nullptr;
        forward = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext& context, const QString& message) {
                if (message.startsWith(QLatin1String("QStandardPaths: XDG_RUNTIME_DIR not set"))) return;
                if (forward) forward(type, context, message);
            });
        gui = std::make_unique<QGuiApplication>(argc, argv);
        qInstallMessageHandler(forward);
    }

    const DotMatrixRasterizer rasterizer(UnifontGlyphs::shared(), DisplayFont::defaultFont());
    DotMatrixDisplayRenderer renderer(rasterizer);
    const DisplayState state = DisplayState::typical();
    bool allWritten = true;
    for (const auto theme : allBuiltInThemes) {
        const auto file = directory / (std::string(rawValue(theme)) + ".png");
        const QImage image = renderer.render(state, themeOf(theme), 1.0);
        QImageWriter writer(QString::fromStdString(file.string()), "png");
        if (!writer.write(image)) {
            std::printf("Cannot write %s: %s\n", file.string().c_str(),
                        writer.errorString().toStdString().c_str());
            allWritten = false;
            continue;
        }
        std::printf("%s\n", file.string().c_str());
    }
    return allWritten;
}

} // namespace

void addThemesCommand(CLI::App& app, int& status) {
    auto* command = app.add_subcommand("themes", "Lists the display themes; selects one or renders previews");
    auto select = std::make_shared<std::optional<std::string>>();
    auto preview = std::make_shared<std::optional<std::string>>();
    command->add_option("--select", *select, "Makes the theme with this display name the selected one");
    command->add_option("--preview", *preview, "Writes a PNG of the display in every theme into this folder");

    command->callback([&status, select, preview] {
        try {
            QtUserDefaults defaults;
            UserUISettings settings(defaults);
            if (*select) {
                const auto theme = builtInThemeFromRawValue(**select);
                if (!theme) {
                    std::printf("There is no theme named \"%s\". The themes are: %s.\n", (*select)->c_str(),
                                themeNames().c_str());
                    status = exitRefused;
                    return;
                }
                settings.selectBuiltInTheme(*theme);
                if (defaults.saveFailed()) {
                    std::printf("The theme \"%s\" could not be saved to %s.\n", (*select)->c_str(),
                                defaults.fileName().c_str());
                    status = exitRefused;
                    return;
                }
            }
            if (*preview) {
                status = writePreviews(**preview) ? exitSuccess : exitRefused;
                return;
            }
            const auto selected = settings.selectedBuiltInTheme();
            for (const auto theme : allBuiltInThemes)
                std::printf("%s %s\n", selected == theme ? "*" : " ", std::string(rawValue(theme)).c_str());
            status = exitSuccess;
        } catch (const LocalizedError& error) { // the glyphs are missing
            status = reportRefusal(error, false);
        }
    });
}

} // namespace lorvan::cli
