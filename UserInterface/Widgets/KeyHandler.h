#pragma once

#include "Common/ApplicationMain.h"
#include "UserInterface/Widgets/KeyGuard.h"

#include <QKeyEvent>
#include <QPointer>

namespace VeldaClient {

// A global key handler that calls a widget's member. The table of the
// application keeps handlers for good, so a handler whose widget is gone
// answers false and lets the key go its normal way; so does every handler
// while a dialog or a popup is open, whose fields and buttons take the keys.
template <typename Widget, typename Method>
ApplicationMain::KeyHandler keyHandler(Widget* widget, Method method)
{
    QPointer<Widget> guard(widget);
    return [guard, method](QObject* receiver, QEvent* event) {
        if (!guard || aDialogHasTheKeys())
            return false;
        return ((*guard).*method)(receiver, static_cast<QKeyEvent*>(event));
    };
}

} // namespace VeldaClient
