#include "engine/catalogue.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

#include "core/error.h"
#include "effects/families.h"

namespace tessfx {
namespace {

// The effect list, top to bottom. Headings come from the effects' categories.
constexpr std::string_view kOrder[] = {
    // Adjust
    "Color adjustment",
    "Color add",
    "Value adjustment",
    "Threshold",
    "Saturation",
    "Hue / Sat / Value",
    "Tint",
    // Color
    "Map to gradient",
    "Negative",
    "Invert value",
    "Swap channels",
    "Roll channels",
    "8 bit ordered dither",
    "8 bit random dither",
    "1 bit ordered dither",
    "1 bit random dither",
    "Power curve",
    "Posterize",
    // Blur
    "Simple blur",
    "Gaussian blur",
    "Motion blur",
    "Zoom blur",
    "Mystic vision",
    "Shadow vision",
    // Photographic
    "Light diffusion",
    "Dark diffusion",
    "Fisheye",
    "Fog filter",
    "Sunset filter",
    "Day for night",
    // Sharpen
    "Sharpen",
    "Unsharp mask",
    "Digital photo enhance",
    // Convolve
    "Grey emboss",
    "Color emboss",
    "Edge detect",
    "Sobel edge detect",
    "Maximize",
    "Median",
    "Minimize",
    "MaxMin",
    "MinMax",
    // Noise
    "Value noise",
    "Color noise",
    "Jitter",
    "Film grain",
    // Transform
    "Transform",
    "Wireframe designer",
    "Globe",
    "Mosaic",
    "Wave distort",
    "Mirage",
    "Wave in breeze",
    // Video
    "Slate",
    "Deinterlace",
    "Reverse fields",
    "Reduce flicker",
    "Video lines",
    // Artistic
    "Apply current paper",
    "Wet paint",
    // Combine with swap
    "Mix buffers",
    "Transition by alpha",
    "Combine add",
    "Combine subtract",
    "Combine multiply",
    "Combine divide",
    "Combine screen",
    "Combine luminance",
    "Combine complement",
    "Combine difference",
    "Combine around grey",
    "Combine greater than",
    "Combine less than",
    "Combine texturize",
    "Combine binary",
    "Combine And",
    "Combine Or",
    "Combine Xor",
    // Composite with swap
    "Greenscreen",
    "Bluescreen",
    "Color key",
    // Composite with sequence
    "Greenscreen sequence",
    "Bluescreen sequence",
    "Color key sequence",
    "Alpha comp",
    "Cell edge comp",
    // Displace by swap
    "Displace",
    "Cloaking displace",
    "Pool displace",
    // Animated
    "Perlin noise",
    "Color perlin noise",
    "Ghost",
    "Snowfall",
    "Old film",
    "Lens flare",
    // Brush
    "Wave brush in breeze",
};

std::vector<std::reference_wrapper<const EffectDef>> BuildEffects() {
  std::map<std::string_view, const EffectDef*> defined;
  for (auto family : {AdjustEffects, LookEffects, BlurEffects, ConvolveEffects, RankEffects, NoiseEffects, VideoEffects,
                      CombineEffects, GeometricEffects, KeyingEffects, GenerativeEffects, DistortionEffects})
    for (const EffectDef& e : family())
      if (!defined.emplace(e.name, &e).second)
        Fail(ErrorKind::Software, "effect \"" + std::string(e.name) + "\" is defined twice");
  std::vector<std::reference_wrapper<const EffectDef>> ordered;
  std::set<std::string_view> closed_categories;
  for (std::string_view name : kOrder) {
    const auto it = defined.find(name);
    if (it == defined.end())
      Fail(ErrorKind::Software, "the effect list names \"" + std::string(name) + "\", which no family defines");
    const EffectDef& e = *it->second;
    // A category's effects stand together under one heading.
    if (!ordered.empty() && ordered.back().get().category != e.category) {
      closed_categories.insert(ordered.back().get().category);
      if (closed_categories.count(e.category))
        Fail(ErrorKind::Software, "effect \"" + std::string(name) + "\" is apart from the rest of its category");
    }
    ordered.emplace_back(e);
    defined.erase(it);
  }
  if (!defined.empty())
    Fail(ErrorKind::Software, "effect \"" + std::string(defined.begin()->first) + "\" is missing from the effect list");
  return ordered;
}

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

std::string LowerCase(std::string_view s) {
  std::string out(s);
  std::transform(out.begin(), out.end(), out.begin(), Lower);
  return out;
}

// Longer names than any effect's cannot be close to one; comparing a bounded prefix keeps
// the cost of a suggestion fixed however long the typed name is.
constexpr size_t kComparedLength = 48;

// Edit distance with adjacent transpositions ("Colro" is one step from "Color").
size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<size_t> before(b.size() + 1), prev(b.size() + 1), cur(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) prev[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    cur[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
      cur[j] = std::min({prev[j] + 1, cur[j - 1] + 1, prev[j - 1] + cost});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) cur[j] = std::min(cur[j], before[j - 2] + 1);
    }
    std::swap(before, prev);
    std::swap(prev, cur);
  }
  return prev[b.size()];
}

// At most 60 characters of a name, control characters and other bytes outside printable
// ASCII as \xNN, so that a hostile name can neither flood nor drive a terminal.
std::string ShownName(std::string_view name) {
  constexpr size_t kShown = 60;
  std::string out;
  for (size_t i = 0; i < name.size() && i < kShown; ++i) {
    const unsigned char c = static_cast<unsigned char>(name[i]);
    if (c >= 0x20 && c < 0x7f && c != '\\' && c != '"') {
      out += static_cast<char>(c);
    } else {
      static constexpr char kHex[] = "0123456789abcdef";
      out += "\\x";
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  if (name.size() > kShown) out += "...";
  return out;
}

}  // namespace

const std::vector<std::reference_wrapper<const EffectDef>>& Effects() {
  static const std::vector<std::reference_wrapper<const EffectDef>> effects = BuildEffects();
  return effects;
}

const std::vector<CategorySpec>& Categories() {
  static const std::vector<CategorySpec> categories = [] {
    std::vector<CategorySpec> c;
    for (const EffectDef& e : Effects()) {
      if (c.empty() || c.back().name != e.category) c.push_back({e.category, {}});
      c.back().effects.push_back(&e);
    }
    return c;
  }();
  return categories;
}

const EffectDef* FindEffect(std::string_view name) {
  static const std::map<std::string_view, const EffectDef*> index = [] {
    std::map<std::string_view, const EffectDef*> m;
    for (const EffectDef& e : Effects()) m.emplace(e.name, &e);
    return m;
  }();
  auto it = index.find(name);
  return it == index.end() ? nullptr : it->second;
}

const EffectDef* FindEffectIgnoringCase(std::string_view name) {
  if (const EffectDef* e = FindEffect(name)) return e;
  if (name.size() > kComparedLength) return nullptr;
  const std::string lower = LowerCase(name);
  for (const EffectDef& e : Effects())
    if (LowerCase(e.name) == lower) return &e;
  return nullptr;
}

const EffectDef& EffectNamedByUser(std::string_view name) {
  if (const EffectDef* e = FindEffectIgnoringCase(name)) return *e;
  Fail(ErrorKind::Usage, UnknownEffectMessage(name));
}

const std::vector<std::string>& List1Rows() {
  static const std::vector<std::string> rows = [] {
    std::vector<std::string> r;
    for (const CategorySpec& c : Categories()) {
      r.emplace_back(c.name);
      for (const EffectDef* e : c.effects) r.push_back(std::string(kListIndent) + std::string(e->name));
    }
    return r;
  }();
  return rows;
}

std::vector<std::string> NearestEffectNames(std::string_view name, size_t count) {
  const std::string typed = LowerCase(name.substr(0, kComparedLength));
  struct Scored {
    bool contains;  // the name holds what was typed (at least three letters of it)
    size_t distance;
    std::string_view name;
  };
  std::vector<Scored> scored;
  for (const EffectDef& e : Effects()) {
    const std::string lower = LowerCase(e.name);
    const bool contains = typed.size() >= 3 && lower.find(typed) != std::string::npos;
    const size_t distance = EditDistance(typed, lower);
    // Suggest only what is plausibly meant: a name holding the text, or one within about a
    // third of its letters.
    if (contains || distance <= std::max<size_t>(2, lower.size() / 3)) scored.push_back({contains, distance, e.name});
  }
  std::stable_sort(scored.begin(), scored.end(), [](const Scored& x, const Scored& y) {
    if (x.contains != y.contains) return x.contains;
    return x.distance < y.distance;
  });
  std::vector<std::string> out;
  for (size_t i = 0; i < scored.size() && i < count; ++i) out.emplace_back(scored[i].name);
  return out;
}

std::string UnknownEffectMessage(std::string_view name) {
  std::string hint;
  for (const std::string& n : NearestEffectNames(name))
    hint += (hint.empty() ? " (did you mean \"" : ", \"") + n + "\"";
  return "unknown effect \"" + ShownName(name) + "\"" + (hint.empty() ? "" : hint + "?)");
}

}  // namespace tessfx
