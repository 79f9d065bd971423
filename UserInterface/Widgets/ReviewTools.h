#pragma once

#include "scene/Vector.h"

#include <QObject>
#include <QPointF>
#include <QRect>

#include <memory>
#include <string>
#include <vector>

class QKeyEvent;
class QWidget;

namespace VeldaClient {

class SectionBoxTool;
class ViewPicker;
class WidgetGraphicsScene;
class WidgetPropertyPanel;
class WidgetReviewBar;
class WidgetReviewOverlay;
class WidgetSectionPanel;

// The review tools of the view. A click picks the object under it (Ctrl+
// click adds it to the selection or takes it out), which every pass tints
// and the property panel describes; a click on nothing clears the
// selection. H hides the selection, I isolates it, Shift+H shows all
// again. X (or the bar's button) switches the section box round the
// selection or the whole scene. M (or the button) measures between two
// clicked points, each snapped to a vertex within 8 pixels. Escape ends a
// measurement, then clears the selection; only then does it mean what it
// always meant.
class ReviewTools : public QObject {
    Q_OBJECT

public:
    // Its widgets become children of `overlay` (the overlay of the view).
    explicit ReviewTools(QWidget* overlay);
    ~ReviewTools() override;

    // Takes the view's clicks, offers it the section box's handles and
    // paints over its frames.
    void attach(WidgetGraphicsScene& scene);
    // Places the widgets for an overlay of w by h: the bar beside the
    // setting menu, the section panel under it, the property panel under
    // the mini map and above the gallery.
    void place(int w, int h, const QRect& settingMenu, const QRect& miniMap, int galleryTop);

    WidgetReviewBar* reviewBar() const { return bar_; }
    bool measuring() const { return measuring_; }

    // The selected objects by the GlobalIds of `props` (node paths for
    // other formats), and a selection made from such a list.
    std::vector<std::string> selectedSources() const;
    void selectSources(const std::vector<std::string>& sources);

public slots:
    // A left click on the view, in view pixels.
    void click(QPointF at, Qt::KeyboardModifiers modifiers);
    void hideSelection();
    void isolateSelection();
    void showAll();
    void setSectionBox(bool on);
    void setMeasuring(bool on);

signals:
    void displayInfo(std::string info);

private:
    bool _keyHide(QObject*, QKeyEvent* e);
    bool _keyIsolate(QObject*, QKeyEvent*);
    bool _keySection(QObject*, QKeyEvent*);
    bool _keyMeasure(QObject*, QKeyEvent*);
    bool _takeEscape(QObject*, QKeyEvent*);
    void select(const std::vector<uint32_t>& objects);
    void measureAt(const QPointF& at);
    void changed();

    WidgetPropertyPanel* panel_ = nullptr;
    WidgetSectionPanel* sectionPanel_ = nullptr;
    WidgetReviewBar* bar_ = nullptr;
    WidgetReviewOverlay* overlay_ = nullptr;
    SectionBoxTool* sectionBox_ = nullptr;
    std::unique_ptr<ViewPicker> picker_;
    bool measuring_ = false;
    std::vector<Velda::Vector3> points_;
};

} // namespace VeldaClient
