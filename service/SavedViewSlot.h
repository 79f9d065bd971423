#pragma once

#include "scene/Camera.h"
#include "scene/Vector.h"

#include <QImage>

#include <string>
#include <vector>

namespace VeldaClient {

// One of the project's ten places for a saved view, as its persistent forms
// (record JSON, thumbnail file, camera script) see it. The gallery's buttons
// implement it; keeping it here lets the forms live below the widgets.
// The save runs on a pool thread while the user may go on taking views, so
// implementations must keep each getter and setter safe from two threads.
class SavedViewSlot {
public:
    virtual ~SavedViewSlot() = default;

    virtual int number() const = 0;  // 1 to 10
    virtual Velda::Camera camera() const = 0;
    virtual void setCamera(const Velda::Camera& camera) = 0;
    // The setters below raise the changed flag when the value differs; the
    // picture raises it always, img never.
    virtual Velda::Vector3 target() const = 0;
    virtual void setTarget(const Velda::Vector3& target) = 0;
    virtual float lr() const = 0;
    virtual void setLr(float angle) = 0;
    virtual float tr() const = 0;
    virtual void setTr(float angle) = 0;
    virtual std::wstring user() const = 0;
    virtual void setUser(const std::wstring& user) = 0;
    virtual std::string qemidText() const = 0;
    virtual void setQemidText(const std::string& qemid) = 0;
    virtual std::string time() const = 0;
    virtual void setTime(const std::string& time) = 0;
    virtual std::string md5() const = 0;
    virtual void setMd5(const std::string& md5) = 0;
    virtual std::string img() const = 0;
    virtual void setImg(const std::string& img) = 0;
    virtual bool changed() const = 0;
    virtual void setChanged(bool changed) = 0;
    virtual bool hasImage() const = 0;
    virtual void setHasImage(bool hasImage) = 0;
    // The picture the place shows; null when it shows none.
    virtual QImage picture() const = 0;
    virtual void setPicture(const QImage& picture) = 0;
    // The IFC GlobalIds of the objects selected with the view. Kept in
    // memory only, never in the service's record, and changing them raises
    // no flag; a place that keeps no selection has none.
    virtual std::vector<std::string> components() const { return {}; }
    virtual void setComponents(const std::vector<std::string>&) {}
};

// The ten places in number order.
class SavedViewGallery {
public:
    virtual ~SavedViewGallery() = default;
    virtual std::vector<SavedViewSlot*> viewSlots() const = 0;
};

} // namespace VeldaClient
