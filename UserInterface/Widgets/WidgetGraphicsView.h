#pragma once

#include <QGraphicsView>

namespace VeldaClient {

// The graphics view over the GL surface: tells the scene and the camera
// every new size.
class WidgetGraphicsView : public QGraphicsView {
    Q_OBJECT

public:
    WidgetGraphicsView(QGraphicsScene* scene, QWidget* parent = nullptr);

signals:
    void resizeView(int w, int h);

protected:
    void resizeEvent(QResizeEvent* event) override;
};

} // namespace VeldaClient
