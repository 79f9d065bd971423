#pragma once

#include "jobs/FileHelpers.h"

#include <QFileDialog>
#include <QGraphicsProxyWidget>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QWidget>

#include <functional>
#include <string>

namespace VeldaClient {

// The parent for a dialog opened by an overlay widget. The overlay lives in
// the graphics scene; a dialog parented there would be embedded in the
// scene as a framed sub-window. It belongs to the real window instead.
inline QWidget* dialogParent(QWidget* widget)
{
    QGraphicsProxyWidget* proxy = widget ? widget->window()->graphicsProxyWidget() : nullptr;
    if (proxy && proxy->scene() && !proxy->scene()->views().isEmpty())
        return proxy->scene()->views().first()->window();
    return widget;
}

// Asks for a 3ds Max script file and writes the text that `script` makes
// into it; nothing when the user cancels.
inline void saveScriptAs(QWidget* widget, const std::function<std::string()>& script)
{
    const QString name = QFileDialog::getSaveFileName(dialogParent(widget), QObject::tr("Save File"), QString(),
                                                      "3ds Max Script (*.ms)");
    if (!name.isEmpty())
        Velda::writeTextFile(name.toStdString(), script());
}

} // namespace VeldaClient
