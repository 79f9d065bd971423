#pragma once

#include "service/BcfView.h"

#include <QByteArray>

#include <string>
#include <vector>

namespace VeldaClient {

// Writes saved views as a BCF 2.1 file: `bcf.version`, then one folder per
// view, named by its topic's GUID, with `markup.bcf`, `viewpoint.bcfv` and
// `snapshot.png` (the view's picture). Cameras go out in the model's own
// coordinates, in metres when the model's unit is known.
class BcfExporter {
public:
    explicit BcfExporter(const BcfModelFrame& frame) : frame_(frame) {}

    // The file's bytes; empty when the archive can't be made.
    QByteArray archive(const std::vector<BcfView>& views) const;
    // Writes the file whole or not at all; false when it can't.
    bool write(const std::string& path, const std::vector<BcfView>& views) const;

private:
    BcfModelFrame frame_;
};

} // namespace VeldaClient
