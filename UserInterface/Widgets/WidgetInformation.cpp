#include "UserInterface/Widgets/WidgetInformation.h"

#include <QGraphicsOpacityEffect>
#include <QHBoxLayout>
#include <QLabel>
#include <QPropertyAnimation>
#include <QSequentialAnimationGroup>
#include <QVBoxLayout>

namespace VeldaClient {

WidgetInformation::WidgetInformation(QWidget* parent) : QFrame(parent)
{
    initializeControls();
}

void WidgetInformation::initializeControls()
{
    label = new QLabel("测试", this);
    QHBoxLayout* row = new QHBoxLayout();
    row->addStretch();
    row->addWidget(label);
    row->addStretch();
    QVBoxLayout* column = new QVBoxLayout();
    column->addStretch();
    column->addLayout(row);
    column->addStretch();
    setLayout(column);

    effect = new QGraphicsOpacityEffect(this);
    effect->setOpacity(0.0);
    setGraphicsEffect(effect);

    fadeIn = new QPropertyAnimation(effect, "opacity", this);
    fadeIn->setDuration(2000);
    fadeIn->setStartValue(0.0);
    fadeIn->setEndValue(1.0);
    fadeOut = new QPropertyAnimation(effect, "opacity", this);
    fadeOut->setDuration(1000);
    fadeOut->setStartValue(1.0);
    fadeOut->setEndValue(0.0);
    group = new QSequentialAnimationGroup(this);
    group->addAnimation(fadeIn);
    group->addAnimation(fadeOut);

    setFixedWidth(label->width() + 80);
}

QString WidgetInformation::text() const
{
    return label->text();
}

qreal WidgetInformation::opacity() const
{
    return effect->opacity();
}

void WidgetInformation::display(std::string info)
{
    group->stop();
    label->setText(QString::fromUtf8(info.c_str()));
    group->start();
}

void WidgetInformation::display()
{
    group->stop();
    group->start();
}

} // namespace VeldaClient
