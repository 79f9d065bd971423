#include "UserInterface/Widgets/ReviewTools.h"

#include "Common/ApplicationMain.h"
#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/KeyHandler.h"
#include "UserInterface/Widgets/SectionBoxTool.h"
#include "UserInterface/Widgets/ViewPicker.h"
#include "UserInterface/Widgets/WidgetGraphicsScene.h"
#include "UserInterface/Widgets/WidgetPropertyPanel.h"
#include "UserInterface/Widgets/WidgetReviewBar.h"
#include "UserInterface/Widgets/WidgetReviewOverlay.h"
#include "UserInterface/Widgets/WidgetSectionPanel.h"
#include "formats/ProjectProps.h"
#include "log/Log.h"
#include "render/Context3d.h"
#include "scene/Measurement.h"
#include "scene/SceneObjects.h"
#include "scene/SceneRoot.h"
#include "scene/StaticMesh.h"

#include <QKeyEvent>
#include <QPushButton>
#include <QSignalBlocker>

#include <algorithm>
#include <set>

namespace VeldaClient {

namespace {

Velda::ReviewState& review()
{
    return GraphicsContext::instance()->context3d()->review;
}

Velda::SceneRoot& scene()
{
    return *GraphicsContext::instance()->scene();
}

// The bounds of these objects, or of every object when there are none
// (the scene's own bounds leave out the flat ones, the ground among them),
// a little larger so that nothing is cut at first.
Velda::AABB3 boundsOf(std::vector<uint32_t> objects)
{
    if (objects.empty())
        for (Velda::StaticMesh* mesh : scene().getStaticMeshes())
            objects.push_back(mesh->sceneIndex());
    Velda::AABB3 box;
    box.resetEmpty();
    for (uint32_t object : objects)
        if (Velda::StaticMesh* mesh = Velda::meshAt(scene(), object))
            box.extend(mesh->getBox());
    if (box.getMin().x > box.getMax().x)
        box = scene().bounds();
    const Velda::Vector3 margin = (box.getMax() - box.getMin()) * 0.01f + Velda::Vector3(1e-3f, 1e-3f, 1e-3f);
    return Velda::AABB3(box.getMin() - margin, box.getMax() + margin);
}

} // namespace

ReviewTools::ReviewTools(QWidget* overlay) : QObject(overlay)
{
    sectionBox_ = new SectionBoxTool(review(), this);
    panel_ = new WidgetPropertyPanel(overlay);
    sectionPanel_ = new WidgetSectionPanel(*sectionBox_, overlay);
    bar_ = new WidgetReviewBar(overlay);
    overlay_ = new WidgetReviewOverlay(*sectionBox_, overlay);

    connect(sectionBox_, &SectionBoxTool::changed, this, [this]() {
        const QSignalBlocker quiet(bar_->sectionButton());
        bar_->sectionButton()->setChecked(sectionBox_->active());
        GraphicsContext::instance()->requestFrame();
    });
    connect(bar_->sectionButton(), &QPushButton::toggled, this, &ReviewTools::setSectionBox);
    connect(bar_->measureButton(), &QPushButton::toggled, this, &ReviewTools::setMeasuring);
    connect(bar_->showAllButton(), &QPushButton::clicked, this, &ReviewTools::showAll);

    if (ApplicationMain* application = GraphicsContext::instance()->application()) {
        application->registerKeyTaker(Qt::Key_Escape, keyHandler(this, &ReviewTools::_takeEscape));
        application->registerKeyHandler(Qt::Key_H, keyHandler(this, &ReviewTools::_keyHide));
        application->registerKeyHandler(Qt::Key_I, keyHandler(this, &ReviewTools::_keyIsolate));
        application->registerKeyHandler(Qt::Key_X, keyHandler(this, &ReviewTools::_keySection));
        application->registerKeyHandler(Qt::Key_M, keyHandler(this, &ReviewTools::_keyMeasure));
    }
}

ReviewTools::~ReviewTools() = default;

void ReviewTools::attach(WidgetGraphicsScene& scene)
{
    picker_.reset(new ViewPicker(scene));
    scene.addMouseTool(sectionBox_);
    scene.addDecoration(overlay_);
    connect(&scene, &WidgetGraphicsScene::viewClicked, this, &ReviewTools::click);
}

void ReviewTools::place(int w, int h, const QRect& settingMenu, const QRect& miniMap, int galleryTop)
{
    bar_->adjustSize();
    bar_->move(settingMenu.right() + 10, settingMenu.top() + (settingMenu.height() - bar_->height()) / 2);
    sectionPanel_->setFixedWidth(230);
    sectionPanel_->adjustSize();
    sectionPanel_->move(bar_->x(), settingMenu.bottom() + 6);
    // Left of the take-view button, from under the mini map down to the gallery.
    const int top = miniMap.bottom() + 8;
    const int width = std::min(300, std::max(200, w / 4));
    panel_->setFixedWidth(width);
    panel_->setMaximumHeight(std::max(120, std::min(440, galleryTop - 10 - top)));
    panel_->move(std::max(0, w - width - 80), top);
    (void)h;
}

void ReviewTools::click(QPointF at, Qt::KeyboardModifiers modifiers)
{
    if (!picker_)
        return;
    if (measuring_) {
        measureAt(at);
        return;
    }
    const Velda::PickHit hit = picker_->pick(at);
    std::vector<uint32_t> selection = review().selection();
    if (modifiers & Qt::ControlModifier) {
        const auto found = std::find(selection.begin(), selection.end(), hit.object);
        if (found != selection.end())
            selection.erase(found);
        else if (hit.object)
            selection.push_back(hit.object);
    } else {
        selection.clear();
        if (hit.object)
            selection.push_back(hit.object);
    }
    select(selection);
}

void ReviewTools::select(const std::vector<uint32_t>& objects)
{
    review().select(objects);
    const std::vector<uint32_t>& selection = review().selection();
    GraphicsContext* hub = GraphicsContext::instance();
    panel_->showObject(selection.empty() ? nullptr : Velda::meshAt(scene(), selection.back()), hub->projectProps());
    VLOG << "review: " << selection.size() << " selected; " << panel_->summary().toStdString();
    changed();
}

void ReviewTools::hideSelection()
{
    const std::vector<uint32_t> selection = review().selection();
    if (selection.empty())
        return;
    review().hide(selection);
    select({});
    emit displayInfo("已隐藏 " + std::to_string(selection.size()) + " 个对象");
}

void ReviewTools::isolateSelection()
{
    const std::vector<uint32_t> selection = review().selection();
    if (selection.empty())
        return;
    review().isolate(selection, scene().getStaticMeshes().size());
    changed();
    emit displayInfo("已隔离 " + std::to_string(selection.size()) + " 个对象");
}

void ReviewTools::showAll()
{
    if (review().hiddenCount() == 0)
        return;
    review().showAll();
    changed();
    emit displayInfo("已显示全部对象");
}

void ReviewTools::setSectionBox(bool on)
{
    if (on == sectionBox_->active())
        return;
    if (on)
        sectionBox_->start(boundsOf(review().selection()));
    else
        sectionBox_->stop();
    VLOG << "review: section box " << (on ? "on" : "off");
}

void ReviewTools::setMeasuring(bool on)
{
    measuring_ = on;
    points_.clear();
    overlay_->setMeasurement(points_, QString());
    {
        const QSignalBlocker quiet(bar_->measureButton());
        bar_->measureButton()->setChecked(on);
    }
    if (on)
        emit displayInfo("测量: 请点击两个点");
    changed();
}

void ReviewTools::measureAt(const QPointF& at)
{
    const Velda::PickHit hit = picker_->snap(at, 8);
    if (!hit.object)
        return;
    // A third click starts the next measurement.
    if (points_.size() == 2)
        points_.clear();
    points_.push_back(hit.point);
    QString length;
    if (points_.size() == 2) {
        GraphicsContext* hub = GraphicsContext::instance();
        const Velda::ProjectProps* props = hub->projectProps();
        const Velda::MeasuredLength measured =
            Velda::measureLength(points_[0], points_[1], hub->sceneScale(), props ? props->metresPerUnit : 0.0);
        length = QString::fromStdString(measured.text());
        emit displayInfo("距离: " + measured.text());
    }
    overlay_->setMeasurement(points_, length);
    changed();
}

std::vector<std::string> ReviewTools::selectedSources() const
{
    std::vector<std::string> sources;
    const Velda::ProjectProps* props = GraphicsContext::instance()->projectProps();
    if (!props)
        return sources;
    for (uint32_t object : review().selection())
        if (const Velda::StaticMesh* mesh = Velda::meshAt(scene(), object))
            if (const Velda::PropsEntry* entry = props->entryOf(mesh->objectId()))
                if (!entry->source.empty() && std::find(sources.begin(), sources.end(), entry->source) == sources.end())
                    sources.push_back(entry->source);
    return sources;
}

void ReviewTools::selectSources(const std::vector<std::string>& sources)
{
    const Velda::ProjectProps* props = GraphicsContext::instance()->projectProps();
    if (!props || sources.empty())
        return;
    const std::set<std::string> wanted(sources.begin(), sources.end());
    std::vector<uint32_t> objects;
    for (Velda::StaticMesh* mesh : scene().getStaticMeshes())
        if (const Velda::PropsEntry* entry = props->entryOf(mesh->objectId()))
            if (wanted.count(entry->source))
                objects.push_back(mesh->sceneIndex());
    select(objects);
}

void ReviewTools::changed()
{
    GraphicsContext::instance()->requestFrame();
}

bool ReviewTools::_keyHide(QObject*, QKeyEvent* e)
{
    if (e->modifiers() & Qt::ShiftModifier)
        showAll();
    else
        hideSelection();
    return true;
}

bool ReviewTools::_keyIsolate(QObject*, QKeyEvent*)
{
    isolateSelection();
    return true;
}

bool ReviewTools::_keySection(QObject*, QKeyEvent*)
{
    setSectionBox(!sectionBox_->active());
    return true;
}

bool ReviewTools::_keyMeasure(QObject*, QKeyEvent*)
{
    setMeasuring(!measuring_);
    return true;
}

bool ReviewTools::_takeEscape(QObject* receiver, QKeyEvent*)
{
    // An open question or dialog keeps its own Escape.
    const QString name = receiver ? receiver->objectName() : QString();
    if (name.contains("WidgetMessageBox") || name.contains("YesConfirm"))
        return false;
    if (measuring_) {
        setMeasuring(false);
        return true;
    }
    if (!review().selection().empty()) {
        select({});
        return true;
    }
    return false;
}

} // namespace VeldaClient
