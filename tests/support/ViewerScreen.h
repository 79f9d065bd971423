#pragma once

#include "ViewerSession.h"

#include <QImage>
#include <QRect>

#include <functional>
#include <string>

// What the end-to-end tests look for on the screen of the viewer's window
// (1024 by 700: a title strip of 28 over a view of 1024 by 672) and the
// viewer's other windows.
namespace VeldaTest {

// Mean absolute difference of two colours, 0 to 255.
int colourDistance(QRgb p, QRgb q);
// The share of a part's pixels farther than 12 from `colour`.
double shareUnlike(const QImage& image, const QRect& part, QRgb colour);
QRgb meanColour(const QImage& image, const QRect& part);

// The gallery's place `number` (1 to 10) and its inner part, without the
// frame and the number.
QRect thumbnail(int number);
QRect thumbnailInside(int number);
// Whether place `number` wears the blue frame of the selected view.
bool selected(const QImage& shot, int number);

// Waits until the screen shows what `shows` looks for, then until it
// stands still; null when it never shows it.
QImage once(ViewerSession& session, const std::function<bool(const QImage&)>& shows, const std::string& name);

// A visible window of the viewer whose size passes `fits`, or "".
std::string viewerWindow(const std::function<bool(int, int)>& fits);
// The viewer's message box (374 by 164) on the screen, or "".
std::string questionWindow();
// A small window of the viewer that is not the question (a context menu), or "".
std::string menuWindow();
// Answers the open question with its "确定(&O)".
int answerYes();

} // namespace VeldaTest
