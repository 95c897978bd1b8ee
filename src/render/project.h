#pragma once
// Project files: an effect set-up saved as JSON and restored later, so that a render can
// be repeated (by the window or `tessfx render --project`).
//
//   {
//     "format": "tessfx-project",
//     "version": 1,
//     "effect": "Color add",
//     "sliders": [0, 0, 0, 0, 0, 0],            the six slider values
//     "spline": false,                          the spline toggle
//     "keys": [{"frame": 0, "values": [0, 0, 0, 0, 0, 0]}, ...],   values normalised (Value / Max)
//                                               a key may add "ease": "linear", "hold",
//                                               "ease in", "ease out" or "ease in and out"
//     "sequence": {"base_name": "", "start_number": 0, "digit_count": 0},
//     "swap": {"animation_file": "", "active": false, "image_file": ""}
//   }
//
// "format", "version" and "effect" are required; the other members default to the values
// shown. Files of another version, malformed JSON, members of the wrong type or range and
// files beyond the limits below are refused with an Error naming the file and the member.
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "render/editor.h"

namespace tessfx {

inline constexpr const char* kProjectFormat = "tessfx-project";
inline constexpr int kProjectVersion = 1;
// What a project file may hold at most: its size (10001 keys take about 2 MB), how deep it
// nests (four levels are used), how many values it has, and the length of one text (an
// effect name, a path). Anything beyond is refused before it is built into a document.
inline constexpr int64_t kMaxProjectBytes = int64_t{8} << 20;
inline constexpr int kMaxProjectDepth = 8;
inline constexpr size_t kMaxProjectValues = 200000;
inline constexpr size_t kMaxProjectText = 4096;

struct ProjectKey {
  int32_t frame = 0;
  std::array<float, 6> values{};
  KeyEase ease = KeyEase::Fill;  // written only when set, so files without eases stay as they were
};

struct Project {
  std::string effect;
  std::array<int16_t, 6> sliders{};
  bool spline = false;
  std::vector<ProjectKey> keys;
  SequenceSettings sequence;
  std::string swap_file;
  bool swap_active = false;
  std::string swap_image;  // the host's swap image, when it was loaded from a file
};

nlohmann::json ProjectToJson(const Project& p);
// `source` names the file in messages.
Project ProjectFromJson(const nlohmann::json& j, const std::string& source);

Project ReadProjectFile(const std::string& path);
// Written under a temporary name and renamed into place.
void WriteProjectFile(const Project& p, const std::string& path);

// The editor's current set-up.
Project CaptureProject(Editor& editor);
// Selects the effect (which clears the keys and previews once), sets the effect's sliders,
// the toggle, the keys, the sequence and the swap source (the animation, and the host's swap
// image loaded from its file when the host can; where it cannot the window says so). Throws an Error when the effect is
// unknown, a slider value lies outside its slider's range or the swap file cannot be used.
void ApplyProject(Editor& editor, const Project& p);

}  // namespace tessfx
