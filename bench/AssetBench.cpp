// Unpacking a bundle against zlib alone, and texture decoding. One bundle is
// unpacked within one frame, so unpack and parse should cost little more
// than the inflate itself (target: under 1.3 times).
#include "assets/AssetTexture2D.h"
#include "formats/PackedData.h"
#include "formats/ParserImage.h"
#include "formats/VeldaDocNode.h"

#include "TestImages.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

using Velda::VeldaDocNode;

// About 50 MB of mesh documents: wavy grids with positions, normals, UVs
// and 32-bit indices, as a packer writes them.
const std::vector<unsigned char>& bigBundle()
{
    static const std::vector<unsigned char> bytes = [] {
        std::vector<std::unique_ptr<VeldaDocNode>> docs;
        const int side = 256;  // 65,536 vertices a mesh
        for (int m = 0; m < 14; ++m) {
            std::vector<float> position, normal, uv;
            std::vector<int32_t> indices;
            for (int y = 0; y < side; ++y)
                for (int x = 0; x < side; ++x) {
                    const float h = 0.3f * std::sin(0.11f * x + m) * std::cos(0.07f * y);
                    position.insert(position.end(), {x * 0.1f, y * 0.1f, h});
                    normal.insert(normal.end(), {-0.03f * std::cos(0.11f * x), 0.02f * std::sin(0.07f * y), 1.0f});
                    uv.insert(uv.end(), {x / float(side), y / float(side)});
                }
            for (int y = 0; y + 1 < side; ++y)
                for (int x = 0; x + 1 < side; ++x) {
                    const int32_t a = y * side + x;
                    indices.insert(indices.end(), {a, a + 1, a + side, a + 1, a + side + 1, a + side});
                }
            std::unique_ptr<VeldaDocNode> d(new VeldaDocNode(L"mesh"));
            d->addChild(new VeldaDocNode(L"id", static_cast<int32_t>(m)));
            d->addChild(new VeldaDocNode(L"vnum", static_cast<int32_t>(side * side)));
            VeldaDocNode* attribs = new VeldaDocNode(L"attribs");
            attribs->addChild(new VeldaDocNode(L"Position", position));
            attribs->addChild(new VeldaDocNode(L"Normal", normal));
            attribs->addChild(new VeldaDocNode(L"UV0", uv));
            d->addChild(attribs);
            VeldaDocNode* sets = new VeldaDocNode(L"indices");
            sets->addChild(new VeldaDocNode(L"s0", indices));
            d->addChild(sets);
            docs.push_back(std::move(d));
        }
        std::vector<const VeldaDocNode*> raw;
        for (const auto& d : docs)
            raw.push_back(d.get());
        return Velda::packBundle(raw);
    }();
    return bytes;
}

uint32_t uncompressedSize(const std::vector<unsigned char>& bundle)
{
    Velda::BundleHeader header;
    Velda::readBundleHeader(bundle.data(), bundle.size(), header);
    return header.uncompressedSize;
}

void inflateOnly(const std::vector<unsigned char>& bundle)
{
    const uint32_t size = uncompressedSize(bundle);
    std::unique_ptr<unsigned char[]> out(new unsigned char[size]);
    uLongf produced = size;
    uncompress(out.get(), &produced, bundle.data() + Velda::kBundleHeaderSize,
               static_cast<uLong>(bundle.size() - Velda::kBundleHeaderSize));
    benchmark::DoNotOptimize(out.get());
}

void unpackAndParse(const std::vector<unsigned char>& bundle)
{
    size_t nodes = 0;
    Velda::unpackBundle(bundle.data(), bundle.size(),
                        [&](int, std::unique_ptr<VeldaDocNode> root, uint32_t) { nodes += root->children.size(); });
    benchmark::DoNotOptimize(nodes);
}

void BM_ZlibUncompress50MB(benchmark::State& state)
{
    const auto& bundle = bigBundle();
    for (auto _ : state)
        inflateOnly(bundle);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * uncompressedSize(bundle));
}

void BM_UnpackAndParse50MB(benchmark::State& state)
{
    const auto& bundle = bigBundle();
    for (auto _ : state)
        unpackAndParse(bundle);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * uncompressedSize(bundle));
}

void decode(benchmark::State& state, VeldaTest::ImageKind kind, const char* name)
{
    const int side = static_cast<int>(state.range(0));
    const std::vector<unsigned char> file = VeldaTest::encodeImage(kind, side, side, 24);
    for (auto _ : state) {
        Velda::AssetTexture2D target(name, nullptr);
        std::unique_ptr<Velda::Parser> parser(Velda::AssetTexture2D::parserFor(name));
        if (!parser->parse(file.data(), static_cast<uint32_t>(file.size()), &target, 1))
            state.SkipWithError("decode failed");
    }
    state.counters["MPixel/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * side * side / 1e6, benchmark::Counter::kIsRate);
}

void BM_DecodeJpg(benchmark::State& state) { decode(state, VeldaTest::ImageKind::Jpg, "bench.jpg"); }
void BM_DecodePng(benchmark::State& state) { decode(state, VeldaTest::ImageKind::Png, "bench.png"); }

double medianSeconds(void (*work)(const std::vector<unsigned char>&), int runs)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work(bigBundle());
        times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

BENCHMARK(BM_ZlibUncompress50MB)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_UnpackAndParse50MB)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DecodeJpg)->Arg(2048)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DecodePng)->Arg(2048)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    const double inflate = medianSeconds(inflateOnly, 7);
    const double unpack = medianSeconds(unpackAndParse, 7);
    std::printf("bundle: %.1f MB uncompressed, %.1f MB packed\n", uncompressedSize(bigBundle()) / 1e6,
                bigBundle().size() / 1e6);
    std::printf("median of 7: uncompress %.1f ms, unpack+parse %.1f ms, ratio %.3f (target < 1.3)\n",
                inflate * 1e3, unpack * 1e3, unpack / inflate);
    benchmark::Shutdown();
    return 0;
}
