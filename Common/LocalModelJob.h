#pragma once

#include "Common/FileDigest.h"
#include "Common/ModelLibrary.h"

#include <QObject>
#include <QProcess>
#include <QTimer>

#include <string>

namespace VeldaClient {

// Makes a model named on the command line ready to stream: a project
// folder is taken as it is (keyed by its index's content); a model file is
// hashed and, unless the library holds it already, packed by velda-pack in
// a child process into a staging folder and moved into place. The packer
// runs apart because the IFC reader forks a worker per core, keeps
// process-wide state, caps the address space and may be stopped only by
// ending it: none of that belongs in a threaded GUI process, and a
// cancelled or crashed packer takes nothing of the viewer with it.
// Runs on the event loop of the calling thread; finished() once, always.
class LocalModelJob : public QObject {
    Q_OBJECT

public:
    enum class Kind { File, Folder };
    enum class Outcome { Running, Opened, Failed, Cancelled };

    // `packer` is velda-pack's path; `model` the argument as given.
    LocalModelJob(const ModelLibrary& library, std::string packer, std::string model, QObject* parent = nullptr);
    ~LocalModelJob() override;

    // Checks the argument at once: a missing file, a folder without an
    // index or a file that cannot be read fail before anything is written.
    void start();
    // Ends the packer, if one runs, and removes what it wrote.
    void cancel();

    Outcome outcome() const { return outcome_; }
    Kind kind() const { return kind_; }
    // The absolute path of the model file or folder.
    const std::string& source() const { return source_; }
    // The model's content key (SHA-256 of the file, or of a folder's index).
    const std::string& key() const { return key_; }
    // The project folder to stream, without a trailing separator.
    const std::string& projectFolder() const { return folder_; }
    // Whether this open packed the model (false when it was in place).
    bool packed() const { return packed_; }
    // For a failure: what went wrong, for the user, and the detail (a path
    // or the packer's reason).
    const std::string& problem() const { return problem_; }
    const std::string& detail() const { return detail_; }

signals:
    // How far the step under way has come (0 to 1); the step is one of
    // "hash", "read", "shapes" and "write".
    void progress(double fraction, QString step);
    void finished();

private slots:
    void hashSome();
    void packerOutput();
    void packerEnded(int exitCode, QProcess::ExitStatus status);
    void packerFailed(QProcess::ProcessError error);

private:
    void startPacking();
    void fail(const std::string& problem, const std::string& detail);
    void finish(Outcome outcome);
    void stopPacker();

    ModelLibrary library_;
    std::string packer_, argument_;
    Kind kind_ = Kind::File;
    Outcome outcome_ = Outcome::Running;
    std::string source_, key_, folder_, problem_, detail_, staging_;
    bool packed_ = false;
    FileDigest digest_;
    QTimer hashing_;
    QProcess* process_ = nullptr;
    QByteArray packerErrors_;
};

} // namespace VeldaClient
