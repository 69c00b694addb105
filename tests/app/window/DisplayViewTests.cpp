// The display view draws through the renderer's partial frames, only when a new state changes
// pixels, and nothing while it cannot be seen.

#include "WindowTestSupport.hpp"
#include "app/window/DisplayView.hpp"

#include <QMainWindow>
#include <QPainter>
#include <gtest/gtest.h>

namespace lorvan::test {
namespace {

struct ShownDisplay {
    ShownDisplay() {
        view = new window::DisplayView(ui, &window);
        window.setCentralWidget(view);
        window.resize(600, 274);
        window.show();
        state = DisplayState::typical();
        state.progress = 0.5;
        view->setState(state);
        (void)view->grab();
    }
    /// What a renderer of its own draws for the view's current state, whole.
    [[nodiscard]] QImage wholeFrame() const {
        DotMatrixRasterizer rasterizer(UnifontGlyphs::shared(), ui.font.value());
        DotMatrixDisplayRenderer renderer(rasterizer);
        DisplayGeometry g;
        g.width = view->width();
        g.height = view->height();
        g.scale = view->devicePixelRatioF();
        // As the screen shows it: over black, whatever was shown before.
        QImage shown(view->size(), QImage::Format_RGB32);
        shown.fill(Qt::black);
        QPainter(&shown).drawImage(
            0, 0, renderer.render(view->state(), ui.theme.value(), ui.brightness.value(), g));
        return shown;
    }
    [[nodiscard]] QImage shown() const {
        return view->grab().toImage().convertToFormat(QImage::Format_RGB32);
    }

    QApplication& app = application();
    InMemoryUserDefaults defaults;
    UserUISettings ui{defaults};
    QMainWindow window;
    window::DisplayView* view = nullptr;
    DisplayState state;
};

TEST(DisplayView, DrawsOnlyChangedPixelsAndNothingWhileHiddenOrMinimised) {
    ShownDisplay f;
    const long frames = f.view->renderedFrames();
    ASSERT_GE(frames, 1);

    // The progress moves by a hair, less than a dot of the bar: the same pixels.
    f.state.progress = 0.5 + 1e-6;
    f.view->setState(f.state);
    EXPECT_EQ(f.view->renderedFrames(), frames);
    (void)f.view->grab();
    EXPECT_EQ(f.view->renderedFrames(), frames) << "painting again draws nothing new";

    // The time changes, the title and the status do not.
    f.state.time = "-0:01";
    f.view->setState(f.state);
    EXPECT_EQ(f.view->renderedFrames(), frames + 1);
    const QRegion changed = f.view->lastChangedRegion();
    EXPECT_TRUE(changed.intersects(f.view->timeRect().toAlignedRect()));
    EXPECT_LT(changed.boundingRect().width() * changed.boundingRect().height(),
              f.view->width() * f.view->height() / 2)
        << "a partial frame, not the whole display";

    // After partial frames the view shows what a whole frame of the same state is.
    f.state.levelLeft = 0.25;
    f.view->setState(f.state);
    ASSERT_EQ(f.shown().size(), f.wholeFrame().size());
    EXPECT_TRUE(f.shown() == f.wholeFrame());

    // Nothing is drawn while minimised or hidden; the next paint catches up in one frame.
    const long beforeHiding = f.view->renderedFrames();
    f.window.showMinimized();
    f.state.title = "Two Moods";
    f.view->setState(f.state);
    EXPECT_EQ(f.view->state().title, "Two Moods") << "the state is kept";
    EXPECT_EQ(f.view->renderedFrames(), beforeHiding) << "minimised: not drawn";

    f.window.hide();
    f.state.time = "0:07";
    f.view->setState(f.state);
    f.ui.brightness.set(0.6);
    f.ui.selectBuiltInTheme(LCBuiltInTheme::amber);
    EXPECT_EQ(f.view->renderedFrames(), beforeHiding) << "hidden: not drawn";

    f.window.showNormal();
    const QImage caughtUp = f.shown();
    EXPECT_EQ(f.view->renderedFrames(), beforeHiding + 1) << "one frame brings it up to date";
    EXPECT_TRUE(caughtUp == f.wholeFrame());
}

} // namespace
} // namespace lorvan::test
