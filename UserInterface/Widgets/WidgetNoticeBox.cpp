#include "UserInterface/Widgets/WidgetNoticeBox.h"

#include <QFontMetrics>
#include <QLabel>
#include <QPushButton>
#include <QVariant>

namespace VeldaClient {

WidgetNoticeBox::WidgetNoticeBox(QWidget* parent) : WidgetMessageBox(parent)
{
    if (QPushButton* no = findChild<QPushButton*>("NoConfirm"))
        no->hide();
}

void WidgetNoticeBox::tell(const std::string& message, const std::string& detail)
{
    QString shown = QString::fromUtf8(detail.c_str());
    for (QLabel* label : findChildren<QLabel*>())
        if (label->property("DialogInfo").toBool()) {
            ensurePolished();
            label->ensurePolished();
            label->setToolTip(shown);
            shown = QFontMetrics(label->font()).elidedText(shown, Qt::ElideMiddle, 280);
        }
    ask(message, shown.toStdString());
}

} // namespace VeldaClient
