#include "service/BcfVisInfo.h"

#include "service/BcfError.h"

#include "service/BcfXmlDocument.h"

#include <cmath>

namespace VeldaClient {

namespace {

QString number(double value)
{
    return QString::number(std::isfinite(value) ? value : 0.0, 'g', 12);
}

void writeVector(QXmlStreamWriter& xml, const char* name, const BcfCamera::Vector& v)
{
    xml.writeStartElement(name);
    xml.writeTextElement("X", number(v.x));
    xml.writeTextElement("Y", number(v.y));
    xml.writeTextElement("Z", number(v.z));
    xml.writeEndElement();
}

class CameraReader {
public:
    explicit CameraReader(const std::string& entry) : entry_(entry) {}

    double value(const BcfXmlNode& parent, const char* name) const
    {
        const BcfXmlNode* node = parent.child(name);
        bool ok = false;
        const double v = node ? node->text.toDouble(&ok) : 0.0;
        if (!ok || !std::isfinite(v))
            throw BcfError("视点的相机数据无效: " + entry_);
        return v;
    }

    BcfCamera::Vector vector(const BcfXmlNode& parent, const char* name) const
    {
        const BcfXmlNode* node = parent.child(name);
        if (!node)
            throw BcfError("视点的相机数据无效: " + entry_);
        return {value(*node, "X"), value(*node, "Y"), value(*node, "Z")};
    }

    BcfCamera camera(const BcfXmlNode& node, BcfCamera::Kind kind) const
    {
        BcfCamera camera;
        camera.kind = kind;
        camera.viewPoint = vector(node, "CameraViewPoint");
        camera.direction = vector(node, "CameraDirection");
        camera.upVector = vector(node, "CameraUpVector");
        if (kind == BcfCamera::kPerspective)
            camera.fieldOfView = value(node, "FieldOfView");
        else
            camera.viewToWorldScale = value(node, "ViewToWorldScale");
        if (node.child("AspectRatio"))
            camera.aspectRatio = value(node, "AspectRatio");
        return camera;
    }

private:
    std::string entry_;
};

void addSelected(const BcfXmlNode& component, std::vector<std::string>& selection)
{
    const std::string id = component.attribute("IfcGuid").toStdString();
    if (BcfVisInfo::isIfcGuid(id))
        selection.push_back(id);
}

} // namespace

bool BcfVisInfo::isIfcGuid(const std::string& id)
{
    if (id.size() != 22)
        return false;
    for (char c : id)
        if (!((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '$'))
            return false;
    return true;
}

QByteArray BcfVisInfo::write(const BcfVisualization& visualization)
{
    return bcfXmlDocument("VisualizationInfo", [&visualization](QXmlStreamWriter& xml) {
        xml.writeAttribute("Guid", visualization.guid);

        std::vector<std::string> ids;
        for (const std::string& id : visualization.selection)
            if (isIfcGuid(id))
                ids.push_back(id);
        if (!ids.empty()) {
            xml.writeStartElement("Components");
            xml.writeStartElement("Selection");
            for (const std::string& id : ids) {
                xml.writeEmptyElement("Component");
                xml.writeAttribute("IfcGuid", QString::fromStdString(id));
            }
            xml.writeEndElement();
            // Required beside a selection; everything stays visible.
            xml.writeEmptyElement("Visibility");
            xml.writeAttribute("DefaultVisibility", "true");
            xml.writeEndElement();
        }

        const BcfCamera& camera = visualization.camera;
        const bool orthogonal = camera.kind == BcfCamera::kOrthogonal;
        xml.writeStartElement(orthogonal ? "OrthogonalCamera" : "PerspectiveCamera");
        writeVector(xml, "CameraViewPoint", camera.viewPoint);
        writeVector(xml, "CameraDirection", camera.direction);
        writeVector(xml, "CameraUpVector", camera.upVector);
        if (orthogonal)
            xml.writeTextElement("ViewToWorldScale", number(camera.viewToWorldScale));
        else  // to 1e-5 degrees: a float's noise would push 60 out of the 2.1 schema's range
            xml.writeTextElement("FieldOfView", number(std::round(camera.fieldOfView * 1e5) / 1e5));
        xml.writeEndElement();
    });
}

BcfVisualization BcfVisInfo::read(const BcfXmlNode& root, const std::string& entry)
{
    if (root.name != "VisualizationInfo")
        throw BcfError("视点文件格式错误: " + entry);
    BcfVisualization visualization;
    visualization.guid = root.attribute("Guid");
    const CameraReader reader(entry);
    if (const BcfXmlNode* node = root.child("PerspectiveCamera"))
        visualization.camera = reader.camera(*node, BcfCamera::kPerspective);
    else if (const BcfXmlNode* node = root.child("OrthogonalCamera"))
        visualization.camera = reader.camera(*node, BcfCamera::kOrthogonal);
    else
        throw BcfError("视点没有相机: " + entry);

    if (const BcfXmlNode* components = root.child("Components")) {
        if (const BcfXmlNode* selection = components->child("Selection"))
            for (const BcfXmlNode* component : selection->childrenNamed("Component"))
                addSelected(*component, visualization.selection);
        // BCF 2.0 marks the selected ones among all its components.
        for (const BcfXmlNode* component : components->childrenNamed("Component"))
            if (component->attribute("Selected") == "true")
                addSelected(*component, visualization.selection);
    }
    return visualization;
}

} // namespace VeldaClient
