#pragma once

#include "service/SavedViewSlot.h"

#include <QFrame>

#include <string>
#include <vector>

class QButtonGroup;
class QHBoxLayout;
class QKeyEvent;

namespace VeldaClient {

class WidgetScrollArea;
class WidgetThumbnail;

// The strip of the project's ten saved views at the bottom of the window.
// It reads the views from the service when it is made (blocking), scrolls
// sideways by wheel or drag, and selects a view by its digit key (0 is 10).
class WidgetGallery : public QFrame, public SavedViewGallery {
    Q_OBJECT

public:
    explicit WidgetGallery(QWidget* parent = nullptr);
    ~WidgetGallery() override;

    // The ten in number order.
    std::vector<WidgetThumbnail*> thumbnails() const { return thumbnails_; }
    std::vector<SavedViewSlot*> viewSlots() const override;
    // The first with keyboard focus, else the first of all.
    WidgetThumbnail* focusedThumbnail() const;
    bool anyChanged() const;
    void clearChanged();
    WidgetScrollArea* scrollArea() const { return scrollArea_; }

signals:
    void thumbnailClicked(bool);
    float* fetchRadValue();
    void setRadValue(float* values);
    void displayInfo(std::string info);

protected slots:
    // Writes the script of every view to a file the user picks.
    void saveViewScripts(bool flag);
    bool isGalleryEmpty();
    void mousePress(QPoint pos);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    virtual void initializeControls();

private:
    // A digit key: focus and click that view.
    bool _selectByDigit(QObject* obj, QKeyEvent* e);
    void placeScrollArea();

    std::vector<WidgetThumbnail*> thumbnails_;
    QButtonGroup* group_ = nullptr;
    WidgetScrollArea* scrollArea_ = nullptr;
    QWidget* container_ = nullptr;
    QHBoxLayout* layout_ = nullptr;
    int lastX_ = 0;
    int lastY_ = 0;
};

} // namespace VeldaClient
