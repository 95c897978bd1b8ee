#pragma once
// The effect catalogue: the 16 categories and 96 effects in the order of the effect list.
// Each effect is defined beside its routine (effects/); the catalogue only orders them and
// finds them by name.
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "effects/effect.h"

namespace tessfx {

struct CategorySpec {
  std::string_view name;
  std::vector<const EffectDef*> effects;
};

// Every effect, in list order.
const std::vector<std::reference_wrapper<const EffectDef>>& Effects();
// The categories in list order, each with its effects.
const std::vector<CategorySpec>& Categories();
// Exact, case-sensitive lookup by effect name, as the dispatch matches the selected entry;
// nullptr when no effect has that name.
const EffectDef* FindEffect(std::string_view name);
// A name as a user types it (command line, project file): exact, else ignoring case;
// nullptr when nothing matches.
const EffectDef* FindEffectIgnoringCase(std::string_view name);
// The same, throwing a usage Error with UnknownEffectMessage when nothing matches.
const EffectDef& EffectNamedByUser(std::string_view name);
// The 112 rows of the effect list: headings flush left, effects behind four spaces.
const std::vector<std::string>& List1Rows();
// Effect names closest to `name`, best first: names containing it, then by edit distance
// ignoring case. The cost is bounded whatever the length of `name`.
std::vector<std::string> NearestEffectNames(std::string_view name, size_t count = 3);
// `unknown effect "Colour add" (did you mean "Color add", ...?)`, for every place a name
// comes from a user; the name is shown shortened and with control characters escaped.
std::string UnknownEffectMessage(std::string_view name);

inline constexpr std::string_view kListIndent = "    ";

}  // namespace tessfx
