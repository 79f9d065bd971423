#pragma once

#include "Common/ProjectInfo.h"

#include <QObject>

#include <memory>
#include <string>

namespace VeldaClient {

class ApplicationMain;

// The hub of the viewer: a lazily created process-wide singleton. So far it
// holds the project and user (ProjectInfo) and the project's root address;
// the scene, camera, light and renderer join it with the application shell.
class GraphicsContext : public QObject {
    Q_OBJECT

public:
    static GraphicsContext* instance();
    // Deletes the object if there is one; a later instance() makes a new one.
    static void destroyInstance();

    // First call: the project id and the user from the sign module. Every
    // later call: a fresh sign text for the stored user.
    virtual ProjectInfo* projectInfo();
    virtual std::string rootPath() const { return rootPath_; }
    virtual void setRootPath(const std::string& path) { rootPath_ = path; }
    // The program's folder, without a trailing separator.
    virtual std::string programFolder() const;
    // "$APPDATA/Qem Files/" (or the XDG data folder), with its separator.
    virtual std::string appDataFolder() const;
    virtual ApplicationMain* application() const { return application_; }
    virtual void setApplication(ApplicationMain* application) { application_ = application; }

private:
    GraphicsContext();
    ~GraphicsContext() override;

    std::string rootPath_;
    ApplicationMain* application_ = nullptr;
    std::unique_ptr<ProjectInfo> projectInfo_;
};

} // namespace VeldaClient
