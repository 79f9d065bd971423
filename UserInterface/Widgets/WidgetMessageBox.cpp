#include "UserInterface/Widgets/WidgetMessageBox.h"

#include <QGraphicsDropShadowEffect>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainterPath>
#include <QPushButton>
#include <QRegion>
#include <QVBoxLayout>

namespace VeldaClient {

WidgetMessageBox::WidgetMessageBox(QWidget* parent) : QDialog(parent), drag(this)
{
    initializeControls();
}

void WidgetMessageBox::initializeControls()
{
    QFrame* top = new QFrame();
    top->setProperty("TopFrame", true);
    top->setFixedHeight(28);
    title = new QLabel("三维浏览器");
    title->setProperty("DialogTitle", true);
    QPushButton* close = new QPushButton();
    close->setFixedSize(28, 28);
    close->setProperty("DialogClose", true);
    connect(close, SIGNAL(clicked(bool)), this, SLOT(_close(bool)));
    QHBoxLayout* topLayout = new QHBoxLayout(top);
    topLayout->addWidget(title);
    topLayout->addStretch();
    topLayout->addWidget(close);
    topLayout->setMargin(0);
    topLayout->setSpacing(0);

    QFrame* content = new QFrame();
    content->setProperty("ContentFrame", true);
    QFrame* icon = new QFrame();
    icon->setFixedSize(36, 36);
    icon->setObjectName("MessageIcon");
    question = new QLabel();
    question->setProperty("DialogQuestion", true);
    detail = new QLabel();
    detail->setProperty("DialogInfo", true);
    QVBoxLayout* texts = new QVBoxLayout();
    texts->addWidget(question);
    texts->addWidget(detail);
    QHBoxLayout* contentLayout = new QHBoxLayout(content);
    contentLayout->addWidget(icon);
    contentLayout->addLayout(texts);
    contentLayout->setContentsMargins(15, 0, 0, 0);

    QFrame* bottom = new QFrame();
    bottom->setProperty("BottomFrame", true);
    bottom->setFixedHeight(37);
    yes = new QPushButton("确定(&O)");
    yes->setObjectName("YesConfirm");
    yes->setFixedSize(70, 24);
    no = new QPushButton("取消(&C)");
    no->setObjectName("NoConfirm");
    no->setFixedSize(70, 24);
    connect(yes, SIGNAL(clicked(bool)), this, SLOT(_resultYes(bool)));
    connect(no, SIGNAL(clicked(bool)), this, SLOT(_resultNo(bool)));
    QHBoxLayout* bottomLayout = new QHBoxLayout(bottom);
    bottomLayout->addStretch();
    bottomLayout->addWidget(yes);
    bottomLayout->addWidget(no);
    bottomLayout->setSpacing(0);
    bottomLayout->setMargin(0);

    container = new QFrame();
    container->setObjectName("mainContainer");
    QVBoxLayout* containerLayout = new QVBoxLayout(container);
    containerLayout->addWidget(top);
    containerLayout->addWidget(content);
    containerLayout->addWidget(bottom);
    containerLayout->setMargin(0);
    containerLayout->setSpacing(0);
    QVBoxLayout* outer = new QVBoxLayout(this);
    outer->addWidget(container);
    outer->setMargin(0);
    outer->setSpacing(0);

    setObjectName("WidgetMessageBox");
    setFixedSize(374, 164);
    setContentsMargins(7, 7, 7, 7);
    // A window of its own even with a parent: frameless alone would make it a child.
    setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint);
    setAttribute(Qt::WA_TranslucentBackground);
    QGraphicsDropShadowEffect* shadow = new QGraphicsDropShadowEffect(this);
    shadow->setOffset(0, 0);
    shadow->setBlurRadius(7);
    setGraphicsEffect(shadow);
}

int WidgetMessageBox::ask(const std::string& questionText, const std::string& detailText)
{
    result = kClosed;
    question->clear();
    detail->clear();
    question->setText(QString::fromUtf8(questionText.c_str()));
    if (detailText.empty()) {
        detail->hide();
    } else {
        detail->setText(QString::fromUtf8(detailText.c_str()));
        detail->show();
    }
    setFocus();
    // exec() shows it: a dialog already shown would not become modal.
    setWindowFlags(windowFlags() | Qt::WindowStaysOnTopHint);
    exec();
    return result;
}

void WidgetMessageBox::_resultYes(bool)
{
    result = kYes;
    close();
}

void WidgetMessageBox::_resultNo(bool)
{
    result = kNo;
    close();
}

void WidgetMessageBox::_close(bool)
{
    _close();
}

void WidgetMessageBox::_close()
{
    result = kClosed;
    close();
}

void WidgetMessageBox::resizeEvent(QResizeEvent* event)
{
    QPainterPath rounded;
    rounded.addRoundedRect(container->rect(), 3.0, 3.0);
    container->setMask(QRegion(rounded.toFillPolygon().toPolygon()));
    QDialog::resizeEvent(event);
}

void WidgetMessageBox::mousePressEvent(QMouseEvent* event)
{
    if (drag.press(event))
        QDialog::mousePressEvent(event);
}

void WidgetMessageBox::mouseMoveEvent(QMouseEvent* event)
{
    drag.move(event);
    QDialog::mouseMoveEvent(event);
}

void WidgetMessageBox::mouseReleaseEvent(QMouseEvent* event)
{
    drag.release();
    QDialog::mouseReleaseEvent(event);
}

void WidgetMessageBox::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        _close();
        return;
    }
    QDialog::keyPressEvent(event);
}

} // namespace VeldaClient
