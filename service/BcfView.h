#pragma once

#include "scene/Camera.h"
#include "scene/Vector.h"

#include <QImage>

#include <string>
#include <vector>

namespace VeldaClient {

// How the viewer's scene stands to the model it shows: the scene is the model
// scaled by `sceneScale` about the model's origin (scene = model * scale), and
// `metresPerUnit` turns model units into metres (0: unknown, the file then
// speaks in model units). `sceneCentre` (scene units) is where an imported
// view's orbit target is aimed at; `camera` lends its planes and the shape of
// its orthographic volume to imported views.
struct BcfModelFrame {
    double sceneScale = 1.0;
    double metresPerUnit = 0.0;
    Velda::Vector3 sceneCentre;
    Velda::Camera camera;

    // File units per scene unit.
    double fileUnitsPerSceneUnit() const;
};

// One saved view as it crosses a BCF file: camera and target in scene units,
// who took it and when ("yyyy-MM-dd hh:mm", local time), its picture and the
// IFC GlobalIds of the objects selected with it.
struct BcfView {
    int number = 0;
    Velda::Camera camera;
    Velda::Vector3 target;
    std::wstring user;
    std::string time;
    QImage picture;
    std::vector<std::string> components;
};

} // namespace VeldaClient
