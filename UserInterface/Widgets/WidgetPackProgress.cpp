#include "UserInterface/Widgets/WidgetPackProgress.h"

#include <QBoxLayout>
#include <QEventLoop>
#include <QFileInfo>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVariant>
#include <QTimer>

namespace VeldaClient {

namespace {

QString stepText(const QString& step)
{
    if (step == "hash")
        return "正在校验模型文件...";
    if (step == "shapes")
        return "正在生成几何体...";
    if (step == "write")
        return "正在写入项目...";
    return "正在读取模型...";
}

// The layout that holds `widget` among the sub-layouts of its parent's.
QBoxLayout* layoutHolding(QWidget* widget)
{
    QLayout* outer = widget->parentWidget() ? widget->parentWidget()->layout() : nullptr;
    for (int i = 0; outer && i < outer->count(); ++i)
        if (QBoxLayout* inner = qobject_cast<QBoxLayout*>(outer->itemAt(i)->layout()))
            if (inner->indexOf(widget) >= 0)
                return inner;
    return nullptr;
}

} // namespace

WidgetPackProgress::WidgetPackProgress(LocalModelJob* job_, QWidget* parent) : WidgetMessageBox(parent), job(job_)
{
    setObjectName("WidgetPackProgress");
    setWindowTitle("打开模型");
    if (QPushButton* yes = findChild<QPushButton*>("YesConfirm"))
        yes->hide();
    for (QLabel* label : findChildren<QLabel*>()) {
        if (label->property("DialogQuestion").toBool())
            step = label;
        if (label->property("DialogInfo").toBool())
            if (QBoxLayout* texts = layoutHolding(label)) {
                bar = new QProgressBar();
                bar->setObjectName("PackProgressBar");
                bar->setRange(0, 100);
                bar->setTextVisible(false);
                bar->setFixedSize(250, 8);
                texts->setSpacing(2);  // three rows where the box has two
                texts->addWidget(bar);
                texts->addSpacing(10);
            }
    }
    connect(job, SIGNAL(progress(double, QString)), this, SLOT(_progress(double, QString)));
    connect(job, SIGNAL(finished()), this, SLOT(_jobEnded()));
}

LocalModelJob::Outcome WidgetPackProgress::run()
{
    job->start();
    if (job->outcome() != LocalModelJob::Outcome::Running)
        return job->outcome();
    // A moment without the window: a model packed before is ready by then.
    QEventLoop moment;
    connect(job, SIGNAL(finished()), &moment, SLOT(quit()));
    QTimer::singleShot(kShowAfterMs, &moment, SLOT(quit()));
    moment.exec();
    if (job->outcome() != LocalModelJob::Outcome::Running)
        return job->outcome();
    const std::string name = QFileInfo(QString::fromStdString(job->source())).fileName().toStdString();
    ask(stepText(stepShown).toStdString(), name);
    // Closed while the work goes on: cancel, close button or Escape.
    job->cancel();
    return job->outcome();
}

void WidgetPackProgress::_progress(double fraction, QString stepName)
{
    if (stepName != stepShown && step) {
        stepShown = stepName;
        step->setText(stepText(stepName));
    }
    if (bar)
        bar->setValue(static_cast<int>(fraction * 100.0));
}

void WidgetPackProgress::_jobEnded()
{
    if (isVisible())
        close();
}

} // namespace VeldaClient
