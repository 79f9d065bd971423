// The application object: its table of global keys and the guard that
// turns an escaped exception into a dialog.
#include "Common/ApplicationMain.h"

#include "ViewerTestMain.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QTimer>
#include <QWidget>

#include <stdexcept>

using VeldaClient::ApplicationMain;

namespace {

ApplicationMain* app()
{
    return static_cast<ApplicationMain*>(QCoreApplication::instance());
}

// Counts the key presses that reach it.
class KeyProbe : public QWidget {
public:
    int presses = 0;
    int releases = 0;

protected:
    void keyPressEvent(QKeyEvent*) override { ++presses; }
    void keyReleaseEvent(QKeyEvent*) override { ++releases; }
};

// Throws from its event handler.
class Thrower : public QObject {
public:
    explicit Thrower(std::string what) : what_(std::move(what)) { setObjectName("thrower"); }
    int served = 0;

protected:
    bool event(QEvent* e) override
    {
        if (e->type() == QEvent::User) {
            ++served;
            if (what_.empty())
                throw 42;
            throw std::runtime_error(what_);
        }
        return QObject::event(e);
    }

private:
    std::string what_;
};

struct DialogSeen {
    QString text;
    QString detail;
    QString informative;
    bool seen = false;
};

// Answers the next error dialog with `button` once it shows, noting what it
// showed.
void answerDialog(QMessageBox::StandardButton button, DialogSeen& seen)
{
    QTimer* poll = new QTimer(QCoreApplication::instance());
    QObject::connect(poll, &QTimer::timeout, [button, &seen, poll]() {
        QMessageBox* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        poll->deleteLater();
        seen.seen = true;
        seen.text = box->text();
        seen.detail = box->detailedText();
        seen.informative = box->informativeText();
        box->button(button)->click();
    });
    poll->start(20);
}

} // namespace

class ApplicationMainTest : public QObject {
    Q_OBJECT

private slots:
    void keyHandlersOfOneKeyAllRunAndAnyConsumes()
    {
        KeyProbe probe;
        QStringList calls;
        app()->registerKeyHandler(Qt::Key_K, [&calls](QObject*, QEvent*) {
            calls << "first";
            return true;
        });
        app()->registerKeyHandler(Qt::Key_K, [&calls](QObject*, QEvent*) {
            calls << "second";
            return false;
        });
        QTest::keyClick(&probe, Qt::Key_K);
        QCOMPARE(calls, QStringList({"first", "second"}));
        QCOMPARE(probe.presses, 0);
        // Only presses consult the table: the release arrives as usual.
        QCOMPARE(probe.releases, 1);

        // A key whose handlers all answer false goes its normal way.
        app()->registerKeyHandler(Qt::Key_L, [](QObject*, QEvent*) { return false; });
        QTest::keyClick(&probe, Qt::Key_L);
        QCOMPARE(probe.presses, 1);
    }

    void errorTextIsCutAt512Characters()
    {
        const std::runtime_error longError(std::string(600, 'x'));
        const QString text = ApplicationMain::errorText(&longError);
        QCOMPARE(text.length(), 515);
        QVERIFY(text.startsWith("错误 : xxx"));
        QVERIFY(text.endsWith("x..."));
        const std::runtime_error shortError("short");
        QCOMPARE(ApplicationMain::errorText(&shortError), QString("错误 : short"));
        QCOMPARE(ApplicationMain::errorText(nullptr), QString("未知错误"));
    }

    void ignoreGoesOnAndShowsTheWholeText()
    {
        Thrower thrower(std::string(600, 'y'));
        DialogSeen seen;
        answerDialog(QMessageBox::Ignore, seen);
        QEvent event(QEvent::User);
        QCOMPARE(QCoreApplication::sendEvent(&thrower, &event), false);
        QVERIFY(seen.seen);
        QCOMPARE(seen.text.length(), 515);
        QCOMPARE(seen.informative, QString("当前程序发现错误, 是否继续执行?"));
        // The detail has the whole text, then the trace naming the receiver.
        QVERIFY(seen.detail.startsWith(QString(600, 'y') + "发送事件 "));
        QVERIFY(seen.detail.contains(" 至 thrower ("));

        // The next event is served as usual.
        KeyProbe probe;
        QTest::keyClick(&probe, Qt::Key_M);
        QCOMPARE(probe.presses, 1);
    }

    void anExceptionOfUnknownTypeIsGuardedToo()
    {
        Thrower thrower("");
        DialogSeen seen;
        answerDialog(QMessageBox::Ignore, seen);
        QEvent event(QEvent::User);
        QCoreApplication::sendEvent(&thrower, &event);
        QVERIFY(seen.seen);
        QCOMPARE(seen.text, QString("未知错误"));
        QVERIFY(seen.detail.startsWith("发送事件 "));
    }

    void closeEndsTheEventLoopWithMinusOne()
    {
        Thrower thrower("broken frame");
        DialogSeen seen;
        QTimer::singleShot(0, [&thrower, &seen]() {
            answerDialog(QMessageBox::Close, seen);
            QCoreApplication::postEvent(&thrower, new QEvent(QEvent::User));
        });
        // A guard against a dialog that never comes.
        QTimer guard;
        guard.setSingleShot(true);
        connect(&guard, &QTimer::timeout, []() { QCoreApplication::exit(99); });
        guard.start(10000);
        QCOMPARE(QCoreApplication::exec(), -1);
        QVERIFY(seen.seen);
        QCOMPARE(thrower.served, 1);
    }
};

VELDA_VIEWER_TEST_MAIN(ApplicationMainTest)
#include "ApplicationMainTest.moc"
