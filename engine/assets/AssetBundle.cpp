#include "assets/AssetBundle.h"

#include "assets/AssetMaterial.h"
#include "assets/AssetMesh.h"
#include "formats/PackedData.h"
#include "formats/TextHelpers.h"
#include "jobs/NumberText.h"
#include "log/Log.h"

namespace Velda {

AssetBundle::AssetBundle(const std::string& url, Context3d* renderer) : Asset(url), renderer_(renderer) {}

AssetBundle::~AssetBundle()
{
    for (Asset* child : children_)
        delete child;
}

void AssetBundle::finish()
{
    if (data_ && data_->pointer) {
        // A file that failed to arrive (size 0) leaves the bundle unready for ever.
        if (data_->size == 0)
            return;
        const std::string extension = extensionOf(path());
        BundleHeader header;
        readBundleHeader(static_cast<const unsigned char*>(data_->pointer), data_->size, header);
        std::string why;
        const int count = unpackBundle(
            static_cast<const unsigned char*>(data_->pointer), data_->size,
            [&](int i, std::unique_ptr<VeldaDocNode> root, uint32_t consumed) {
                const std::string address = path() + "?Id=" + numberText(static_cast<int64_t>(i));
                Asset* child = nullptr;
                if (extension == "ME" || extension == "me")
                    child = new AssetMesh(address, renderer_);
                else if (extension == "MT" || extension == "mt")
                    child = new AssetMaterial(address, renderer_);
                if (!child)
                    return;
                for (const Callback& callback : callbacks_)
                    child->addCallback(callback);
                children_.push_back(child);
                child->setJobData(new JobData{root.get(), consumed, false});
                child->finish();
                child->setJobData(nullptr);  // the document goes with this step
            },
            &why);
        dropFetchedBytes();
        // A bundle that did not deliver every document it declares (cut,
        // corrupt or not a bundle at all) keeps what parsed but stays
        // unready, so the scene never counts as complete without it.
        declared_ = header.documents > 0 ? header.documents : 0;
        if (count < 0 || count < header.documents) {
            VLOG << "Bundle " << path() << " incomplete : " << why;
            return;
        }
    }
    ready_ = true;
}

bool AssetBundle::isReady() const
{
    for (const Asset* child : children_)
        if (!child->isReady())
            return false;
    return ready_;
}

void AssetBundle::freeData()
{
    for (Asset* child : children_)
        child->freeData();
}

double AssetBundle::readyFraction() const
{
    if (children_.empty())
        return 0.0;
    // Documents that never parsed count as not ready.
    const size_t all = children_.size() > declared_ ? children_.size() : declared_;
    size_t ready = 0;
    for (const Asset* child : children_)
        if (child->isReady())
            ++ready;
    return static_cast<double>(ready) / static_cast<double>(all);
}

} // namespace Velda
