#include "service/BcfImporter.h"

#include "service/BcfArchiveReader.h"
#include "service/BcfCamera.h"
#include "service/BcfDateTime.h"
#include "service/BcfError.h"
#include "service/BcfMarkup.h"
#include "service/BcfVisInfo.h"
#include "service/BcfXmlTree.h"

#include <QBuffer>
#include <QImageReader>
#include <QRegularExpression>

#include <algorithm>
#include <climits>
#include <set>

namespace VeldaClient {

namespace {

const uint64_t kMaxDocument = 16ULL << 20;
const uint64_t kMaxSnapshot = 32ULL << 20;
const int kMaxSide = 16384;
const qint64 kMaxPixels = 40LL * 1000 * 1000;
const int kMaxAuthor = 256;

bool isGuid(const QString& name)
{
    static const QRegularExpression guid("^[0-9a-fA-F]{8}-[0-9a-fA-F]{4}-[0-9a-fA-F]{4}-[0-9a-fA-F]{4}-[0-9a-fA-F]{12}$");
    return guid.match(name).hasMatch();
}

// The topic folders: top-level folders named by a GUID, in archive order.
std::vector<std::string> topicFolders(const BcfArchiveReader& archive)
{
    std::vector<std::string> folders;
    std::set<std::string> seen;
    for (const std::string& name : archive.names()) {
        const size_t slash = name.find('/');
        if (slash == std::string::npos)
            continue;
        const std::string folder = name.substr(0, slash);
        if (isGuid(QString::fromStdString(folder)) && seen.insert(folder).second)
            folders.push_back(folder);
    }
    return folders;
}

// A file named by a markup: a plain name inside the topic's folder.
std::string fileInTopic(const std::string& folder, const QString& name)
{
    const std::string file = name.toStdString();
    if (!BcfArchiveReader::safeName(file) || file.find('/') != std::string::npos)
        throw BcfError("标记文件引用了不安全的文件名: " + folder);
    return folder + "/" + file;
}

// A snapshot as the gallery shows pictures: 120 by 80.
QImage thumbnail(const QByteArray& bytes, const std::string& entry)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QByteArray format = reader.format();
    const QSize size = reader.size();
    if ((format != "png" && format != "jpeg" && format != "jpg") || !size.isValid() || size.width() > kMaxSide ||
        size.height() > kMaxSide || static_cast<qint64>(size.width()) * size.height() > kMaxPixels)
        throw BcfError("快照图片无法读取: " + BcfError::shown(entry));
    const QImage image = reader.read();
    if (image.isNull())
        throw BcfError("快照图片无法读取: " + BcfError::shown(entry));
    return image.convertToFormat(QImage::Format_ARGB32)
        .scaled(120, 80, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

// A view without a snapshot still needs a picture to fill its place.
QImage blankPicture()
{
    QImage image(120, 80, QImage::Format_ARGB32);
    image.fill(qRgb(128, 128, 128));
    return image;
}

// Who made the topic, as the status strip shows a user: one line, not too long.
std::wstring author(const QString& text)
{
    QString name = text.left(kMaxAuthor);
    name.remove(QRegularExpression("[\\x00-\\x1f\\x7f]"));
    return name.toStdWString();
}

void checkVersion(const BcfArchiveReader& archive)
{
    if (!archive.contains("bcf.version"))
        throw BcfError("缺少 bcf.version");
    const BcfXmlNode root = BcfXmlTree::parse(archive.read("bcf.version", kMaxDocument), "bcf.version");
    const QString version = root.attribute("VersionId");
    if (root.name != "Version" || (version != "2.0" && version != "2.1" && version != "3.0"))
        throw BcfError("不支持的 BCF 版本: " + version.left(16).toStdString());
}

} // namespace

std::vector<BcfView> BcfImporter::read(const std::string& path) const
{
    const BcfArchiveReader archive(path);
    checkVersion(archive);

    struct Topic {
        int order;
        std::vector<BcfView> views;
    };
    std::vector<Topic> topics;
    for (const std::string& folder : topicFolders(archive)) {
        const std::string markupName = folder + "/markup.bcf";
        if (!archive.contains(markupName))
            throw BcfError("主题缺少 markup.bcf: " + folder);
        BcfTopic topic = BcfMarkup::read(BcfXmlTree::parse(archive.read(markupName, kMaxDocument), markupName),
                                         markupName);
        // BCF 2.0 names no files: the one viewpoint has fixed names.
        if (topic.viewpoints.empty() && archive.contains(folder + "/viewpoint.bcfv"))
            topic.viewpoints.push_back(
                {QString(), "viewpoint.bcfv", archive.contains(folder + "/snapshot.png") ? "snapshot.png" : ""});
        if (topic.viewpoints.empty())
            throw BcfError("主题缺少视点: " + folder);

        Topic read{topic.index > 0 ? topic.index : INT_MAX, {}};
        for (const BcfViewpointRef& ref : topic.viewpoints) {
            const std::string viewpointName = fileInTopic(folder, ref.viewpoint);
            if (!archive.contains(viewpointName))
                throw BcfError("主题缺少视点文件: " + BcfError::shown(viewpointName));
            const BcfVisualization visualization = BcfVisInfo::read(
                BcfXmlTree::parse(archive.read(viewpointName, kMaxDocument), viewpointName), viewpointName);

            BcfView view;
            view.camera = visualization.camera.toView(frame_);
            view.target = BcfCamera::orbitTarget(view.camera, frame_.sceneCentre);
            view.components = visualization.selection;
            view.user = author(topic.creationAuthor);
            view.time = BcfDateTime::toViewTime(topic.creationDate);
            if (ref.snapshot.isEmpty()) {
                view.picture = blankPicture();
            } else {
                const std::string snapshotName = fileInTopic(folder, ref.snapshot);
                if (!archive.contains(snapshotName))
                    throw BcfError("主题缺少快照: " + BcfError::shown(snapshotName));
                view.picture = thumbnail(archive.read(snapshotName, kMaxSnapshot), snapshotName);
            }
            read.views.push_back(view);
        }
        topics.push_back(std::move(read));
    }
    std::stable_sort(topics.begin(), topics.end(), [](const Topic& a, const Topic& b) { return a.order < b.order; });

    std::vector<BcfView> views;
    for (Topic& topic : topics)
        for (BcfView& view : topic.views)
            views.push_back(std::move(view));
    return views;
}

} // namespace VeldaClient
