#pragma once

#include "UserInterface/Widgets/FlightTimer.h"
#include "scene/Camera.h"
#include "scene/Vector.h"
#include "service/SavedViewSlot.h"

#include <QImage>
#include <QMutex>
#include <QMutexLocker>
#include <QPointer>
#include <QPushButton>

#include <atomic>
#include <string>
#include <vector>

class QAction;
class QFrame;
class QMenu;

namespace VeldaClient {

// One saved view in memory and the button that shows its picture: a camera,
// the orbit pivot, the sun dial's angles, who took it and when, and where
// its picture lies on the service. Clicking a filled one flies the camera
// there, on the GUI thread. The save job reads and writes it from a pool thread, so its data
// sits behind a lock.
class WidgetThumbnail : public QPushButton, public SavedViewSlot {
    Q_OBJECT

public:
    explicit WidgetThumbnail(QWidget* parent = nullptr);
    ~WidgetThumbnail() override;

    int number() const override { return number_; }
    // A new number gets a new number frame, which the style sheet gives its digit.
    void setNumber(int number);
    Velda::Camera camera() const override { return locked(camera_); }
    void setCamera(const Velda::Camera& camera) override { store(camera_, camera); }
    Velda::Vector3 target() const override { return locked(target_); }
    void setTarget(const Velda::Vector3& target) override { change(target_, target); }
    float lr() const override { return locked(lr_); }
    void setLr(float angle) override { change(lr_, angle); }
    float tr() const override { return locked(tr_); }
    void setTr(float angle) override { change(tr_, angle); }
    std::wstring user() const override { return locked(user_); }
    void setUser(const std::wstring& user) override { change(user_, user); }
    std::string qemidText() const override { return locked(qemidText_); }
    void setQemidText(const std::string& qemid) override { change(qemidText_, qemid); }
    std::string time() const override { return locked(time_); }
    void setTime(const std::string& time) override { change(time_, time); }
    std::string md5() const override { return locked(md5_); }
    void setMd5(const std::string& md5) override { change(md5_, md5); }
    std::string img() const override { return locked(img_); }
    void setImg(const std::string& img) override { store(img_, img); }
    bool changed() const override { return locked(changed_); }
    void setChanged(bool changed) override { store(changed_, changed); }
    bool hasImage() const override { return locked(hasImage_); }
    void setHasImage(bool hasImage) override { change(hasImage_, hasImage); }
    // The picture the button shows (the mask for an empty place).
    QImage picture() const override { return locked(picture_); }
    void setPicture(const QImage& picture) override;
    std::vector<std::string> components() const override { return locked(components_); }
    void setComponents(const std::vector<std::string>& ids) override { store(components_, ids); }

    // The present view with its picture: the live camera and pivot; selected.
    void storeView(const QImage& picture);
    // Back to an empty place: the mask, a default camera, no user or time;
    // changed, since the service still holds what was here.
    void reset();
    // "由 <user>(<qemid>) 于 <time> 创建", of the parts there are.
    std::string originText() const;
    QFrame* cover() const { return cover_; }

    // The guard of the flight to this view: a second flight of the same
    // view doesn't start while one runs, and clearing it stops a running one.
    bool transitionRunning() const { return transitionRunning_; }
    void setTransitionRunning(bool running) { transitionRunning_ = running; }
    // Sets the guard; false when it was set already.
    bool beginTransition();
    // The flight to this view while it runs.
    FlightTimer* flight() const { return flight_; }

signals:
    void saveAllThumbnailScript(bool flag);
    void saveAllThumbnailScript();
    // The sun dial's two angles as a new array of two floats.
    float* fetchRadValue();
    // Two angles for the sun dial; the receiver frees the array.
    void setRadValue(float* values);
    bool isGalleryEmpty();
    void displayInfo(std::string info);
    void mousePress(QPoint pos);
    // The menu's BCF entries, for the gallery: all views out, views in.
    void exportBcf(bool flag);
    void importBcf(bool flag);

protected slots:
    // A click: select, and fly the camera to the view if there is one.
    void _switchCameraContext(bool);
    void deleteThumbnailConfirm(bool flag);
    void deleteThumbnailConfirm();
    void saveThumbnailScript(bool flag);
    void saveThumbnailScript();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    virtual void initializeControls();

private:
    // Each field is read and written under the lock.
    template <typename T>
    T locked(const T& field) const
    {
        QMutexLocker hold(&lock_);
        return field;
    }
    template <typename T>
    void store(T& field, const T& value)
    {
        QMutexLocker hold(&lock_);
        field = value;
    }
    // Stores `value` and raises the changed flag when it differs.
    template <typename T>
    void change(T& field, const T& value)
    {
        QMutexLocker hold(&lock_);
        if (!(field == value))
            changed_ = true;
        field = value;
    }

    mutable QMutex lock_;
    Velda::Camera camera_;
    QAction* deleteAction_ = nullptr;
    QAction* downloadOneAction_ = nullptr;
    QAction* downloadAllAction_ = nullptr;
    QAction* exportBcfAction_ = nullptr;
    QAction* importBcfAction_ = nullptr;
    QFrame* cover_ = nullptr;
    QFrame* numberFrame_ = nullptr;
    QFrame* numberBackground_ = nullptr;
    QPointer<QMenu> menu_;  // may move to the window, which may go first
    Velda::Vector3 target_;
    bool changed_ = false;
    bool hasImage_ = false;
    float lr_ = 0.0f;
    float tr_ = 0.0f;
    int number_ = 0;
    std::string time_;
    std::string qemidText_;
    std::string md5_;
    std::wstring user_;
    std::string img_;
    QImage picture_;
    std::vector<std::string> components_;
    std::atomic<bool> transitionRunning_{false};
    QPointer<FlightTimer> flight_;
    int pressX_ = 0;
    int pressY_ = 0;
};

} // namespace VeldaClient
