#pragma once

#include <QByteArray>
#include <QString>
#include <QXmlStreamWriter>

#include <functional>

namespace VeldaClient {

// A whole BCF document: the declaration, then the root element holding what
// `body` writes into it.
inline QByteArray bcfXmlDocument(const QString& root, const std::function<void(QXmlStreamWriter&)>& body)
{
    QByteArray bytes;
    QXmlStreamWriter xml(&bytes);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(root);
    body(xml);
    xml.writeEndElement();
    xml.writeEndDocument();
    return bytes;
}

} // namespace VeldaClient
