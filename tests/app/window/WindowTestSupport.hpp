#pragma once

#include <QApplication>

namespace lorvan::test {

/// The one QApplication of a window test executable, on the offscreen platform unless the
/// environment names another (the end-to-end run under Xvfb does).
QApplication& application();

} // namespace lorvan::test
