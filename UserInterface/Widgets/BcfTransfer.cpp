#include "UserInterface/Widgets/BcfTransfer.h"

#include "Common/GraphicsContext.h"
#include "Common/ProjectLoader.h"
#include "UserInterface/Widgets/DialogParent.h"
#include "UserInterface/Widgets/WidgetMessageBox.h"
#include "formats/ProjectProps.h"
#include "scene/SceneRoot.h"
#include "service/BcfError.h"
#include "service/BcfExporter.h"
#include "service/BcfImporter.h"
#include "service/BcfPlaces.h"

#include <QFileDialog>
#include <QWidget>

namespace VeldaClient {

namespace {

// Until the index arrived the scene has no scale: cameras would go out and
// come in at the wrong size.
bool modelKnown()
{
    const ProjectLoader* loader = GraphicsContext::instance()->projectLoader();
    return !loader || loader->indexParsed();
}

const char* const kNotYet = "模型尚未加载, 请稍后再试!";

} // namespace

BcfTransfer::BcfTransfer(QWidget* owner, SavedViewGallery* gallery) : QObject(owner), owner_(owner), gallery_(gallery)
{
}

BcfModelFrame BcfTransfer::modelFrame()
{
    GraphicsContext* hub = GraphicsContext::instance();
    BcfModelFrame frame;
    frame.sceneScale = hub->sceneScale();
    if (const Velda::ProjectProps* props = hub->projectProps())
        frame.metresPerUnit = props->metresPerUnit;
    if (Velda::SceneRoot* scene = hub->scene()) {
        const Velda::AABB3& bounds = scene->bounds();
        frame.sceneCentre = (bounds.getMin() + bounds.getMax()) * 0.5f;
    }
    if (hub->camera())
        frame.camera = *hub->camera();
    return frame;
}

void BcfTransfer::exportViews()
{
    if (!modelKnown()) {
        emit displayInfo(kNotYet);
        return;
    }
    const std::vector<BcfView> views = BcfPlaces::filledViews(gallery_);
    if (views.empty()) {
        emit displayInfo("没有可导出的视图!");
        return;
    }
    const QString name =
        QFileDialog::getSaveFileName(dialogParent(owner_), tr("Save File"), QString(), "BCF (*.bcf)");
    if (name.isEmpty())
        return;
    if (BcfExporter(modelFrame()).write(name.toStdString(), views))
        emit displayInfo(QString("BCF 导出完毕: %1 个视图").arg(views.size()).toStdString());
    else
        emit displayInfo("BCF 导出失败!");
}

void BcfTransfer::importViews()
{
    if (!modelKnown()) {
        emit displayInfo(kNotYet);
        return;
    }
    const QString name =
        QFileDialog::getOpenFileName(dialogParent(owner_), tr("Open File"), QString(), "BCF (*.bcf *.bcfzip)");
    if (name.isEmpty())
        return;
    std::vector<BcfView> views;
    try {
        views = BcfImporter(modelFrame()).read(name.toStdString());
    } catch (const BcfError& refusal) {
        WidgetMessageBox box(dialogParent(owner_));
        box.ask("BCF 文件无法导入!", refusal.what());
        return;
    }
    if (views.empty()) {
        emit displayInfo("BCF 文件中没有视图!");
        return;
    }
    // The sun of the views is the dial's as it stands: BCF has none.
    float sunLr = 0.0f, sunTr = 0.0f;
    if (float* angles = emit fetchRadValue()) {
        sunLr = angles[0];
        sunTr = angles[1];
        delete[] angles;
    }
    const BcfPlaces::Placement placement = BcfPlaces::fillFreePlaces(gallery_, views, sunLr, sunTr);
    QString info = QString("BCF 导入完毕: %1 个视图").arg(placement.placed);
    if (placement.left > 0)
        info += QString(", %1 个因没有空位未导入").arg(placement.left);
    emit displayInfo(info.toStdString());
}

} // namespace VeldaClient
