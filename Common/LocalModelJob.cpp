#include "Common/LocalModelJob.h"

#include "log/Log.h"

#include <QFileInfo>

#include <stdexcept>

namespace VeldaClient {

namespace {

const int kMaxPackerErrorBytes = 8192;

// The packer's last line on its error stream, without its name: the one
// line it ends with on a failure.
std::string packerReason(const QByteArray& errors)
{
    const QList<QByteArray> lines = errors.trimmed().split('\n');
    QByteArray last = lines.isEmpty() ? QByteArray() : lines.last().trimmed();
    if (last.startsWith("velda-pack: "))
        last = last.mid(12);
    return last.toStdString();
}

} // namespace

LocalModelJob::LocalModelJob(const ModelLibrary& library, std::string packer, std::string model, QObject* parent)
    : QObject(parent), library_(library), packer_(std::move(packer)), argument_(std::move(model))
{
    hashing_.setInterval(0);
    connect(&hashing_, SIGNAL(timeout()), this, SLOT(hashSome()));
}

LocalModelJob::~LocalModelJob()
{
    blockSignals(true);
    stopPacker();
}

void LocalModelJob::start()
{
    const QFileInfo info(QString::fromStdString(argument_));
    if (!info.exists()) {
        fail("找不到模型文件", info.absoluteFilePath().toStdString());
        return;
    }
    source_ = info.canonicalFilePath().toStdString();
    if (info.isDir()) {
        kind_ = Kind::Folder;
        const std::string index = source_ + "/index";
        if (!QFileInfo(QString::fromStdString(index)).isFile()) {
            fail("文件夹里没有项目索引 (index)", source_);
            return;
        }
        key_ = FileDigest::of(index);
        if (key_.empty()) {
            fail("无法读取项目索引", index);
            return;
        }
        folder_ = source_;
        finish(Outcome::Opened);
        return;
    }
    if (!info.isFile()) {
        fail("无法读取模型文件", source_ + ": not a regular file");
        return;
    }
    if (!digest_.open(source_)) {
        fail("无法读取模型文件", source_ + ": " + digest_.error());
        return;
    }
    VLOG << "Model file : " << source_;
    hashing_.start();
}

void LocalModelJob::hashSome()
{
    if (outcome_ != Outcome::Running)
        return;
    const bool done = digest_.step();
    if (!digest_.error().empty()) {
        fail("无法读取模型文件", source_ + ": " + digest_.error());
        return;
    }
    emit progress(digest_.fraction(), "hash");
    if (!done)
        return;
    hashing_.stop();
    key_ = digest_.hex();
    VLOG << "Model key : " << key_;
    if (library_.holds(key_)) {
        folder_ = library_.projectFolder(key_);
        finish(Outcome::Opened);
        return;
    }
    startPacking();
}

void LocalModelJob::startPacking()
{
    library_.sweep();
    try {
        staging_ = library_.makeStaging();
    } catch (const std::runtime_error& e) {
        fail("无法打开模型", e.what());
        return;
    }
    process_ = new QProcess(this);
    connect(process_, SIGNAL(readyReadStandardOutput()), this, SLOT(packerOutput()));
    connect(process_, &QProcess::readyReadStandardError, this, [this]() {
        packerErrors_ += process_->readAllStandardError();
        if (packerErrors_.size() > kMaxPackerErrorBytes)
            packerErrors_ = packerErrors_.right(kMaxPackerErrorBytes);
    });
    connect(process_, SIGNAL(finished(int, QProcess::ExitStatus)), this, SLOT(packerEnded(int, QProcess::ExitStatus)));
    connect(process_, SIGNAL(errorOccurred(QProcess::ProcessError)), this, SLOT(packerFailed(QProcess::ProcessError)));
    const QStringList arguments = {QString::fromStdString(source_),
                                   QString::fromStdString(ModelLibrary::stagedProject(staging_)), "--progress"};
    VLOG << "Packing : " << packer_ << " " << arguments.join(' ').toStdString();
    emit progress(0.0, "read");
    process_->start(QString::fromStdString(packer_), arguments);
}

void LocalModelJob::packerOutput()
{
    while (process_ && process_->canReadLine()) {
        const QList<QByteArray> words = process_->readLine().trimmed().split(' ');
        if (words.size() == 3 && words[0] == "progress")
            emit progress(words[1].toDouble(), QString::fromUtf8(words[2]));
    }
}

void LocalModelJob::packerEnded(int exitCode, QProcess::ExitStatus status)
{
    if (outcome_ != Outcome::Running)
        return;
    packerErrors_ += process_->readAllStandardError();
    if (status == QProcess::NormalExit && exitCode == 0) {
        if (library_.commit(staging_, key_)) {
            staging_.clear();
            folder_ = library_.projectFolder(key_);
            packed_ = true;
            VLOG << "Packed : " << folder_;
            finish(Outcome::Opened);
            return;
        }
        staging_.clear();
        fail("无法打开模型", "the packed project cannot be put into " + library_.root());
        return;
    }
    library_.discard(staging_);
    staging_.clear();
    std::string reason = packerReason(packerErrors_);
    if (status != QProcess::NormalExit || reason.empty())
        reason = "velda-pack ended without finishing (" + process_->errorString().toStdString() + ")";
    fail("无法打开模型", reason.find(source_) == std::string::npos ? source_ + ": " + reason : reason);
}

void LocalModelJob::packerFailed(QProcess::ProcessError error)
{
    if (error != QProcess::FailedToStart || outcome_ != Outcome::Running)
        return;
    library_.discard(staging_);
    staging_.clear();
    fail("无法打开模型", "cannot start " + packer_ + ": " + process_->errorString().toStdString());
}

void LocalModelJob::cancel()
{
    if (outcome_ != Outcome::Running)
        return;
    VLOG << "Opening cancelled";
    stopPacker();
    finish(Outcome::Cancelled);
}

void LocalModelJob::stopPacker()
{
    hashing_.stop();
    if (process_ && process_->state() != QProcess::NotRunning) {
        process_->blockSignals(true);
        process_->kill();  // its geometry workers die with it
        process_->waitForFinished(10000);
    }
    if (!staging_.empty()) {
        library_.discard(staging_);
        staging_.clear();
    }
}

void LocalModelJob::fail(const std::string& problem, const std::string& detail)
{
    problem_ = problem;
    detail_ = detail;
    VLOG << "Model not opened : " << problem << " " << detail;
    finish(Outcome::Failed);
}

void LocalModelJob::finish(Outcome outcome)
{
    outcome_ = outcome;
    hashing_.stop();
    emit finished();
}

} // namespace VeldaClient
