#pragma once
// The options that say which effect a command renders and how its sliders move: a project
// file, or an effect by name with slider values and key frames. `render`, `keys` and
// `farm submit` take them alike.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "render/editor.h"

namespace tessfx::cli {

struct EffectOptions {
  std::string project;
  std::string effect;
  std::string values;
  std::vector<std::string> keys;
  bool spline = false;
};

void AddEffectOptions(CLI::App* cmd, EffectOptions& o, bool with_values);

// "F:V1,V2,...": go to frame F (in the document's frame numbers, the first being
// `number_base`), set the sliders, set a key (replacing one at F).
void SetKey(Editor& editor, const std::string& key_text, int64_t number_base);

// Selects the effect and sets sliders and keys from the options (or the project). Key
// frames are given in the document's frame numbers, from `number_base`. With
// `need_routine`, an effect not implemented in this build is refused.
void SetUpEffect(Editor& editor, const EffectOptions& o, bool need_routine, int64_t number_base);

}  // namespace tessfx::cli
