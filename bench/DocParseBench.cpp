// Document parsing throughput against memcpy of the same bytes. The format
// is built so that bulk arrays reach their node with one block copy; the
// bulk case should run at no less than half of memcpy.
#include "formats/VeldaDocNode.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

namespace {

using Velda::VeldaDocNode;

const std::vector<unsigned char>& bulkDocument()
{
    static const std::vector<unsigned char> bytes = [] {
        std::vector<float> values(16u * 1024u * 1024u);  // 64 MiB
        for (size_t i = 0; i < values.size(); ++i)
            values[i] = static_cast<float>(i) * 0.5f;
        VeldaDocNode root(L"mesh");
        VeldaDocNode* attribs = new VeldaDocNode(L"attribs");
        attribs->addChild(new VeldaDocNode(L"Position", values));
        root.addChild(attribs);
        return Velda::writeDocumentClear(root);
    }();
    return bytes;
}

const std::vector<unsigned char>& smallNodesDocument()
{
    static const std::vector<unsigned char> bytes = [] {
        VeldaDocNode root(L"index");
        for (int g = 0; g < 100; ++g) {
            VeldaDocNode* group = new VeldaDocNode(L"objs");
            for (int i = 0; i < 1000; ++i)
                group->addChild(new VeldaDocNode(L"id", static_cast<int32_t>(g * 1000 + i)));
            root.addChild(group);
        }
        return Velda::writeDocumentClear(root);
    }();
    return bytes;
}

void parse(benchmark::State& state, const std::vector<unsigned char>& bytes)
{
    for (auto _ : state) {
        uint32_t size = static_cast<uint32_t>(bytes.size());
        std::unique_ptr<VeldaDocNode> root(Velda::parseDocument(bytes.data(), size));
        benchmark::DoNotOptimize(root.get());
        if (!root)
            state.SkipWithError("parse failed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes.size()));
}

// The copy a consumer would make into a fresh buffer, allocation included,
// as the parser allocates its node buffers.
void copy(benchmark::State& state, const std::vector<unsigned char>& bytes)
{
    for (auto _ : state) {
        std::unique_ptr<unsigned char[]> target(new unsigned char[bytes.size()]);
        std::memcpy(target.get(), bytes.data(), bytes.size());
        benchmark::DoNotOptimize(target.get());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes.size()));
}

void BM_ParseBulk64MB(benchmark::State& state) { parse(state, bulkDocument()); }
void BM_MemcpyBulk64MB(benchmark::State& state) { copy(state, bulkDocument()); }
void BM_Parse100kSmallNodes(benchmark::State& state) { parse(state, smallNodesDocument()); }
void BM_Memcpy100kSmallNodes(benchmark::State& state) { copy(state, smallNodesDocument()); }

} // namespace

BENCHMARK(BM_ParseBulk64MB)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MemcpyBulk64MB)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Parse100kSmallNodes)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Memcpy100kSmallNodes)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
