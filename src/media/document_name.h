#pragma once
// How window titles name a document.
#include <string>

namespace tessfx {

// The file name of `path`; for an image sequence its pattern with one # per digit
// ("shot.####.png"), however the pattern was written ("shot.%04d.png" included).
std::string DocumentTitleName(const std::string& path);

}  // namespace tessfx
