#pragma once

#include <QFrame>

#include <cstdint>

class QLabel;
class QTreeWidget;
class QTreeWidgetItem;

namespace Velda {
struct ProjectProps;
class StaticMesh;
}

namespace VeldaClient {

// What the selected object is: its name, class, GlobalId and storey, then
// its property and quantity sets from the project's `props`, grouped and
// scrollable. A project without `props` shows the mesh's name and its
// triangles. Right click a row to copy its value.
class WidgetPropertyPanel : public QFrame {
    Q_OBJECT

public:
    explicit WidgetPropertyPanel(QWidget* parent = nullptr);

    // Fills the panel for a mesh (with `props` when the project has them)
    // and shows it; null hides it.
    void showObject(const Velda::StaticMesh* mesh, const Velda::ProjectProps* props);

    QTreeWidget* tree() const { return tree_; }
    // The value of a row: its second column.
    static QString valueOf(const QTreeWidgetItem* row);
    // Every row as "name=value", "; " between them, for the log.
    QString summary() const;

private slots:
    void _contextMenu(const QPoint& at);

private:
    void initializeControls();
    QTreeWidgetItem* addRow(QTreeWidgetItem* parent, const QString& name, const QString& value);

    QLabel* title_ = nullptr;
    QTreeWidget* tree_ = nullptr;
};

} // namespace VeldaClient
