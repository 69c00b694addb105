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

/// The typical state of frame `n` of playback: a second later each frame, both meters moving.
DisplayState playing(long n) {
    DisplayState state = DisplayState::typical();
    state.levelLeft = 0.3 + 0.05 * static_cast<double>(n % 7);
    state.levelRight = 0.8 - 0.05 * static_cast<double>(n % 5);
    state.time = "-0:" + std::to_string(10 + n % 50);
    return state;
}

/// A whole frame of a 600 × 274 point display at scale 2 (1200 × 548 pixels): what a new size,
/// theme or brightness costs, layers included. The brightness alternates so that every frame is
/// drawn whole.
void wholeFrame(benchmark::State& bench, LCBuiltInTheme builtIn) {
    application();
    const DotMatrixRasterizer rasterizer(UnifontGlyphs::shared(), DisplayFont::defaultFont());
    DotMatrixDisplayRenderer renderer(rasterizer);
    const LCTheme& theme = themeOf(builtIn);
    long n = 0;
    for (auto _ : bench) {
        benchmark::DoNotOptimize(renderer.update(playing(n), theme, n % 2 == 0 ? 1.0 : 0.99));
        ++n;
    }
    bench.SetLabel(renderer.usesSevenSegmentFont() ? "DSEG7 digits" : "matrix digits");
}

/// A frame of playback on the same display: only the time and both meters differ from the
/// previous frame, as 30 times a second while the meters move.
void partialFrame(benchmark::State& bench, LCBuiltInTheme builtIn) {
    application();
    const DotMatrixRasterizer rasterizer(UnifontGlyphs::shared(), DisplayFont::defaultFont());
    DotMatrixDisplayRenderer renderer(rasterizer);
    const LCTheme& theme = themeOf(builtIn);
    long n = 0;
    renderer.update(playing(n++), theme, 1.0);
    double pixels = 0;
    for (auto _ : bench) {
        for (const QRect& rect : renderer.update(playing(n), theme, 1.0))
            pixels += static_cast<double>(rect.width()) * rect.height();
        ++n;
    }
    bench.counters["pixels"] = benchmark::Counter(pixels, benchmark::Counter::kAvgIterations);
}

/// Asking whether a state changes anything, when it does not: what a view pays for every
/// published state while paused.
void BM_UnchangedState(benchmark::State& bench) {
    application();
    const DotMatrixRasterizer rasterizer(UnifontGlyphs::shared(), DisplayFont::defaultFont());
    DotMatrixDisplayRenderer renderer(rasterizer);
    const LCTheme& theme = themeOf(LCBuiltInTheme::vhs);
    const DisplayState state = playing(0);
    renderer.update(state, theme, 1.0);
    for (auto _ : bench)
        benchmark::DoNotOptimize(renderer.wouldChange(state, theme, 1.0));
}

void BM_WholeFrameVHS(benchmark::State& bench) {
    wholeFrame(bench, LCBuiltInTheme::vhs);
}
void BM_WholeFrameAmber(benchmark::State& bench) {
    wholeFrame(bench, LCBuiltInTheme::amber);
}
void BM_WholeFrameLCD(benchmark::State& bench) {
    wholeFrame(bench, LCBuiltInTheme::lcd);
}
void BM_PartialFrameVHS(benchmark::State& bench) {
    partialFrame(bench, LCBuiltInTheme::vhs);
}
void BM_PartialFrameAmber(benchmark::State& bench) {
    partialFrame(bench, LCBuiltInTheme::amber);
}
void BM_PartialFrameLCD(benchmark::State& bench) {
    partialFrame(bench, LCBuiltInTheme::lcd);
}

void BM_RasterizeTitle(benchmark::State& bench) {
    const DotMatrixRasterizer rasterizer(UnifontGlyphs::shared(), DisplayFont::defaultFont());
    for (auto _ : bench)
        benchmark::DoNotOptimize(rasterizer.rasterize("Caf\u00E9 No\u00EBl \u2014 \u6771\u4EAC\u306E\u591C"));
}

BENCHMARK(BM_WholeFrameVHS)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WholeFrameAmber)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WholeFrameLCD)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PartialFrameVHS)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PartialFrameAmber)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PartialFrameLCD)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UnchangedState)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RasterizeTitle)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace lorvan
