#pragma once

#include "Common/ProjectInfo.h"
#include "scene/Vector.h"

#include <QObject>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Velda {
struct ProjectProps;
class Camera;
class Context3d;
class SceneRoot;
class SpotLight;
} // namespace Velda

namespace VeldaClient {

class ApplicationMain;
class ProjectLoader;
class SavedViewStore;

// The hub of the viewer: a lazily created process-wide singleton that owns
// the scene (with the camera and the sun-like spot light in it), the project's
// paths and ProjectInfo, and knows the renderer and the asset manager. Every
// other part of the client reaches the engine through it. GUI thread only.
class GraphicsContext : public QObject {
    Q_OBJECT

public:
    using PivotListener = std::function<void(Velda::Vector3)>;

    static GraphicsContext* instance();
    // Deletes the object if there is one; a later instance() makes a new one.
    static void destroyInstance();

    // Boots the graphics side with a current GL context: GLEW, asset
    // manager, renderer, then queues the sky index, the sky images and the
    // project index, in this order.
    virtual void initialize();
    // True only inside the constructor and initialize().
    virtual bool isInitializing() const { return initializing_; }
    virtual Velda::Camera* camera() const { return camera_; }
    virtual Velda::SceneRoot* scene() const { return scene_.get(); }
    virtual Velda::SpotLight* spotLight() const { return spotLight_; }
    virtual Velda::Context3d* context3d() const { return context3d_; }
    virtual float rotationSpeed() const { return rotationSpeed_; }
    virtual void setRotationSpeed(float speed) { rotationSpeed_ = speed; }
    // The project's root path; after initialize() the index address.
    virtual std::string rootPath() const { return rootPath_; }
    virtual void setRootPath(const std::string& path) { rootPath_ = path; }
    virtual Velda::Vector3 orbitPivot() const { return orbitPivot_; }
    // Stores the pivot, then tells every listener in order.
    virtual void setOrbitPivot(const Velda::Vector3& pivot);
    virtual void addPivotListener(PivotListener listener);
    virtual Velda::Vector3 worldUp() const { return worldUp_; }
    virtual void setWorldUp(const Velda::Vector3& v) { worldUp_ = v; }
    virtual Velda::Vector3 worldRight() const { return worldRight_; }
    virtual void setWorldRight(const Velda::Vector3& v) { worldRight_ = v; }
    virtual Velda::Vector3 worldForward() const { return worldForward_; }
    virtual void setWorldForward(const Velda::Vector3& v) { worldForward_ = v; }
    // The program's folder, without a trailing separator.
    virtual std::string programFolder() const;
    // "$APPDATA/Qem Files/" (or the XDG data folder), with its separator.
    virtual std::string appDataFolder() const;
    virtual ApplicationMain* application() const { return application_; }
    virtual void setApplication(ApplicationMain* application) { application_ = application; }
    // First call: the project id and the user from the sign module. Every
    // later call: a fresh sign text for the stored user.
    virtual ProjectInfo* projectInfo();
    // A copy of the sign text as it stands, for calls made off the GUI
    // thread while the client poll may be renewing it.
    std::wstring signText();
    // A model opened from a file: the project and the user as given, never
    // asked of the sign module.
    void presetProjectInfo(const ProjectInfo& info);
    // Where the saved views are kept: the web service unless set.
    SavedViewStore* savedViewStore();
    void setSavedViewStore(std::unique_ptr<SavedViewStore> store);

    // Where the project's bundles are fetched from: the root path, or a
    // file:/// folder of the cache.
    std::string projectRoot() const { return projectRoot_; }
    // What queues the files and builds the scene; null before initialize().
    ProjectLoader* projectLoader() const { return loader_.get(); }
    // The project's `props` once arrived; null before, and for projects
    // without one.
    const Velda::ProjectProps* projectProps() const;
    // Scene units per model unit: the scene is scaled to a 10-unit
    // diagonal about the model's origin. 1 before the index arrived.
    float sceneScale() const;

    // Asks for a frame: for changes to the picture that came from no input
    // event (a slider moved by code, the sun turned by a flight).
    void requestFrame() { emit frameRequested(); }
    // Camera flights under way; frames keep coming while one runs.
    bool flying() const { return flights_ > 0; }
    void flightStarted();
    void flightEnded();

signals:
    void frameRequested();

private:
    GraphicsContext();
    ~GraphicsContext() override;

    bool initializing_ = true;
    std::unique_ptr<Velda::SceneRoot> scene_;
    Velda::Camera* camera_ = nullptr;        // made by and kept in the scene
    Velda::SpotLight* spotLight_ = nullptr;  // made by and kept in the scene
    Velda::Context3d* context3d_ = nullptr;
    std::unique_ptr<ProjectLoader> loader_;
    float rotationSpeed_ = 0.0045f;
    Velda::Vector3 orbitPivot_;
    Velda::Vector3 worldUp_{0, 0, 1};
    Velda::Vector3 worldRight_{1, 0, 0};
    Velda::Vector3 worldForward_{0, 1, 0};
    std::vector<PivotListener> pivotListeners_;
    ApplicationMain* application_ = nullptr;
    std::unique_ptr<ProjectInfo> projectInfo_;
    std::mutex projectInfoMutex_;  // the sign text is renewed while a save reads it
    bool projectInfoPreset_ = false;
    std::unique_ptr<SavedViewStore> savedViewStore_;
    std::string rootPath_;
    std::string projectRoot_;
    int flights_ = 0;
};

} // namespace VeldaClient
