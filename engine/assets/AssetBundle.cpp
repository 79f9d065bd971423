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
    for (Asset* child : unpacked_)
        delete child;
    for (Asset* child : children_)
        delete child;
}

void AssetBundle::run()
{
    LoadJob::run();
    if (!abandoned())
        unpack();
}

void AssetBundle::unpack()
{
    if (!data_ || !data_->pointer) {
        unpacked_state_ = Unpacked::kNothingFetched;
        return;
    }
    // A file that failed to arrive (size 0) leaves the bundle unready for ever.
    if (data_->size == 0) {
        dropFetchedBytes();
        unpacked_state_ = Unpacked::kFailed;
        return;
    }
    const std::string extension = extensionOf(path());
    BundleHeader header;
    readBundleHeader(static_cast<const unsigned char*>(data_->pointer), data_->size, header);
    const int count = unpackBundle(
        static_cast<const unsigned char*>(data_->pointer), data_->size,
        [&](int i, std::unique_ptr<VeldaDocNode> root, uint32_t consumed) {
            const std::string address = path() + "?Id=" + numberText(static_cast<int64_t>(i));
            if (extension == "ME" || extension == "me") {
                auto* mesh = new AssetMesh(address, renderer_);
                mesh->setJobData(new JobData{root.get(), consumed, false});
                mesh->parse();
                mesh->setJobData(nullptr);  // the document goes with this step
                unpacked_.push_back(mesh);
            } else if (extension == "MT" || extension == "mt") {
                auto* material = new AssetMaterial(address, renderer_);
                material->setJobData(new JobData{root.get(), consumed, false});
                material->parse();
                material->setJobData(nullptr);
                unpacked_.push_back(material);
            }
        },
        &unpackError_);
    dropFetchedBytes();
    // A bundle that did not deliver every document it declares (cut,
    // corrupt or not a bundle at all) keeps what parsed but stays unready,
    // so the scene never counts as complete without it.
    unpackDeclared_ = header.documents > 0 ? header.documents : 0;
    unpacked_state_ = count >= 0 && count >= header.documents ? Unpacked::kWhole : Unpacked::kIncomplete;
}

void AssetBundle::finish()
{
    if (unpacked_state_ == Unpacked::kNotYet)
        unpack();  // handed over without a run (tests do)
    const Unpacked state = unpacked_state_;
    unpacked_state_ = Unpacked::kNotYet;
    if (state == Unpacked::kNothingFetched) {
        ready_ = true;
        return;
    }
    if (state == Unpacked::kFailed)
        return;
    declared_ = unpackDeclared_;
    for (Asset* child : unpacked_) {
        for (const Callback& callback : callbacks_)
            child->addCallback(callback);
        children_.push_back(child);
        child->finish();
    }
    unpacked_.clear();
    if (state != Unpacked::kWhole) {
        VLOG << "Bundle " << path() << " incomplete : " << unpackError_;
        return;
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
