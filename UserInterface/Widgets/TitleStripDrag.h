#pragma once

#include <QPoint>

class QMouseEvent;
class QWidget;

namespace VeldaClient {

// Moves a frameless window while its top strip (above y = 31) is dragged
// with the left button. The window forwards its three mouse events and
// passes them on to its base, except a press that press() refuses.
class TitleStripDrag {
public:
    static const int kStripHeight = 31;

    explicit TitleStripDrag(QWidget* window) : window_(window) {}

    // Presses below the strip are neither a drag nor passed on.
    bool press(QMouseEvent* event);
    void move(QMouseEvent* event);
    void release();

    bool dragging() const { return dragging_; }

private:
    QWidget* window_;
    QPoint offset_;
    bool dragging_ = false;
};

} // namespace VeldaClient
