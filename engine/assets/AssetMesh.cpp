#include "assets/AssetMesh.h"

#include "assets/AssetManager.h"
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
    if (geometry_) {
        geometry_->upload();
        AssetManager* manager = AssetManager::instance();
        if (manager && !manager->keepGeometryCopies())
            geometry_->releaseCopies();
    }
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
