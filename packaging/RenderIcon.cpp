// Renders the SVG icon into the PNG sizes of the hicolor theme at build time, with the same SVG
// renderer the application's toolkit uses, so no drawing tool is needed to build a package. The
// icon holds no text, so no application object (and no font database) is needed.
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: lorvan-render-icon ICON.svg SIZE OUT.png\n");
        return 2;
    }
    QSvgRenderer renderer{QString::fromLocal8Bit(argv[1])};
    const int size = std::atoi(argv[2]);
    if (!renderer.isValid() || size < 1 || size > 4096) {
        std::fprintf(stderr, "lorvan-render-icon: cannot render %s at size %s\n", argv[1], argv[2]);
        return 1;
    }
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter);
    painter.end();
    if (!image.save(QString::fromLocal8Bit(argv[3]), "PNG")) {
        std::fprintf(stderr, "lorvan-render-icon: cannot write %s\n", argv[3]);
        return 1;
    }
    return 0;
}
