#pragma once

#include "service/BcfCamera.h"
#include "service/BcfXmlTree.h"

#include <QByteArray>
#include <QString>

#include <string>
#include <vector>

namespace VeldaClient {

// What the viewer keeps of a viewpoint (`viewpoint.bcfv`): its camera and
// the IFC GlobalIds of the selected components.
struct BcfVisualization {
    QString guid;
    BcfCamera camera;
    std::vector<std::string> selection;
};

class BcfVisInfo {
public:
    // BCF 2.1: the selection (with the visibility that must come with it),
    // then the one camera. GlobalIds that are not 22 characters of the IFC
    // alphabet are left out.
    static QByteArray write(const BcfVisualization& visualization);
    // BCF 2.x or 3.0; throws BcfError naming `entry` when it holds no camera
    // or a camera's numbers are missing or not numbers.
    static BcfVisualization read(const BcfXmlNode& root, const std::string& entry);
    static bool isIfcGuid(const std::string& id);
};

} // namespace VeldaClient
