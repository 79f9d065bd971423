#include "UserInterface/Widgets/WidgetPropertyPanel.h"

#include "UserInterface/Widgets/DialogParent.h"

#include "formats/ProjectProps.h"
#include "scene/SceneObjects.h"
#include "scene/StaticMesh.h"

#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <QVBoxLayout>

#include <algorithm>

namespace VeldaClient {

namespace {

QString text(const std::string& utf8)
{
    return QString::fromUtf8(utf8.c_str(), static_cast<int>(utf8.size()));
}

// The storey among the levels that hold the object, else the innermost.
const Velda::SpatialLevel* storeyOf(const Velda::PropsEntry& entry)
{
    for (const Velda::SpatialLevel& level : entry.spatial)
        if (level.className == "IfcBuildingStorey")
            return &level;
    return entry.spatial.empty() ? nullptr : &entry.spatial.back();
}

} // namespace

WidgetPropertyPanel::WidgetPropertyPanel(QWidget* parent) : QFrame(parent)
{
    initializeControls();
}

void WidgetPropertyPanel::initializeControls()
{
    setObjectName("PropertyPanel");
    title_ = new QLabel("属性");
    title_->setObjectName("PropertyTitle");
    tree_ = new QTreeWidget();
    tree_->setObjectName("PropertyTree");
    tree_->setColumnCount(2);
    tree_->setHeaderLabels({"名称", "值"});
    tree_->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    tree_->header()->setStretchLastSection(true);
    tree_->setRootIsDecorated(true);
    tree_->setSelectionMode(QAbstractItemView::SingleSelection);
    tree_->setContextMenuPolicy(Qt::CustomContextMenu);
    tree_->setWordWrap(true);
    connect(tree_, &QTreeWidget::customContextMenuRequested, this, &WidgetPropertyPanel::_contextMenu);

    QVBoxLayout* layout = new QVBoxLayout(this);
    layout->setMargin(0);
    layout->setSpacing(0);
    layout->addWidget(title_);
    layout->addWidget(tree_);
    hide();
}

QTreeWidgetItem* WidgetPropertyPanel::addRow(QTreeWidgetItem* parent, const QString& name, const QString& value)
{
    QTreeWidgetItem* row = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(tree_);
    row->setText(0, name);
    row->setText(1, value);
    row->setToolTip(1, value);
    return row;
}

void WidgetPropertyPanel::showObject(const Velda::StaticMesh* mesh, const Velda::ProjectProps* props)
{
    tree_->clear();
    if (!mesh) {
        hide();
        return;
    }
    const Velda::PropsEntry* entry = props ? props->entryOf(mesh->objectId()) : nullptr;
    if (!entry) {
        addRow(nullptr, "名称", text(mesh->getName()));
        addRow(nullptr, "三角形", QString::number(Velda::triangleCount(*mesh)));
    } else {
        addRow(nullptr, "名称", text(entry->name));
        addRow(nullptr, "类型", text(entry->className));
        addRow(nullptr, "GlobalId", text(entry->source));
        if (const Velda::SpatialLevel* storey = storeyOf(*entry))
            addRow(nullptr, "楼层", text(storey->name));
        for (const Velda::PropSet& set : entry->sets) {
            QTreeWidgetItem* group = addRow(nullptr, text(set.name), set.quantities ? "数量" : QString());
            group->setFirstColumnSpanned(!set.quantities);
            for (const Velda::PropValue& value : set.values) {
                const QString shown = value.unit.empty() ? text(value.value) : text(value.value) + " " + text(value.unit);
                addRow(group, text(value.name), shown);
            }
            group->setExpanded(true);
        }
    }
    // As tall as its rows, up to the room it was given.
    int rows = 0;
    for (QTreeWidgetItemIterator it(tree_, QTreeWidgetItemIterator::NotHidden); *it; ++it)
        ++rows;
    const int wanted = title_->sizeHint().height() + tree_->header()->sizeHint().height() +
                       rows * std::max(1, tree_->sizeHintForRow(0)) + 2 * tree_->frameWidth() + 8;
    resize(width(), std::min(maximumHeight(), wanted));
    show();
    raise();
}

QString WidgetPropertyPanel::valueOf(const QTreeWidgetItem* row)
{
    return row ? row->text(1) : QString();
}

QString WidgetPropertyPanel::summary() const
{
    QStringList rows;
    for (QTreeWidgetItemIterator it(tree_); *it; ++it)
        rows << (*it)->text(0) + "=" + valueOf(*it);
    return rows.join("; ");
}

void WidgetPropertyPanel::_contextMenu(const QPoint& at)
{
    QTreeWidgetItem* row = tree_->itemAt(at);
    if (!row)
        return;
    // Parented to the real window: a menu of the overlay's would be drawn
    // inside the graphics scene.
    QMenu menu(dialogParent(this));
    QAction* copy = menu.addAction("复制");
    copy->setEnabled(!valueOf(row).isEmpty());
    if (menu.exec(QCursor::pos()) == copy)
        QApplication::clipboard()->setText(valueOf(row));
}

} // namespace VeldaClient
