#include "assets/AssetMesh.h"

#include "formats/Geometry.h"
#include "formats/ParserME.h"

namespace Velda {

AssetMesh::AssetMesh(const std::string& url, Context3d*) : Asset(url) {}

AssetMesh::~AssetMesh() = default;

void AssetMesh::parse()
{
    if (data_ && data_->pointer) {
        ParserME parser;
        parser.parse(data_->pointer, data_->size, this, 1);
    }
}

void AssetMesh::finish()
{
    parse();
    // The CPU copies stay until the renderer has seen every object that
    // uses the mesh (it may bake them into a merged batch).
    if (geometry_)
        geometry_->upload();
    LoadJob::finish();
    ready_ = true;
}

void AssetMesh::freeData()
{
    geometry_.reset();
}

void AssetMesh::setGeometry(Geometry* geometry, int32_t id)
{
    geometry_.reset(geometry);
    id_ = id;
}

} // namespace Velda
