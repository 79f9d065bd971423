#include "service/BcfXmlTree.h"

#include "service/BcfError.h"

#include <QXmlStreamReader>

namespace VeldaClient {

namespace {

const int kMaxDepth = 64;
const int kMaxElements = 200000;

class TreeReader {
public:
    TreeReader(const QByteArray& bytes, const std::string& entry) : reader_(bytes), entry_(entry) {}

    BcfXmlNode document()
    {
        BcfXmlNode root;
        bool haveRoot = false;
        while (!reader_.atEnd()) {
            const QXmlStreamReader::TokenType token = reader_.readNext();
            refuseDeclarations(token);
            if (token == QXmlStreamReader::StartElement) {
                if (haveRoot)
                    malformed();
                haveRoot = true;
                element(root, 1);
            } else if (token == QXmlStreamReader::Characters && !reader_.isWhitespace()) {
                malformed();
            }
        }
        if (reader_.hasError() || !haveRoot)
            malformed();
        return root;
    }

private:
    void element(BcfXmlNode& node, int depth)
    {
        if (depth > kMaxDepth || ++elements_ > kMaxElements)
            throw BcfError("XML 结构过深或过大: " + entry_);
        node.name = reader_.name().toString();
        for (const QXmlStreamAttribute& attribute : reader_.attributes())
            node.attributes.emplace_back(attribute.name().toString(), attribute.value().toString());
        while (!reader_.atEnd()) {
            const QXmlStreamReader::TokenType token = reader_.readNext();
            refuseDeclarations(token);
            switch (token) {
            case QXmlStreamReader::StartElement:
                node.children.emplace_back();
                element(node.children.back(), depth + 1);
                break;
            case QXmlStreamReader::Characters:
                node.text += reader_.text();
                break;
            case QXmlStreamReader::EndElement:
                node.text = node.text.trimmed();
                return;
            default:
                break;
            }
        }
        malformed();
    }

    void refuseDeclarations(QXmlStreamReader::TokenType token)
    {
        if (token == QXmlStreamReader::DTD || token == QXmlStreamReader::EntityReference)
            throw BcfError("XML 含有 DTD 或实体声明, 拒绝读取: " + entry_);
        if (token == QXmlStreamReader::Invalid)
            malformed();
    }

    [[noreturn]] void malformed() { throw BcfError("XML 格式错误: " + entry_); }

    QXmlStreamReader reader_;
    std::string entry_;
    int elements_ = 0;
};

} // namespace

const BcfXmlNode* BcfXmlNode::child(const QString& childName) const
{
    for (const BcfXmlNode& c : children)
        if (c.name == childName)
            return &c;
    return nullptr;
}

std::vector<const BcfXmlNode*> BcfXmlNode::childrenNamed(const QString& childName) const
{
    std::vector<const BcfXmlNode*> found;
    for (const BcfXmlNode& c : children)
        if (c.name == childName)
            found.push_back(&c);
    return found;
}

QString BcfXmlNode::attribute(const QString& attributeName) const
{
    for (const auto& a : attributes)
        if (a.first == attributeName)
            return a.second;
    return QString();
}

QString BcfXmlNode::childText(const QString& childName) const
{
    const BcfXmlNode* c = child(childName);
    return c ? c->text : QString();
}

BcfXmlNode BcfXmlTree::parse(const QByteArray& bytes, const std::string& entry)
{
    return TreeReader(bytes, entry).document();
}

} // namespace VeldaClient
