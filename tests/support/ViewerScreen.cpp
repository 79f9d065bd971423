#include "ViewerScreen.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace VeldaTest {

int colourDistance(QRgb p, QRgb q)
{
    return (std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) + std::abs(qBlue(p) - qBlue(q))) / 3;
}

double shareUnlike(const QImage& image, const QRect& part, QRgb colour)
{
    int unlike = 0;
    for (int y = part.top(); y <= part.bottom(); ++y)
        for (int x = part.left(); x <= part.right(); ++x)
            unlike += colourDistance(image.pixel(x, y), colour) > 12;
    return static_cast<double>(unlike) / (part.width() * part.height());
}

QRgb meanColour(const QImage& image, const QRect& part)
{
    long r = 0, g = 0, b = 0;
    for (int y = part.top(); y <= part.bottom(); ++y)
        for (int x = part.left(); x <= part.right(); ++x) {
            const QRgb p = image.pixel(x, y);
            r += qRed(p), g += qGreen(p), b += qBlue(p);
        }
    const long n = part.width() * part.height();
    return qRgb(static_cast<int>(r / n), static_cast<int>(g / n), static_cast<int>(b / n));
}

// The gallery stands 10 from the left and 13 above the bottom, 120 high;
// its strip reaches 3 past it, the layout keeps 9, and the places are 122
// by 82, 128 apart.
QRect thumbnail(int number)
{
    return QRect(16 + (number - 1) * 128, 28 + 672 - 133 - 3 + 9, 122, 82);
}

QRect thumbnailInside(int number)
{
    return thumbnail(number).adjusted(26, 6, -4, -4);
}

bool selected(const QImage& shot, int number)
{
    const QRect place = thumbnail(number);
    int blue = 0, all = 0;
    for (int x = place.left() + 30; x < place.right() - 10; ++x, ++all) {
        const QRgb p = shot.pixel(x, place.top());
        blue += qBlue(p) > qRed(p) + 60;
    }
    return blue > all * 3 / 4;
}

QImage once(ViewerSession& session, const std::function<bool(const QImage&)>& shows, const std::string& name)
{
    auto showing = [&]() {
        const QImage shot = session.screenshot(name);
        return !shot.isNull() && shows(shot);
    };
    if (!waitUntil(showing, 30000))
        return QImage();
    const QImage still = session.steadyScreenshot(name);
    return shows(still) ? still : QImage();
}

std::string viewerWindow(const std::function<bool(int, int)>& fits)
{
    std::string ids;
    ViewerSession::xdotool({"search", "--onlyvisible", "--class", "velda-viewer"}, &ids);
    std::istringstream list(ids);
    for (std::string id; std::getline(list, id);) {
        std::string shell;
        ViewerSession::xdotool({"getwindowgeometry", "--shell", id}, &shell);
        int w = 0, h = 0;
        std::istringstream lines(shell);
        for (std::string line; std::getline(lines, line);) {
            std::sscanf(line.c_str(), "WIDTH=%d", &w);
            std::sscanf(line.c_str(), "HEIGHT=%d", &h);
        }
        if (fits(w, h))
            return id;
    }
    return std::string();
}

std::string questionWindow()
{
    return viewerWindow([](int w, int h) { return w == 374 && h == 164; });
}

std::string menuWindow()
{
    return viewerWindow([](int w, int h) { return w > 0 && w < 300 && h > 0 && h < 260; });
}

int answerYes()
{
    return ViewerSession::xdotool({"windowfocus", "--sync", questionWindow(), "key", "alt+o"});
}

} // namespace VeldaTest
