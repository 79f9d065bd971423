#pragma once

#include <string>

namespace VeldaClient {

// Where a project's saved views are kept: the record of all views, the
// camera script and the thumbnails. A served project keeps them on the web
// service, through the companion client; a model opened from a file keeps
// them on this machine. The gallery and the save flow see only this.
// Blocking; any thread.
class SavedViewStore {
public:
    virtual ~SavedViewStore() = default;

    // Whether the views follow a companion client: it is polled, takes the
    // feedback and must be signed in for a save.
    virtual bool followsClient() const = 0;
    // Whether a save may go ahead now.
    virtual bool canSave() = 0;
    // The record of all views as last saved, or empty.
    virtual std::string readRecord() = 0;
    // Keep the record; nothing for an empty text.
    virtual void saveRecord(const std::string& record) = 0;
    // Keep the camera script; nothing for an empty text.
    virtual void saveScript(const std::string& script) = 0;
    // Keeps the picture file (and removes it) and returns the name it is
    // kept under, or empty. Throws std::runtime_error with a message for
    // the user when it is refused.
    virtual std::string storeThumbnail(const std::string& localPath) = 0;
    // Puts a kept picture into the temp folder and returns that path, or
    // empty for a name that is not a plain file name.
    virtual std::string fetchThumbnail(const std::string& name) = 0;
};

} // namespace VeldaClient
