#pragma once

#include <QImage>
#include <QString>

#include <vector>

namespace VeldaTheme {

struct ThemeImage {
    QString name;  // the file name under ":/Images/", as the style sheet and code use it
    QImage image;
};

// Every image of the viewer's theme: flat, a dark glass over the 3D view
// with white line icons, the dialogs light with the blue of their title.
std::vector<ThemeImage> themeImages();

} // namespace VeldaTheme
