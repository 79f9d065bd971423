// The application object: its table of global keys and the guard that
// turns an escaped exception into a dialog.
#include "ViewerTestSupport.h"

#include <QAbstractButton>
#include <QMessageBox>

#include <stdexcept>

using VeldaClient::ApplicationMain;
using VeldaTest::app;

namespace {

// Throws `what` from its event handler; an empty text throws an int.
class Thrower : public QObject {
public:
    explicit Thrower(std::string what) : what_(std::move(what)) { setObjectName("thrower"); }
    int served = 0;

protected:
    bool event(QEvent* e) override
    {
        if (e->type() != QEvent::User)
            return QObject::event(e);
        ++served;
        if (what_.empty())
            throw 42;
        throw std::runtime_error(what_);
    }

private:
    std::string what_;
};

// Answers the next error dialog with `button`; `seen` gets its main text,
// informative text and detail.
void answerDialog(QMessageBox::StandardButton button, QStringList& seen)
{
    VeldaTest::whenModal<QMessageBox>([button, &seen](QMessageBox* box) {
        seen = QStringList({box->text(), box->informativeText(), box->detailedText()});
        box->button(button)->click();
    });
}

} // namespace

class ApplicationMainTest : public VeldaTest::ViewerTest {
    Q_OBJECT

private slots:
    void keyHandlersOfOneKeyAllRunAndAnyConsumes()
    {
        VeldaTest::KeyProbe probe;
        QStringList calls;
        // The first consumes the key, the second not: both run.
        for (const bool consumes : {true, false})
            app()->registerKeyHandler(Qt::Key_K, [&calls, consumes](QObject*, QEvent*) {
                calls << (consumes ? "first" : "second");
                return consumes;
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

    void aKeyTakerGoesFirstAndStopsTheHandlersOnlyWhenItTakes()
    {
        VeldaTest::KeyProbe probe;
        QStringList calls;
        bool take = true;
        app()->registerKeyHandler(Qt::Key_J, [&calls](QObject*, QEvent*) {
            calls << "handler";
            return true;
        });
        app()->registerKeyTaker(Qt::Key_J, [&calls, &take](QObject*, QEvent*) {
            calls << "taker";
            return take;
        });
        QTest::keyClick(&probe, Qt::Key_J);
        QCOMPARE(calls, QStringList({"taker"}));
        take = false;
        QTest::keyClick(&probe, Qt::Key_J);
        QCOMPARE(calls, QStringList({"taker", "taker", "handler"}));
        QCOMPARE(probe.presses, 0);
    }

    void errorTextIsCutAt512Characters()
    {
        const std::runtime_error longError(std::string(600, 'x'));
        const QString text = ApplicationMain::errorText(&longError);
        QCOMPARE(text.length(), 515);
        QVERIFY(text.startsWith("错误 : xxx") && text.endsWith("x..."));
        const std::runtime_error shortError("short");
        QCOMPARE(ApplicationMain::errorText(&shortError), QString("错误 : short"));
    }

    void ignoreGoesOnWithTheWholeTextInTheDetail()
    {
        // A standard exception and one of unknown type.
        for (const std::string& what : {std::string(600, 'y'), std::string()}) {
            Thrower thrower(what);
            QStringList seen;
            answerDialog(QMessageBox::Ignore, seen);
            QEvent event(QEvent::User);
            QCOMPARE(QCoreApplication::sendEvent(&thrower, &event), false);
            QCOMPARE(seen.size(), 3);
            QCOMPARE(seen[0], what.empty() ? QString("未知错误") : "错误 : " + QString(507, 'y') + "...");
            QCOMPARE(seen[1], QString("当前程序发现错误, 是否继续执行?"));
            // The whole text, then the trace naming the receiver.
            QVERIFY(seen[2].startsWith(QString::fromStdString(what) + "发送事件 "));
            QVERIFY(seen[2].contains(" 至 thrower ("));
        }
    }

    void closeEndsTheEventLoopWithMinusOne()
    {
        Thrower thrower("broken frame");
        QStringList seen;
        QTimer::singleShot(0, [&thrower, &seen]() {
            answerDialog(QMessageBox::Close, seen);
            QCoreApplication::postEvent(&thrower, new QEvent(QEvent::User));
        });
        // A guard against a dialog that never comes.
        QTimer guard;
        connect(&guard, &QTimer::timeout, []() { QCoreApplication::exit(99); });
        guard.start(10000);
        QCOMPARE(QCoreApplication::exec(), -1);
        QCOMPARE(seen.value(0), QString("错误 : broken frame"));
        QCOMPARE(thrower.served, 1);
    }
};

VELDA_VIEWER_TEST_MAIN(ApplicationMainTest)
#include "ApplicationMainTest.moc"
