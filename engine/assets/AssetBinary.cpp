#include "assets/AssetBinary.h"


namespace Velda {

AssetBinary::AssetBinary(const std::string& url) : Asset(url) {}

void AssetBinary::finish()
{
    // Callbacks see `ready` still false; they use the bytes directly.
    LoadJob::finish();
    ready_ = true;
}

void AssetBinary::freeData()
{
    dropFetchedBytes();
}

const unsigned char* AssetBinary::data() const
{
    return data_ ? static_cast<const unsigned char*>(data_->pointer) : nullptr;
}

uint32_t AssetBinary::dataSize() const
{
    return data_ ? data_->size : 0;
}

} // namespace Velda
