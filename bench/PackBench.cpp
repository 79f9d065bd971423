// Packing a model whose textures are large: eight 4096 x 2048 PNGs that
// already meet the viewer's rules. Prints the importer's own read, a plain
// copy of the texture bytes, and the whole pack, in seconds; then the pack
// of the same model with 4094 x 2048 textures, whose rows need padding, so
// each is converted.
#include "ModelReader.h"
#include "ProjectWriter.h"

#include <FreeImage.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A picture with some structure, so it neither compresses to nothing nor
// looks like noise.
void writeTexture(const std::string& path, unsigned width, unsigned height, unsigned seed)
{
    FIBITMAP* bitmap = FreeImage_Allocate(static_cast<int>(width), static_cast<int>(height), 24);
    for (unsigned y = 0; y < height; ++y) {
        BYTE* row = FreeImage_GetScanLine(bitmap, static_cast<int>(y));
        for (unsigned x = 0; x < width; ++x) {
            unsigned h = (x * 73856093u) ^ (y * 19349663u) ^ (seed * 83492791u);
            h ^= h >> 15;
            h *= 2246822519u;
            h ^= h >> 13;
            row[3 * x + FI_RGBA_RED] = static_cast<BYTE>((x ^ y) + (h & 15));
            row[3 * x + FI_RGBA_GREEN] = static_cast<BYTE>(((x * 3 + y * 7) >> 4) + ((h >> 8) & 31));
            row[3 * x + FI_RGBA_BLUE] = static_cast<BYTE>(h >> 20);
        }
    }
    FreeImage_Save(FIF_PNG, bitmap, path.c_str(), PNG_Z_BEST_SPEED);
    FreeImage_Unload(bitmap);
}

void writeTextures(const fs::path& folder, int textures, unsigned width)
{
    fs::create_directories(folder);
    for (int i = 0; i < textures; ++i)
        writeTexture((folder / ("texture " + std::to_string(i) + ".png")).string(), width, 2048, static_cast<unsigned>(i));
}

void writeModel(const fs::path& folder, int textures)
{
    std::ofstream obj(folder / "scene.obj"), mtl(folder / "scene.mtl");
    obj << "mtllib scene.mtl\n";
    for (int i = 0; i < textures; ++i) {
        const int x = 2 * i;
        obj << "v " << x << " 0 0\nv " << x + 1 << " 0 0\nv " << x + 1 << " 1 0\nv " << x << " 1 0\n";
    }
    obj << "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n";
    for (int i = 0; i < textures; ++i) {
        const int b = 4 * i + 1;
        obj << "o quad" << i << "\nusemtl m" << i << "\nf " << b << "/1 " << b + 1 << "/2 " << b + 2 << "/3 " << b + 3
            << "/4\n";
        mtl << "newmtl m" << i << "\nKd 1 1 1\nmap_Kd texture " << i << ".png\n";
    }
}

} // namespace

int main(int argc, char** argv)
{
    const int textures = argc > 1 ? std::atoi(argv[1]) : 8;
    FreeImage_Initialise(FALSE);
    const fs::path root = fs::temp_directory_path() / ("velda-pack-bench-" + std::to_string(getpid()));
    writeTextures(root / "model", textures, 4096);
    writeModel(root / "model", textures);
    writeTextures(root / "padded", textures, 4094);
    writeModel(root / "padded", textures);
    uintmax_t textureBytes = 0;
    for (int i = 0; i < textures; ++i)
        textureBytes += fs::file_size(root / "model" / ("texture " + std::to_string(i) + ".png"));

    VeldaPack::ReadOptions read;
    auto start = Clock::now();
    VeldaPack::PackScene scene = VeldaPack::readModel((root / "model" / "scene.obj").string(), read);
    const double readSeconds = since(start);

    start = Clock::now();
    fs::create_directories(root / "copy");
    for (int i = 0; i < textures; ++i) {
        const std::string name = "texture " + std::to_string(i) + ".png";
        fs::copy_file(root / "model" / name, root / "copy" / name);
    }
    const double copySeconds = since(start);

    start = Clock::now();
    scene = VeldaPack::readModel((root / "model" / "scene.obj").string(), read);
    const VeldaPack::PackReport report =
        VeldaPack::ProjectWriter::write(scene, (root / "project").string(), VeldaPack::PackOptions());
    const double packSeconds = since(start);

    std::printf("pack: %d textures of 4096x2048 (%.1f MB of PNG): importer read %.3f s, byte copy %.3f s, "
                "whole pack %.3f s (%llu textures written)\n",
                textures, static_cast<double>(textureBytes) / 1e6, readSeconds, copySeconds, packSeconds,
                static_cast<unsigned long long>(report.textures));

    start = Clock::now();
    scene = VeldaPack::readModel((root / "padded" / "scene.obj").string(), read);
    const VeldaPack::PackReport converted =
        VeldaPack::ProjectWriter::write(scene, (root / "padded-project").string(), VeldaPack::PackOptions());
    std::printf("pack: %d textures of 4094x2048 converted on %u cores: whole pack %.3f s (%llu textures written)\n",
                textures, std::thread::hardware_concurrency(), since(start),
                static_cast<unsigned long long>(converted.textures));
    std::error_code ec;
    fs::remove_all(root, ec);
    FreeImage_DeInitialise();
    return 0;
}
