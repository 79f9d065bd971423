#pragma once

#include <QScrollArea>

namespace VeldaClient {

// The gallery's strip: every wheel turns it sideways.
class WidgetScrollArea : public QScrollArea {
    Q_OBJECT

public:
    explicit WidgetScrollArea(QWidget* parent = nullptr);

protected:
    void wheelEvent(QWheelEvent* event) override;
};

} // namespace VeldaClient
