#include "app/display/DotMatrixDisplayRenderer.hpp"

#include <QGuiApplication>
#include <benchmark/benchmark.h>
#include <string>

namespace lorvan {
namespace {

// The seven-segment face needs Qt's font database; the offscreen platform needs no display.
QGuiApplication& application() {
    static int argc = 1;
    static char name[] = "lorvan-bench-display";
    static char* argv[] = {name, nullptr};
    // Never destroyed: Qt cannot be torn down by a static destructor after main returns.
    static QGuiApplication* const app = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        return new QGuiApplication(argc, argv);
    }();
    return *app;
}

/// One frame of a 600 × 274 point display at scale 2 (1200 × 548 pixels), as the window draws it
/// 60 times a second: the meters move every frame, the time text once a second.
void renderFrame(benchmark::State& bench, LCBuiltInTheme builtIn) {
    application();
    const DotMatrixRasterizer rasterizer(UnifontGlyphs::shared(), DisplayFont::defaultFont());
    DotMatrixDisplayRenderer renderer(rasterizer);
    DisplayState state = DisplayState::typical();
    const LCTheme& theme = themeOf(builtIn);
    QImage frame;
    long n = 0;
    for (auto _ : bench) {
        state.levelLeft = 0.3 + 0.05 * static_cast<double>(n % 7);
        state.levelRight = 0.8 - 0.05 * static_cast<double>(n % 5);
        state.time = "-0:" + std::to_string(10 + (n / 60) % 50);
        renderer.render(frame, state, theme, 1.0);
        benchmark::DoNotOptimize(frame.constBits());
        ++n;
    }
    bench.SetLabel(renderer.usesSevenSegmentFont() ? "DSEG7 digits" : "matrix digits");
}

void BM_RenderDisplayVHS(benchmark::State& bench) {
    renderFrame(bench, LCBuiltInTheme::vhs);
}
void BM_RenderDisplayAmber(benchmark::State& bench) {
    renderFrame(bench, LCBuiltInTheme::amber);
}
void BM_RenderDisplayLCD(benchmark::State& bench) {
    renderFrame(bench, LCBuiltInTheme::lcd);
}

void BM_RasterizeTitle(benchmark::State& bench) {
    const DotMatrixRasterizer rasterizer(UnifontGlyphs::shared(), DisplayFont::defaultFont());
    for (auto _ : bench)
        benchmark::DoNotOptimize(rasterizer.rasterize("Caf\u00E9 No\u00EBl \u2014 \u6771\u4EAC\u306E\u591C"));
}

BENCHMARK(BM_RenderDisplayVHS)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RenderDisplayAmber)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RenderDisplayLCD)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RasterizeTitle)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace lorvan
