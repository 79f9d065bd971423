// The theme: the resources under their exact names, the sheet's selectors
// against what the real window's widgets set, and the font chain that must
// render Chinese on this system.
#include "Common/GraphicsContext.h"
#include "UserInterface/Forms/FormMain.h"
#include "UserInterface/Widgets/WidgetGraphicsScene.h"
#include "UserInterface/Widgets/WidgetGraphicsView.h"
#include "UserInterface/Widgets/WidgetMainCentralView.h"
#include "UserInterface/Widgets/WidgetMessageBox.h"
#include "UserInterface/Widgets/WidgetUIWrapper.h"

#include "ViewerTestMain.h"

#include <QDirIterator>
#include <QFile>
#include <QFontInfo>
#include <QLabel>
#include <QRegularExpression>
#include <QResource>
#include <QSet>

#include <memory>

using namespace VeldaClient;

namespace {

const char* const kImages[] = {
    "Icon3D.png", "logo.png", "FormTitle.png", "TitleBar.png", "TitleBar2.png", "最小化.png", "最大化.png", "恢复.png",
    "关闭.png", "意见.png", "保存.png", "保存-划过.png", "相机A.png", "相机A-划过.png", "相机B.png", "相机B-划过.png",
    "四季.png", "四季-划过.png", "设置.png", "设置-划过.png", "收起.png", "收起-划过.png", "展开.png", "展开-划过.png",
    "拍照.png", "拍照-划过.png", "光白-光.png", "光白-光(划过).png", "光白-白.png", "光白-白(划过).png", "Ask.png",
    "提示框.png", "按钮.png", "按钮-划过.png", "按钮-按下.png", "按钮-选中划过.png", "delete.png", "delete2.png",
    "设置背景.png", "设置下拉菜单.png", "设置下拉菜单选项背景.png", "光圈圆点-内环.png", "光圈圆点-内环(划过).png",
    "slider-bg.png", "缩略图描边.png", "缩略图描边-划过.png", "缩略图透明蒙版.png", "数字背景.png", "1.png", "2.png",
    "3.png", "4.png", "5.png", "6.png", "7.png", "8.png", "9.png", "10.png", "进度条背景.png", "进度条内部背景.png",
    "进度条滑块.png", "进度条分割线.png", "focus-center.png"};

// Names the sheet addresses and some widget must carry.
const char* const kObjectNames[] = {
    "SettingPanel", "Save", "CameraA", "CameraB", "WhiteModelLight", "WhiteModelWhite", "Season", "Setting", "Shrink",
    "Expand", "screenShotNumberBg", "screenShotCover", "StatusInfo", "TotalPiece", "ModelInfo", "StatusFrame",
    "FrameSpace", "FrameTopBorder", "Feedback", "FormMin", "FormMax", "FormNormal", "WidgetInformation",
    "ProgressBar", "ProgressSplitter", "FinishedLogo", "MiniMap", "GV"};
const char* const kProperties[] = {"FormTop",     "FormTitle",        "FormBottom", "Thumbnail",
                                   "TakePhoto",   "GalleryContainer", "DialogClose"};
const char* const kDialogNames[] = {"WidgetMessageBox", "YesConfirm", "NoConfirm", "MessageIcon", "mainContainer"};
const char* const kDialogProperties[] = {"TopFrame", "DialogTitle", "DialogQuestion", "DialogInfo", "ContentFrame",
                                         "BottomFrame", "DialogClose"};

QString sheet()
{
    QFile file(":/Qss/Theme.qss");
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// The selector text of the sheet, comments and declarations left out.
QString selectors()
{
    QString text = sheet();
    text.remove(QRegularExpression("/\\*.*?\\*/", QRegularExpression::DotMatchesEverythingOption));
    text.remove(QRegularExpression("\\{[^}]*\\}"));
    return text;
}

void collect(QObject* root, QSet<QString>& names, QSet<QString>& properties)
{
    QList<QObject*> all = root->findChildren<QObject*>();
    all << root;
    for (QObject* o : all) {
        names << o->objectName();
        for (const QByteArray& p : o->dynamicPropertyNames())
            if (o->property(p).toBool())
                properties << QString::fromUtf8(p);
    }
}

} // namespace

class ThemeTest : public QObject {
    Q_OBJECT

private slots:
    void init() { GraphicsContext::instance()->setApplication(static_cast<ApplicationMain*>(qApp)); }
    void cleanup() { GraphicsContext::destroyInstance(); }

    void everyImageAndTheSheetAreThereUncompressed()
    {
        QSet<QString> present;
        QDirIterator it(":/Images");
        while (it.hasNext())
            present << QFileInfo(it.next()).fileName();
        for (const char* name : kImages) {
            const QString path = QString(":/Images/") + QString::fromUtf8(name);
            QVERIFY2(present.contains(QString::fromUtf8(name)), name);
            QVERIFY2(!QImage(path).isNull(), name);
            QCOMPARE(QResource(path).compressionAlgorithm(), QResource::NoCompression);
        }
        QCOMPARE(present.size(), 63);

        QFile file(":/Qss/Theme.qss");
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll().startsWith("\xEF\xBB\xBF"));
        QCOMPARE(QResource(":/Qss/Theme.qss").compressionAlgorithm(), QResource::NoCompression);

        // Pictures the widgets show at their own size.
        QCOMPARE(QImage(":/Images/设置背景.png").size(), QSize(280, 210));
        QCOMPARE(QImage(":/Images/保存-划过.png").size(), QSize(46, 46));
        QCOMPARE(QImage(":/Images/缩略图描边.png").size(), QSize(122, 82));
        QCOMPARE(QImage(":/Images/focus-center.png").size(), QSize(14, 14));
    }

    void everySheetImageExistsButTheFourKnownToBeMissing()
    {
        QSet<QString> missing;
        QRegularExpressionMatchIterator urls = QRegularExpression("url\\(([^;\\s]+\\.png)\\)").globalMatch(sheet());
        while (urls.hasNext()) {
            const QString path = urls.next().captured(1);
            if (!QFile::exists(path))
                missing << path;
        }
        QCOMPARE(missing, QSet<QString>({":/Images/button.png", ":/Images/button-pressed.png",
                                         ":/Images/button-high-light.png", ":/Images/wlogo.png"}));
    }

    void theSheetAddressesWhatTheWindowsWidgetsSet()
    {
        std::unique_ptr<FormMain> form(new FormMain());
        WidgetMessageBox box;
        QSet<QString> names, properties;
        collect(form.get(), names, properties);
        collect(form->centralView()->graphicsScene()->uiWrapper(), names, properties);
        QSet<QString> dialogNames, dialogProperties;
        collect(&box, dialogNames, dialogProperties);

        const QString text = selectors();
        for (const char* name : kObjectNames) {
            QVERIFY2(names.contains(name), name);
            QVERIFY2(text.contains(QString("#") + name), name);
        }
        for (const char* name : kDialogNames) {
            QVERIFY2(dialogNames.contains(name), name);
            QVERIFY2(text.contains(QString("#") + name), name);
        }
        for (const char* property : kProperties) {
            QVERIFY2(properties.contains(property), property);
            QVERIFY2(text.contains(QString("[") + property + "]"), property);
        }
        for (const char* property : kDialogProperties) {
            QVERIFY2(dialogProperties.contains(property), property);
            QVERIFY2(text.contains(QString("[") + property + "]"), property);
        }
        for (int n = 1; n <= 10; ++n) {
            const QString number = QString("screenShotNumber%1").arg(n);
            QVERIFY2(properties.contains(number), qPrintable(number));
            QVERIFY2(text.contains("QFrame[" + number + "]"), qPrintable(number));
        }
    }

    void chineseTextFindsTheInstalledCjkFont()
    {
        const QString theme = sheet();
        QVERIFY(theme.contains("'Segoe UI', Microsoft YaHei, 微软雅黑, 宋体, 'WenQuanYi Micro Hei'"));
        const QString before = qApp->styleSheet();
        qApp->setStyleSheet(theme);
        QLabel label("模型上传:张三");
        label.ensurePolished();
        const QFontInfo font(label.font());
        qApp->setStyleSheet(before);
        QCOMPARE(font.family(), QString("WenQuanYi Micro Hei"));
        QVERIFY(QFontMetrics(label.font()).inFontUcs4(0x6A21));  // 模
    }
};

VELDA_VIEWER_TEST_MAIN(ThemeTest)
#include "ThemeTest.moc"
