/// Blocks that count only once what they hold has met the file.
///
/// A process may be killed, or a disk be full, between any two writes of a stream. Whoever reads
/// the file after that must not take stale or missing bytes for a record, so new bytes go into a
/// block that is still free, and a single byte, written last, makes a record of them. This is about
/// processes: it does not tell the disk in which order to write.
#pragma once

#include <cstdint>
#include <cstdio>

namespace saddlefit {

/// As Fmalloc(), with the same error lines, but the block stays free; in use from the start where
/// the stream was opened for appending, which cannot go back.
std::uint32_t reserveBlock(std::uint32_t size, std::FILE *stream);

/// Set a block's status byte, unless the stream only appends, and flush; false if that failed.
bool markBlock(std::uint32_t handle, std::uint8_t status, std::FILE *stream);

} // namespace saddlefit
