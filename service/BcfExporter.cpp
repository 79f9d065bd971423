#include "service/BcfExporter.h"

#include "jobs/FileHelpers.h"
#include "service/BcfArchiveWriter.h"
#include "service/BcfCamera.h"
#include "service/BcfDateTime.h"
#include "service/BcfMarkup.h"
#include "service/BcfVisInfo.h"
#include "service/BcfXmlDocument.h"

#include <QBuffer>
#include <QFile>
#include <QUuid>

namespace VeldaClient {

namespace {

QString newGuid()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toLower();
}

QByteArray versionDocument()
{
    return bcfXmlDocument("Version", [](QXmlStreamWriter& xml) {
        xml.writeAttribute("VersionId", "2.1");
        xml.writeTextElement("DetailedVersion", "2.1");
    });
}

QByteArray png(const QImage& picture)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    if (picture.isNull() || !buffer.open(QIODevice::WriteOnly) || !picture.save(&buffer, "PNG"))
        return QByteArray();
    return bytes;
}

} // namespace

QByteArray BcfExporter::archive(const std::vector<BcfView>& views) const
{
    BcfArchiveWriter zip;
    zip.add("bcf.version", versionDocument());
    for (const BcfView& view : views) {
        const QString folder = newGuid();
        BcfTopic topic;
        topic.guid = folder;
        topic.title = QString("视图 %1").arg(view.number);
        topic.index = view.number;
        topic.creationDate = BcfDateTime::toIso(view.time);
        topic.creationAuthor = QString::fromStdWString(view.user);
        const QByteArray snapshot = png(view.picture);
        topic.viewpoints.push_back({newGuid(), "viewpoint.bcfv", snapshot.isEmpty() ? QString() : "snapshot.png"});

        BcfVisualization visualization;
        visualization.guid = topic.viewpoints.front().guid;
        visualization.camera = BcfCamera::fromView(view.camera, frame_);
        visualization.selection = view.components;

        const std::string prefix = folder.toStdString() + "/";
        zip.add(prefix + "markup.bcf", BcfMarkup::write(topic));
        zip.add(prefix + "viewpoint.bcfv", BcfVisInfo::write(visualization));
        if (!snapshot.isEmpty())
            zip.add(prefix + "snapshot.png", snapshot);
    }
    return zip.finish();
}

bool BcfExporter::write(const std::string& path, const std::vector<BcfView>& views) const
{
    const QByteArray bytes = archive(views);
    if (bytes.isEmpty() || !Velda::writeFileAtomically(path, bytes.constData(), static_cast<size_t>(bytes.size())))
        return false;
    // The temporary file it came from was the owner's alone; this one is to be handed on.
    QFile::setPermissions(QString::fromStdString(path),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    return true;
}

} // namespace VeldaClient
