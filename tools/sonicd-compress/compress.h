#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace sonic::compress {

inline constexpr const char* IN_USE = "in use";

/// The plain data files in a folder that are finished by their names: not the newest of their
/// instrument, and not written to for an hour. In the order of their names.
std::vector<std::filesystem::path> finished_files(const std::filesystem::path& folder);

/// Removes what interrupted runs have left of files that are gone.
void remove_unfinished_copies(const std::filesystem::path& folder);

/// Replaces a file by FILE.zst. Whenever it is interrupted, by a power cut too, one of
/// them is there and complete; if both are, the next call ends the work. A FILE.zst of other
/// records, of before the clock was set back, or one that cannot be read is left: this one becomes
/// FILE.2.zst. Returns why the file has been left as it is: IN_USE by this program or one that
/// writes to it, or not one of the daemon's; empty if it was not left. The process is ended by
/// SIGIO when another one opens the file for writing meanwhile. Failures are std::runtime_error.
std::string compress_file(const std::filesystem::path& file);

}  // namespace sonic::compress
