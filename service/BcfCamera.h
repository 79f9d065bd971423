#pragma once

#include "service/BcfView.h"

namespace VeldaClient {

// A BCF viewpoint's camera, in the file's units (metres when the model's unit
// is known, else model units) and the model's own coordinates.
struct BcfCamera {
    struct Vector {
        double x = 0.0, y = 0.0, z = 0.0;
    };
    enum Kind { kPerspective, kOrthogonal };

    Kind kind = kPerspective;
    Vector viewPoint;
    Vector direction;
    Vector upVector;
    double fieldOfView = 60.0;      // vertical, in degrees
    double viewToWorldScale = 1.0;  // the visible height
    double aspectRatio = 0.0;       // width by height; 0 when the file gave none

    // The camera of a view: projection type, pose and vertical field of view
    // or the height of the orthographic volume.
    static BcfCamera fromView(Velda::Camera view, const BcfModelFrame& frame);
    // Back to scene units on a copy of the frame's camera (its planes, and
    // the shape of its orthographic volume). Throws BcfError for numbers that
    // are not finite, a null direction or an impossible field of view or scale.
    Velda::Camera toView(const BcfModelFrame& frame) const;
    // Where an imported view orbits: on its line of sight, as far as the
    // scene's centre lies along it; half the scene's size when the centre
    // is behind or right at the camera.
    static Velda::Vector3 orbitTarget(Velda::Camera view, const Velda::Vector3& sceneCentre);
};

} // namespace VeldaClient
