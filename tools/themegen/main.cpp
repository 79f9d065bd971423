// velda-themegen: draws the images of the viewer's theme into
// OUTPUT_FOLDER/Images/ and writes OUTPUT_FOLDER/Theme.qrc, which compiles
// them with the style sheet into the program's resources.
#include "ThemeArtwork.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QTextStream>

#include <iostream>

int main(int argc, char** argv)
{
    // Fonts need a platform; the build has no display to lend.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (argc != 3) {
        std::cerr << "usage: velda-themegen OUTPUT_FOLDER STYLE_SHEET\n";
        return 2;
    }
    const QString out = QString::fromLocal8Bit(argv[1]);
    const QString sheet = QFileInfo(QString::fromLocal8Bit(argv[2])).absoluteFilePath();
    if (!QFileInfo(sheet).isFile()) {
        std::cerr << "velda-themegen: no style sheet at " << sheet.toStdString() << "\n";
        return 1;
    }
    QDir(out + "/Images").removeRecursively();
    if (!QDir().mkpath(out + "/Images")) {
        std::cerr << "velda-themegen: cannot create " << out.toStdString() << "/Images\n";
        return 1;
    }

    QString qrc;
    QTextStream list(&qrc);
    list << "<!DOCTYPE RCC>\n<RCC version=\"1.0\">\n"
         << "  <qresource prefix=\"/Qss\">\n"
         << "    <file alias=\"Theme.qss\">" << sheet.toHtmlEscaped() << "</file>\n"
         << "  </qresource>\n"
         << "  <qresource prefix=\"/Images\">\n";
    for (const VeldaTheme::ThemeImage& picture : VeldaTheme::themeImages()) {
        const QString path = out + "/Images/" + picture.name;
        if (!picture.image.save(path, "PNG")) {
            std::cerr << "velda-themegen: cannot write " << path.toStdString() << "\n";
            return 1;
        }
        list << "    <file alias=\"" << picture.name.toHtmlEscaped() << "\">Images/" << picture.name.toHtmlEscaped()
             << "</file>\n";
    }
    list << "  </qresource>\n</RCC>\n";
    list.flush();

    QFile file(out + "/Theme.qrc");
    const QByteArray bytes = qrc.toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        std::cerr << "velda-themegen: cannot write " << out.toStdString() << "/Theme.qrc\n";
        return 1;
    }
    return 0;
}
