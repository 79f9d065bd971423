#include "UserInterface/Widgets/WidgetProgressBar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>

namespace VeldaClient {

WidgetProgressBar::WidgetProgressBar(QWidget* parent) : QFrame(parent)
{
    initializeControls();
}

void WidgetProgressBar::initializeControls()
{
    innerBar = new QProgressBar(this);
    innerBar->setMinimumWidth(185);
    innerBar->setFixedHeight(12);
    innerBar->setRange(0, 100);
    innerBar->setValue(0);
    innerBar->setTextVisible(true);
    innerBar->setObjectName("InnerProgressBar");

    splitter = new QFrame(this);
    splitter->setFixedSize(2, 18);
    splitter->setObjectName("ProgressSplitter");

    statusInfo = new QLabel("下载索引...", this);
    statusInfo->setObjectName("StatusInfo");

    finishedLogo = new QFrame(this);
    finishedLogo->setFixedSize(18, 18);
    finishedLogo->setObjectName("FinishedLogo");
    finishedLogo->hide();

    QHBoxLayout* layout = new QHBoxLayout();
    layout->addStretch();
    layout->addWidget(innerBar);
    layout->addWidget(splitter);
    layout->addWidget(statusInfo);
    layout->addWidget(finishedLogo);
    layout->addStretch();
    layout->setMargin(0);
    layout->setSpacing(3);
    layout->setContentsMargins(0, 0, 0, 0);
    setLayout(layout);
}

void WidgetProgressBar::setValue(int value)
{
    if (value != 0)
        statusInfo->setText("加载资源...");
    if (value == 100) {
        innerBar->hide();
        splitter->hide();
        statusInfo->hide();
        finishedLogo->show();
    }
    innerBar->setValue(value);
}

} // namespace VeldaClient
