#pragma once

#include "service/BcfView.h"

#include <string>
#include <vector>

namespace VeldaClient {

// Reads the views of a BCF 2.x or 3.0 file: every viewpoint of every topic,
// topics by their index where they give one, then as the file stores them.
// The file is read whole into memory and checked before anything comes out
// of it; a file that is not sound in every part gives no views at all but a
// BcfError with the reason. Nothing is written anywhere.
class BcfImporter {
public:
    explicit BcfImporter(const BcfModelFrame& frame) : frame_(frame) {}

    std::vector<BcfView> read(const std::string& path) const;

private:
    BcfModelFrame frame_;
};

} // namespace VeldaClient
