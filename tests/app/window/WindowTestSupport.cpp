#include "WindowTestSupport.hpp"

#include <cstdlib>

namespace lorvan::test {

QApplication& application() {
    static int argc = 1;
    static char name[] = "lorvan_window_tests";
    static char* argv[] = {name, nullptr};
    static QApplication* app = [] {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
        return new QApplication(argc, argv);
    }();
    return *app;
}

} // namespace lorvan::test
