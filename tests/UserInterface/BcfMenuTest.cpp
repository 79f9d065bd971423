// The gallery's BCF entries: where they stand in a thumbnail's menu, views
// out through the menu and the file dialog and back into the free places in
// order (with a count of those that found none), and a refused file that
// shows one message and changes nothing.
#include "UserInterface/Widgets/WidgetGallery.h"
#include "service/BcfArchiveWriter.h"

#include "ViewerTestSupport.h"

#include <QFile>
#include <QMenu>
#include <QSignalSpy>

#include <cmath>
#include <memory>
#include <set>

using namespace VeldaClient;
using namespace VeldaTest;
using Velda::Vector3;

Q_DECLARE_METATYPE(std::string)

namespace {

const char* const kGlobalId = "2O2Fr$t4X7Zf8NOew3FLOH";

// A gallery on the screen whose sun dial stands at (0.25, 0.5).
std::unique_ptr<WidgetGallery> galleryOnScreen()
{
    std::unique_ptr<WidgetGallery> gallery(new WidgetGallery());
    QObject::connect(gallery.get(), &WidgetGallery::fetchRadValue, []() { return new float[2]{0.25f, 0.5f}; });
    gallery->resize(400, 120);
    gallery->show();
    if (!QTest::qWaitForWindowExposed(gallery.get()))
        qWarning("the gallery was not exposed");
    return gallery;
}

// Opens the place's menu as a right click does, notes its entries ("-" for
// a separator, "(off)" behind a disabled one) and picks `entry`; with no
// such entry it closes the menu.
QStringList chooseFromMenu(WidgetThumbnail* place, const QString& entry)
{
    QStringList seen;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&]() {
        QMenu* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (!menu || !menu->isVisible())
            return;
        poll.stop();
        QAction* chosen = nullptr;
        for (QAction* action : menu->actions()) {
            seen << (action->isSeparator() ? "-" : action->text() + (action->isEnabled() ? "" : "(off)"));
            if (action->text() == entry && action->isEnabled())
                chosen = action;
        }
        // Closed first, as a click on an entry does, then the entry acts.
        menu->hide();
        if (chosen)
            chosen->trigger();
    });
    poll.start(20);
    const QPoint at(10, 10);
    QContextMenuEvent event(QContextMenuEvent::Mouse, at, place->mapToGlobal(at));
    QApplication::sendEvent(place, &event);
    return seen;
}

Velda::Camera orthographic(const Vector3& position, const Vector3& target)
{
    Velda::Camera camera = cameraAt(position, target);
    camera.setProjectionType(Velda::Camera::kOrthographic);
    camera.setOrthoBounds(-1.2f, 1.2f, -0.9f, 0.9f);
    return camera;
}

void expectSameView(WidgetThumbnail* expected, WidgetThumbnail* actual)
{
    Velda::Camera a = expected->camera(), b = actual->camera();
    QCOMPARE(a.getProjectionType(), b.getProjectionType());
    for (int i = 0; i < 16; ++i)
        QVERIFY2(std::abs(a.getTransform()[i] - b.getTransform()[i]) < 1e-3f, qPrintable(QString::number(i)));
    QVERIFY(std::abs(a.getFov() - b.getFov()) < 1e-5f ||
            a.getProjectionType() == Velda::Camera::kOrthographic);
    QVERIFY((a.getOrthoBounds() - b.getOrthoBounds()).length() < 1e-3f ||
            a.getProjectionType() == Velda::Camera::kPerspective);
    QCOMPARE(actual->picture().convertToFormat(QImage::Format_ARGB32), expected->picture());
    QCOMPARE(actual->components(), expected->components());
    QCOMPARE(actual->user(), std::wstring(L"张三"));
    QCOMPARE(actual->time(), std::string("2026-11-22 09:15"));
    QCOMPARE(actual->lr(), 0.25f);
    QCOMPARE(actual->tr(), 0.5f);
    QVERIFY(actual->hasImage() && actual->changed());
}

std::string lastInfo(const QSignalSpy& info)
{
    return info.isEmpty() ? std::string() : info.last().at(0).value<std::string>();
}

} // namespace

class BcfMenuTest : public ViewerTest {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qRegisterMetaType<std::string>("std::string");
        qRegisterMetaType<float*>("float*");
    }

    void theEntriesFollowTheDownloadsBehindASeparator()
    {
        std::unique_ptr<WidgetGallery> gallery = galleryOnScreen();
        WidgetThumbnail* one = gallery->thumbnails()[0];
        QCOMPARE(chooseFromMenu(one, QString()), QStringList({"删除(off)", "-", "下载本相机(off)", "下载全部相机(off)",
                                                             "-", "导出 BCF(off)", "导入 BCF"}));
        fillView(gallery->thumbnails()[4], cameraAt(Vector3(1, 2, 3), Vector3()), Vector3(), qRgb(9, 9, 9));
        QCOMPARE(chooseFromMenu(one, QString()).mid(5), QStringList({"导出 BCF", "导入 BCF"}));
    }

    void viewsGoOutAndComeBackIntoTheFreePlacesInOrder()
    {
        TempDir dir;
        std::unique_ptr<WidgetGallery> gallery = galleryOnScreen();
        const std::vector<WidgetThumbnail*> places = gallery->thumbnails();
        QSignalSpy info(gallery.get(), SIGNAL(displayInfo(std::string)));
        fillView(places[2], cameraAt(Vector3(3, -4, 2.5f), Vector3(0.5f, 0, 0.2f), 50.0f), Vector3(), qRgb(200, 0, 0));
        places[2]->setComponents({kGlobalId});
        fillView(places[5], orthographic(Vector3(-2, 3, 6), Vector3()), Vector3(), qRgb(0, 200, 0));
        const std::string path = dir.file("views.bcf");
        answerNextFileDialog(path);
        chooseFromMenu(places[0], "导出 BCF");
        QVERIFY(exists(path));
        QCOMPARE(lastInfo(info), std::string("BCF 导出完毕: 2 个视图"));

        // Place 1 taken meanwhile: the two come into 2 and 4.
        fillView(places[0], cameraAt(Vector3(5, 5, 5), Vector3()), Vector3(), qRgb(1, 1, 1));
        places[0]->setChanged(false);
        answerNextFileDialog(path);
        chooseFromMenu(places[7], "导入 BCF");
        QCOMPARE(lastInfo(info), std::string("BCF 导入完毕: 2 个视图"));
        expectSameView(places[2], places[1]);
        expectSameView(places[5], places[3]);
        QVERIFY(!places[0]->changed());
        QCOMPARE(places[1]->qemidText(), std::string());

        // One free place left for two views.
        for (int i : {4, 6, 7, 8})
            fillView(places[static_cast<size_t>(i)], cameraAt(Vector3(1, 1, 1), Vector3()), Vector3(), qRgb(2, 2, 2));
        answerNextFileDialog(path);
        chooseFromMenu(places[0], "导入 BCF");
        QCOMPARE(lastInfo(info), std::string("BCF 导入完毕: 1 个视图, 1 个因没有空位未导入"));
        expectSameView(places[2], places[9]);
    }

    void aRefusedFileShowsOneMessageAndChangesNothing()
    {
        TempDir dir;
        std::unique_ptr<WidgetGallery> gallery = galleryOnScreen();
        WidgetThumbnail* two = gallery->thumbnails()[1];
        fillView(two, cameraAt(Vector3(1, 2, 3), Vector3()), Vector3(), qRgb(7, 7, 7));
        gallery->clearChanged();
        QSignalSpy info(gallery.get(), SIGNAL(displayInfo(std::string)));

        BcfArchiveWriter zip;
        zip.add("bcf.version", "<Version VersionId=\"2.1\"/>");
        zip.add("../evil.txt", "x");
        const QByteArray bytes = zip.finish();
        const std::string path = dir.file("hostile.bcf");
        QFile file(QString::fromStdString(path));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        file.close();

        QStringList seen;
        answerNextBox(press("YesConfirm"), &seen);
        answerNextFileDialog(path);
        chooseFromMenu(two, "导入 BCF");
        QCOMPARE(seen, QStringList({"BCF 文件无法导入!", "压缩包含不安全的条目名称: ../evil.txt"}));
        QVERIFY(!QApplication::activeModalWidget());
        QCOMPARE(info.count(), 0);
        QVERIFY(!gallery->anyChanged());
        for (WidgetThumbnail* place : gallery->thumbnails())
            QCOMPARE(place->hasImage(), place == two);
        QCOMPARE(two->camera().getPosition(), Vector3(1, 2, 3));
        QCOMPARE(filesBelow(dir.path()), std::set<std::string>({"hostile.bcf"}));
    }
};

VELDA_VIEWER_TEST_MAIN(BcfMenuTest)
#include "BcfMenuTest.moc"
