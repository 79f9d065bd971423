#pragma once

#include <QByteArray>
#include <QString>

#include <string>
#include <utility>
#include <vector>

namespace VeldaClient {

// One element of a small XML document: its local name, attributes, the text
// directly inside (trimmed) and its child elements.
struct BcfXmlNode {
    QString name;
    std::vector<std::pair<QString, QString>> attributes;
    QString text;
    std::vector<BcfXmlNode> children;

    // The first child of that name; null when there is none.
    const BcfXmlNode* child(const QString& childName) const;
    std::vector<const BcfXmlNode*> childrenNamed(const QString& childName) const;
    // Empty when absent.
    QString attribute(const QString& attributeName) const;
    QString childText(const QString& childName) const;
};

// Reads a document of an untrusted file into a tree. A document type
// declaration is refused outright (and with it any entity of its own), as are
// entity references, elements nested deeper than 64 or more than 200,000 of
// them, and anything that is not well-formed. Throws BcfError naming `entry`.
class BcfXmlTree {
public:
    static BcfXmlNode parse(const QByteArray& bytes, const std::string& entry);
};

} // namespace VeldaClient
