#pragma once

namespace Velda {

class Camera;
class SceneRoot;
class SpotLight;

// The viewer's main camera and sun as they stand at start, made through
// the scene's factory so that they belong to the scene: far 15, near 0.01,
// a 60-degree field of view, the sky-blue clear colour; the sun above the
// scene, white, casting shadows.
Camera* createViewerCamera(SceneRoot& scene);
SpotLight* createViewerSun(SceneRoot& scene);

} // namespace Velda
