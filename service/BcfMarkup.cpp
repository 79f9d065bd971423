#include "service/BcfMarkup.h"

#include "service/BcfError.h"

#include "service/BcfXmlDocument.h"

namespace VeldaClient {

namespace {

BcfViewpointRef viewpointRef(const BcfXmlNode& node)
{
    return {node.attribute("Guid"), node.childText("Viewpoint"), node.childText("Snapshot")};
}

} // namespace

QByteArray BcfMarkup::write(const BcfTopic& topic)
{
    return bcfXmlDocument("Markup", [&topic](QXmlStreamWriter& xml) {
        xml.writeStartElement("Topic");
        xml.writeAttribute("Guid", topic.guid);
        xml.writeTextElement("Title", topic.title);
        if (topic.index > 0)
            xml.writeTextElement("Index", QString::number(topic.index));
        xml.writeTextElement("CreationDate", topic.creationDate);
        xml.writeTextElement("CreationAuthor", topic.creationAuthor);
        xml.writeEndElement();
        for (const BcfViewpointRef& ref : topic.viewpoints) {
            xml.writeStartElement("Viewpoints");
            xml.writeAttribute("Guid", ref.guid);
            xml.writeTextElement("Viewpoint", ref.viewpoint);
            if (!ref.snapshot.isEmpty())
                xml.writeTextElement("Snapshot", ref.snapshot);
            xml.writeEndElement();
        }
    });
}

BcfTopic BcfMarkup::read(const BcfXmlNode& root, const std::string& entry)
{
    const BcfXmlNode* topicNode = root.name == "Markup" ? root.child("Topic") : nullptr;
    if (!topicNode)
        throw BcfError("标记文件缺少主题: " + entry);
    BcfTopic topic;
    topic.guid = topicNode->attribute("Guid");
    topic.title = topicNode->childText("Title");
    bool numeric = false;
    const int index = topicNode->childText("Index").toInt(&numeric);
    topic.index = numeric && index > 0 ? index : 0;
    topic.creationDate = topicNode->childText("CreationDate");
    topic.creationAuthor = topicNode->childText("CreationAuthor");
    // 2.x lists them beside the topic, 3.0 inside it.
    for (const BcfXmlNode* node : root.childrenNamed("Viewpoints"))
        topic.viewpoints.push_back(viewpointRef(*node));
    if (const BcfXmlNode* list = topicNode->child("Viewpoints"))
        for (const BcfXmlNode* node : list->childrenNamed("ViewPoint"))
            topic.viewpoints.push_back(viewpointRef(*node));
    return topic;
}

} // namespace VeldaClient
