// The review tools' widgets and keys in process: the property panel with
// and without props, the section box's faces kept inside their limits and
// the sliders that follow them, H / I / Shift+H / X / M on a scene of three
// objects, and Escape ending a measurement, then the selection, then the
// viewer.
#include "UserInterface/Widgets/ReviewTools.h"
#include "UserInterface/Widgets/SectionBoxTool.h"
#include "UserInterface/Widgets/WidgetPropertyPanel.h"
#include "UserInterface/Widgets/WidgetReviewBar.h"
#include "UserInterface/Widgets/WidgetSectionPanel.h"
#include "UserInterface/Widgets/WidgetUIWrapper.h"
#include "formats/ProjectProps.h"
#include "render/Context3d.h"
#include "scene/SceneRoot.h"
#include "scene/StaticMesh.h"

#include "ViewerTestSupport.h"

#include <QSlider>
#include <QTreeWidget>

using namespace VeldaClient;
using Velda::Vector3;

namespace {

// The rows of the panel as "name=value", groups' children indented.
QStringList rows(const WidgetPropertyPanel& panel)
{
    QStringList out;
    for (QTreeWidgetItemIterator it(panel.tree()); *it; ++it)
        out << QString((*it)->parent() ? "  " : "") + (*it)->text(0) + "=" + WidgetPropertyPanel::valueOf(*it);
    return out;
}

Velda::ReviewState& review()
{
    return GraphicsContext::instance()->context3d()->review;
}

// Three objects side by side along x, ids 11 to 13.
void threeObjects()
{
    Velda::SceneRoot* scene = GraphicsContext::instance()->scene();
    for (int i = 0; i < 3; ++i) {
        auto* mesh = static_cast<Velda::StaticMesh*>(scene->createObject(Velda::SceneRoot::kStaticMesh));
        mesh->setObjectId(11 + i);
        mesh->setName("wall " + std::to_string(i));
        mesh->setBox(Velda::AABB3(Vector3(2.0f * i, 0, 0), Vector3(2.0f * i + 1, 1, 3)));
    }
    scene->extendBounds(Velda::AABB3(Vector3(0, 0, 0), Vector3(5, 1, 3)));
}

} // namespace

class ReviewToolsTest : public VeldaTest::ViewerTest {
    Q_OBJECT

private slots:
    void thePanelShowsWhatPropsSayOrTheMeshAlone()
    {
        Velda::StaticMesh mesh;
        mesh.setObjectId(4);
        mesh.setName("Wand-Int-ERDG-4");
        Velda::ProjectProps props;
        Velda::PropsEntry entry;
        entry.source = "2XQ$n5SLP5MBLyL442paFx";
        entry.name = "Wall 4";
        entry.className = "IfcWall";
        entry.spatial = {{"IfcSite", "Site", "a"}, {"IfcBuildingStorey", "Erdgeschoss", "b"}, {"IfcSpace", "Küche", "c"}};
        entry.sets = {{"Pset_WallCommon", false, {{"IsExternal", "true", "", "IfcBoolean"}}},
                      {"Qto_WallBaseQuantities", true, {{"Width", "200", "mm", ""}}}};
        props.entries.push_back(entry);
        props.objectEntry[4] = 0;

        WidgetPropertyPanel panel;
        panel.showObject(&mesh, &props);
        QVERIFY(panel.isVisibleTo(nullptr) || !panel.isHidden());
        QCOMPARE(rows(panel), QStringList({"名称=Wall 4", "类型=IfcWall", "GlobalId=2XQ$n5SLP5MBLyL442paFx",
                                           "楼层=Erdgeschoss", "Pset_WallCommon=", "  IsExternal=true",
                                           "Qto_WallBaseQuantities=数量", "  Width=200 mm"}));

        // Another project's object, or none with props: the mesh itself.
        mesh.setObjectId(5);
        panel.showObject(&mesh, &props);
        QCOMPARE(rows(panel), QStringList({"名称=Wand-Int-ERDG-4", "三角形=0"}));
        panel.showObject(&mesh, nullptr);
        QCOMPARE(rows(panel).first(), QString("名称=Wand-Int-ERDG-4"));
        panel.showObject(nullptr, &props);
        QVERIFY(panel.isHidden());
        QCOMPARE(panel.tree()->topLevelItemCount(), 0);
    }

    void theSectionBoxStaysInsideItsLimitsAndTheSlidersFollowIt()
    {
        Velda::ReviewState state;
        SectionBoxTool box(state);
        WidgetSectionPanel panel(box);
        box.start(Velda::AABB3(Vector3(0, 0, 0), Vector3(10, 4, 2)));
        QVERIFY(state.sectioned() && !panel.isHidden());
        QCOMPARE(panel.slider(SectionBoxTool::kMaxX)->value(), WidgetSectionPanel::kSteps);

        box.setFace(SectionBoxTool::kMaxZ, 1.0f);
        QCOMPARE(state.section().getMax().z, 1.0f);
        QCOMPARE(panel.slider(SectionBoxTool::kMaxZ)->value(), WidgetSectionPanel::kSteps / 2);
        // Past the limits, or past the opposite face: held back.
        box.setFace(SectionBoxTool::kMinX, -5.0f);
        QCOMPARE(state.section().getMin().x, 0.0f);
        box.setFace(SectionBoxTool::kMinZ, 3.0f);
        QVERIFY(state.section().getMin().z < state.section().getMax().z);
        QVERIFY(state.section().getMax().z - state.section().getMin().z >= 0.01f - 1e-6f);

        // A slider moves its face across the limits.
        panel.slider(SectionBoxTool::kMinY)->setValue(WidgetSectionPanel::kSteps / 4);
        QCOMPARE(state.section().getMin().y, 1.0f);
        box.stop();
        QVERIFY(!state.sectioned() && panel.isHidden());
    }

    void keysHideIsolateCutAndMeasureAndEscapeEndsThemInTurn()
    {
        threeObjects();
        WidgetUIWrapper wrapper;
        ReviewTools* tools = wrapper.reviewTools();
        VeldaTest::CloseProbe window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QWidget view;

        review().select({2});
        QTest::keyClick(&view, Qt::Key_H);
        QVERIFY(review().hidden(2) && review().selection().empty());
        review().select({1});
        QTest::keyClick(&view, Qt::Key_I);
        QVERIFY(!review().hidden(1) && review().hidden(2) && review().hidden(3));
        QTest::keyClick(&view, Qt::Key_H, Qt::ShiftModifier);
        QCOMPARE(review().hiddenCount(), size_t(0));

        // X cuts round the selection, a little larger; the bar's button follows.
        QTest::keyClick(&view, Qt::Key_X);
        QVERIFY(review().sectioned() && tools->reviewBar()->sectionButton()->isChecked());
        QVERIFY(review().section().getMax().x > 1.0f && review().section().getMax().x < 1.2f);
        tools->reviewBar()->sectionButton()->click();
        QVERIFY(!review().sectioned());

        // Escape: first the measurement, then the selection, then the viewer.
        QTest::keyClick(&view, Qt::Key_M);
        QVERIFY(tools->measuring() && tools->reviewBar()->measureButton()->isChecked());
        QTest::keyClick(&view, Qt::Key_Escape);
        QVERIFY(!tools->measuring() && !review().selection().empty() && !window.closed);
        QTest::keyClick(&view, Qt::Key_Escape);
        QVERIFY(review().selection().empty() && !window.closed);
        QTest::keyClick(&view, Qt::Key_Escape);
        QVERIFY(window.closed);
    }
};

VELDA_VIEWER_TEST_MAIN(ReviewToolsTest)
#include "ReviewToolsTest.moc"
