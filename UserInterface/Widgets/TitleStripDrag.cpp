#include "UserInterface/Widgets/TitleStripDrag.h"

#include <QMouseEvent>
#include <QWidget>

namespace VeldaClient {

bool TitleStripDrag::press(QMouseEvent* event)
{
    if (event->pos().y() >= kStripHeight)
        return false;
    if (event->button() == Qt::LeftButton) {
        dragging_ = true;
        offset_ = event->globalPos() - window_->pos();
    }
    return true;
}

void TitleStripDrag::move(QMouseEvent* event)
{
    if (dragging_ && (event->buttons() & Qt::LeftButton)) {
        window_->move(event->globalPos() - offset_);
        event->accept();
    }
}

void TitleStripDrag::release()
{
    dragging_ = false;
}

} // namespace VeldaClient
