#pragma once

#include "UserInterface/Widgets/WidgetMessageBox.h"

namespace VeldaClient {

// The message box with one button: it tells, it asks nothing. A long
// detail (a path, the packer's reason) is shortened in the middle to fit
// and shown whole as the tooltip.
class WidgetNoticeBox : public WidgetMessageBox {
    Q_OBJECT

public:
    explicit WidgetNoticeBox(QWidget* parent = nullptr);

    // Shows the message and returns once it is closed. UTF-8 texts.
    void tell(const std::string& message, const std::string& detail);
};

} // namespace VeldaClient
