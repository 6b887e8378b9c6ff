#pragma once

#include <filesystem>
#include <vector>

namespace sonic::compress {

/// The plain half-hour files in a folder that are finished: not the newest of their instrument, and
/// not written to for an hour. In the order of their names. By a name and a beginning as the
/// daemon's files have them; other files are not touched.
std::vector<std::filesystem::path> finished_files(const std::filesystem::path& folder);

/// Replaces a file by FILE.zst. Whenever it is interrupted, by a power cut too, one of
/// them is there and complete; if both are, the next call ends the work. A FILE.zst of other
/// records, of before the clock was set back, or one that cannot be read is left: this one becomes
/// FILE.2.zst. False, and nothing done, when somebody has the file open for writing. Failures are
/// std::runtime_error.
bool compress_file(const std::filesystem::path& file);

}  // namespace sonic::compress
