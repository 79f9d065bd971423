#include "UserInterface/Widgets/WidgetReviewBar.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QVariant>

namespace VeldaClient {

WidgetReviewBar::WidgetReviewBar(QWidget* parent) : QFrame(parent)
{
    initializeControls();
}

void WidgetReviewBar::initializeControls()
{
    setObjectName("ReviewBar");
    QHBoxLayout* layout = new QHBoxLayout(this);
    layout->setMargin(0);
    layout->setSpacing(4);
    section_ = addButton("剖切", "剖切框 (X)", true);
    measure_ = addButton("测量", "测量距离 (M)", true);
    showAll_ = addButton("全部显示", "显示全部对象 (Shift+H)", false);
}

QPushButton* WidgetReviewBar::addButton(const char* text, const char* tip, bool checkable)
{
    QPushButton* button = new QPushButton(QString::fromUtf8(text));
    button->setProperty("ReviewButton", true);
    button->setToolTip(QString::fromUtf8(tip));
    button->setCheckable(checkable);
    button->setFocusPolicy(Qt::NoFocus);
    layout()->addWidget(button);
    return button;
}

} // namespace VeldaClient
