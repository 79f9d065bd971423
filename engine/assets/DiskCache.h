#pragma once

#include <string>

namespace Velda {

// The whole-project disk cache below the application data folder:
//   Cache/Cache.config        line n is the index address of folder n
//   Cache/cache_<n>/          index, <k>.mt, <k>.me
//   Cache/cache_<n>/texs/     textures under their plain names
// A project counts as cached once its line is committed, which happens when
// every requested file has arrived.
namespace DiskCache {

// The cache root (the application data folder, with its trailing "/"). Set
// on the GUI thread before the first remote job; read-only afterwards.
void setRoot(const std::string& root);
std::string root();

// "file://" + an absolute path: three slashes in all.
std::string localAddress(const std::string& absolutePath);

// A file:// address: a project folder on this machine is read where it
// lies, never copied into the cache nor looked up in Cache.config, so a
// folder packed again is never shown stale.
bool isFileAddress(const std::string& url);

// Lookup at start: on a hit, `rootPath` (the index address) and
// `projectRoot` become file:// addresses into the cache folder.
bool lookup(std::string& rootPath, std::string& projectRoot);

// The worker half of a fetch: stores a remote file's bytes under its name in
// the folder being filled, through a temporary file and a rename, so no
// torn file ever stands under a real name. Local addresses (holding "Cache"
// or "SkyResources") are left alone; an index address starts a new folder.
void store(const std::string& url, const void* bytes, size_t size);

// A remote file of the project did not arrive whole: nothing is stored,
// and the folder being filled may not be committed.
void storeFailed(const std::string& url);

// Whether every remote file since the last index arrived whole, so that
// the project's line may be committed.
bool folderComplete();

// Appends the line to Cache/Cache.config below `baseFolder`. False when the
// file cannot be opened; the line is then dropped.
bool commit(const std::string& baseFolder, const std::string& line);

// Lines of Cache.config as the cache counts them: fgets with 200 bytes, so a
// line of 200 bytes or more counts several times.
int countLines(const std::string& configPath);

} // namespace DiskCache
} // namespace Velda
