#pragma once

#include <cstdint>
#include <string>

namespace Velda {
namespace Platform {

// "$APPDATA/Qem Files/" when APPDATA is set, else "$XDG_DATA_HOME/Qem Files/"
// (XDG default ~/.local/share). Always ends with "/".
std::string appDataFolder();

// Directory of the running program, without a trailing separator.
std::string programFolder();

// One level, mode 0755; true when the folder exists afterwards.
bool makeDirectory(const std::string& path);

// Creates every missing parent as well; true when the folder exists afterwards.
bool makeDirectories(const std::string& path);

// Creates the application data folder with its parents; returns its path.
std::string ensureAppDataFolder();

// Seconds since the epoch.
int64_t now();

// System folder for temporary files ("$TMPDIR" or "/tmp"), with a trailing "/".
std::string tempFolder();

} // namespace Platform
} // namespace Velda
