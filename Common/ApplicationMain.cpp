#include "Common/ApplicationMain.h"

#include "log/Log.h"

#include <QKeyEvent>
#include <QMessageBox>

#include <typeinfo>

namespace VeldaClient {

ApplicationMain::ApplicationMain(int& argc, char** argv) : QApplication(argc, argv) {}

ApplicationMain::~ApplicationMain() = default;

void ApplicationMain::registerKeyHandler(int key, KeyHandler handler)
{
    keyHandlers.emplace(key, std::move(handler));
}

void ApplicationMain::registerKeyTaker(int key, KeyHandler taker)
{
    keyTakers.emplace(key, std::move(taker));
}

bool ApplicationMain::notify(QObject* receiver, QEvent* event)
{
    try {
        if (event->type() == QEvent::KeyPress && !keyTakers.empty()) {
            const auto takers = keyTakers.equal_range(static_cast<QKeyEvent*>(event)->key());
            for (auto it = takers.first; it != takers.second; ++it)
                if (it->second(receiver, event))
                    return true;
        }
        if (event->type() == QEvent::KeyPress && !keyHandlers.empty()) {
            const auto range = keyHandlers.equal_range(static_cast<QKeyEvent*>(event)->key());
            bool consumed = false;
            // Every handler of the key runs, also after one has consumed it.
            for (auto it = range.first; it != range.second; ++it)
                consumed = it->second(receiver, event) || consumed;
            if (consumed)
                return true;
        }
        return QApplication::notify(receiver, event);
    } catch (std::exception& e) {
        _exceptionHanlder(receiver, event, &e);
    } catch (...) {
        _exceptionHanlder(receiver, event, nullptr);
    }
    return false;
}

QString ApplicationMain::errorText(const std::exception* error)
{
    const QString text = error ? QString("错误 : %1").arg(QString::fromUtf8(error->what())) : QString("未知错误");
    return text.length() > 512 ? text.left(512) + "..." : text;
}

QString ApplicationMain::traceText(QObject* receiver)
{
    return QString("发送事件 %1 至 %2 (%3)")
        .arg(typeid(QEvent*).name())
        .arg(receiver ? receiver->objectName() : QString())
        .arg(receiver ? typeid(*receiver).name() : "");
}

void ApplicationMain::_exceptionHanlder(QObject* receiver, QEvent*, std::exception* error)
{
    const QString what = error ? QString::fromUtf8(error->what()) : QString();
    const QString trace = traceText(receiver);
    VLOG << "exception : " << what.toStdString();
    VLOG << "exception detail : " << trace.toStdString();

    QMessageBox box;
    box.setText(errorText(error));
    box.setDetailedText(what + trace);
    box.setIcon(QMessageBox::Critical);
    box.setInformativeText("当前程序发现错误, 是否继续执行?");
    box.setStandardButtons(QMessageBox::Ignore | QMessageBox::Close);
    box.setDefaultButton(QMessageBox::Close);
    if (box.exec() == QMessageBox::Close)
        QCoreApplication::exit(-1);
}

} // namespace VeldaClient
