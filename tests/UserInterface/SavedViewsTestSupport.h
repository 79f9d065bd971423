#pragma once

#include "UserInterface/Widgets/WidgetMessageBox.h"
#include "UserInterface/Widgets/WidgetThumbnail.h"

#include <QApplication>
#include <QImage>
#include <QLabel>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <string>

namespace VeldaTest {

// A picture as the scene grabs one: 120 by 80, opaque, with a diagonal
// so that two colours never give the same PNG.
inline QImage viewPicture(QRgb colour)
{
    QImage image(120, 80, QImage::Format_ARGB32);
    image.fill(colour);
    for (int x = 0; x < 120; ++x)
        image.setPixel(x, x * 2 / 3, qRgb(255, 255, 255));
    return image;
}

// A camera standing at `position` and looking at `target`.
inline Velda::Camera cameraAt(const Velda::Vector3& position, const Velda::Vector3& target, float fovDegrees = 60.0f)
{
    Velda::Camera camera;
    camera.setPosition(position);
    camera.lookAt(target, Velda::Vector3(0, 0, 1));
    camera.setPosition(position);
    camera.setNear(0.02f);
    camera.setFar(20.0f);
    camera.setFov(static_cast<float>(fovDegrees / 180.0 * 3.1415925));
    return camera;
}

// Fills a place as taking a view does.
inline void fillView(VeldaClient::WidgetThumbnail* view, const Velda::Camera& camera, const Velda::Vector3& target,
                     QRgb colour)
{
    view->setPicture(viewPicture(colour));
    view->setCamera(camera);
    view->setTarget(target);
    view->setLr(1.25f);
    view->setTr(2.5f);
    view->setUser(L"张三");
    view->setQemidText("1001");
    view->setTime("2026-11-22 09:15");
}

// Answers the next message box that opens, once it is the modal window.
// `seen` receives the box's question and, when shown, its detail line.
inline void answerNextBox(std::function<void(VeldaClient::WidgetMessageBox*)> answer,
                          QStringList* seen = nullptr)
{
    QTimer* poll = new QTimer(qApp);
    QObject::connect(poll, &QTimer::timeout, [poll, answer, seen]() {
        auto* box = qobject_cast<VeldaClient::WidgetMessageBox*>(QApplication::activeModalWidget());
        if (!box || !box->isVisible())
            return;
        poll->deleteLater();
        if (seen) {
            for (QLabel* label : box->findChildren<QLabel*>())
                if ((label->property("DialogQuestion").toBool() || label->property("DialogInfo").toBool()) &&
                    label->isVisibleTo(box))
                    *seen << label->text();
        }
        answer(box);
    });
    poll->start(20);
}

inline void pressYes(VeldaClient::WidgetMessageBox* box)
{
    box->findChild<QPushButton*>("YesConfirm")->click();
}

inline void pressNo(VeldaClient::WidgetMessageBox* box)
{
    box->findChild<QPushButton*>("NoConfirm")->click();
}

} // namespace VeldaTest
