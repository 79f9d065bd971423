#pragma once

#include <QFrame>

#include <string>

class QGraphicsOpacityEffect;
class QLabel;
class QPropertyAnimation;
class QSequentialAnimationGroup;

namespace VeldaClient {

// A line of text over the 3D view that fades in over two seconds and out
// over one. A new message starts over from transparent.
class WidgetInformation : public QFrame {
    Q_OBJECT

public:
    explicit WidgetInformation(QWidget* parent = nullptr);

    QString text() const;
    qreal opacity() const;

public slots:
    // UTF-8 text.
    void display(std::string info);
    void display();

private:
    void initializeControls();

    QLabel* label = nullptr;
    QGraphicsOpacityEffect* effect = nullptr;
    QPropertyAnimation* fadeIn = nullptr;
    QPropertyAnimation* fadeOut = nullptr;
    QSequentialAnimationGroup* group = nullptr;
};

} // namespace VeldaClient
