// Build-time tool: renders an SVG drawing of the HMI's own images to a PNG at
// its natural size times a scale (1 for the normal image, 2 for "@2x").
//
//   svg2png <in.svg> <out.png> <scale>

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <QTextStream>

int main(int argc, char** argv)
{
    // No display is needed, and none may be assumed on a build machine.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTextStream err(stderr);
    const QStringList args = app.arguments();
    if (args.size() != 4) {
        err << "usage: svg2png <in.svg> <out.png> <scale>\n";
        return 2;
    }
    bool ok = false;
    const int scale = args.at(3).toInt(&ok);
    if (!ok || scale < 1 || scale > 8) {
        err << "svg2png: scale must be 1 to 8\n";
        return 2;
    }
    QSvgRenderer renderer(args.at(1));
    if (!renderer.isValid()) {
        err << "svg2png: cannot read " << args.at(1) << "\n";
        return 1;
    }
    const QSize size = renderer.defaultSize() * scale;
    if (size.isEmpty() || size.width() > 1024 || size.height() > 1024) {
        err << "svg2png: unusable size in " << args.at(1) << "\n";
        return 1;
    }
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter);
    painter.end();
    if (!image.save(args.at(2), "PNG")) {
        err << "svg2png: cannot write " << args.at(2) << "\n";
        return 1;
    }
    return 0;
}
