#pragma once

#include "service/BcfXmlTree.h"

#include <QByteArray>
#include <QString>

#include <string>
#include <vector>

namespace VeldaClient {

// A topic's reference to one of its viewpoints: the files in its folder.
struct BcfViewpointRef {
    QString guid;
    QString viewpoint;
    QString snapshot;
};

// What the viewer keeps of a topic (`markup.bcf`).
struct BcfTopic {
    QString guid;
    QString title;
    int index = 0;  // 0: none given
    QString creationDate;
    QString creationAuthor;
    std::vector<BcfViewpointRef> viewpoints;
};

class BcfMarkup {
public:
    // The markup of BCF 2.1: the topic, then its viewpoints.
    static QByteArray write(const BcfTopic& topic);
    // BCF 2.x (viewpoints beside the topic) or 3.0 (inside it). Throws
    // BcfError naming `entry` when it is no markup or has no topic.
    static BcfTopic read(const BcfXmlNode& root, const std::string& entry);
};

} // namespace VeldaClient
