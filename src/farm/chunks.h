#pragma once
// A render split for a cluster: the chosen frames in chunks of N, one Slurm array task each,
// and the frame ranges that name a chunk to `tessfx render --frames`.
#include <cstdint>
#include <string>
#include <vector>

namespace tessfx::farm {

// Ascending frame numbers as --frames reads them, as short as the runs allow: steps of one
// as "A-B", a longer even step as "A-BxN", other frames alone ("1-10", "1001-1046x5",
// "3,7,20-24").
std::string FrameRangeText(const std::vector<int64_t>& numbers);

struct Chunk {
  std::vector<int64_t> numbers;  // ascending; never empty
  std::string frames;            // FrameRangeText(numbers)
};

// The chosen frames (ascending, by number) in groups of `chunk_size` as they follow one
// another; the last group may be smaller. A usage Error for a size below 1.
std::vector<Chunk> SplitIntoChunks(const std::vector<int64_t>& numbers, int32_t chunk_size);

// Chunk indices (ascending) as an array list for sbatch: "0-3", "2", "0,2,5-7".
std::string ArrayIndexText(const std::vector<int32_t>& indices);

}  // namespace tessfx::farm
