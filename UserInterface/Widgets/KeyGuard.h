#pragma once

#include <QApplication>

namespace VeldaClient {

// The viewer's global keys stand back while a dialog or a popup menu is open:
// its buttons and text fields get the keys, not the view behind it.
inline bool aDialogHasTheKeys()
{
    return QApplication::activeModalWidget() || QApplication::activePopupWidget();
}

} // namespace VeldaClient
