#pragma once

#include <GL/glew.h>

#include <QOpenGLWidget>

namespace VeldaClient {

// The GL surface of the graphics view. Its first initializeGL, the first
// moment with a current GL context, boots the whole graphics side.
class WidgetGLView : public QOpenGLWidget {
    Q_OBJECT

public:
    explicit WidgetGLView(QWidget* parent = nullptr);
    ~WidgetGLView() override;

protected:
    void initializeGL() override;
    virtual void initializeControls();
};

} // namespace VeldaClient
