// velda-icongen: draws the program's SVG icon as PNG files for the desktop's
// icon theme, OUTPUT/<n>x<n>/apps/<name>.png for each size, at build time.
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");  // the build has no display to lend
    QGuiApplication app(argc, argv);
    if (argc < 4) {
        std::cerr << "usage: velda-icongen ICON.svg OUTPUT_FOLDER SIZE...\n";
        return 2;
    }
    QSvgRenderer svg(QString::fromLocal8Bit(argv[1]));
    if (!svg.isValid()) {
        std::cerr << "velda-icongen: cannot read " << argv[1] << "\n";
        return 1;
    }
    const QString name = QFileInfo(QString::fromLocal8Bit(argv[1])).completeBaseName();
    for (int i = 3; i < argc; ++i) {
        const int size = std::atoi(argv[i]);
        if (size < 8 || size > 1024) {
            std::cerr << "velda-icongen: a size from 8 to 1024, not " << argv[i] << "\n";
            return 2;
        }
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        svg.render(&painter);
        painter.end();
        const QString folder = QString("%1/%2x%2/apps").arg(QString::fromLocal8Bit(argv[2])).arg(size);
        if (!QDir().mkpath(folder) || !image.save(folder + "/" + name + ".png", "PNG")) {
            std::cerr << "velda-icongen: cannot write " << folder.toStdString() << "\n";
            return 1;
        }
    }
    return 0;
}
