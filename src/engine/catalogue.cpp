#include "engine/catalogue.h"

#include <algorithm>
#include <map>

#include "engine/actions.h"

namespace tessfx {
namespace {

using P = PointerKind;
using B = ButtonMode;

SliderSpec S(std::string_view caption, int16_t min, int16_t max, int16_t value) { return {caption, min, max, value, false}; }
// A slider whose Max is assigned before its Min.
SliderSpec M(std::string_view caption, int16_t min, int16_t max, int16_t value) { return {caption, min, max, value, true}; }

struct Row {
  std::string_view category;
  EffectSpec effect;
};

std::vector<EffectSpec> BuildEffects() {
  const std::vector<SliderSpec> none;
  const std::vector<SliderSpec> mystic = {S("Center X", 0, 100, 50), S("Center y", 0, 100, 50), S("Factor", 1, 100, 20),
                                          S("Quality", 1, 200, 50)};
  const std::vector<SliderSpec> greenscreen = {S("Low clip", 0, 255, 64), S("High clip", 0, 255, 80),
                                               S("Artificial green", 0, 255, 32)};
  const std::vector<SliderSpec> bluescreen = {S("Low clip", 0, 255, 64), S("High clip", 0, 255, 80),
                                              S("Artificial blue", 0, 255, 32)};
  const std::vector<SliderSpec> color_key = {S("Low clip", 0, 255, 64), S("High clip", 0, 255, 80),
                                             S("Key color R", 0, 255, 0), S("Key color G", 0, 255, 0),
                                             S("Key color B", 0, 255, 0)};
  const std::vector<SliderSpec> perlin = {M("Iterations", 1, 8, 4), M("Scale", 1, 10, 2), M("Speed", 0, 100, 10),
                                          M("Type", 0, 3, 0), M("Phase", 0, 255, 128)};
  std::vector<SliderSpec> color_perlin = perlin;
  color_perlin.push_back(M("Offset", 0, 255, 200));

  auto E = [](std::string_view category, std::string_view name, std::vector<SliderSpec> sliders, EffectAction action,
              P pointer = P::Default) {
    EffectSpec e;
    e.category = category;
    e.name = name;
    e.sliders = std::move(sliders);
    e.action = action;
    e.pointer = pointer;
    return e;
  };
  auto Swap = [](EffectSpec e, B button = B::None, int16_t top = 0) {
    e.swap = true;
    e.button = button;
    e.button_top = top;
    return e;
  };
  auto Seq = [](EffectSpec e, int16_t top) {
    e.sequence = true;
    e.button = B::Shown;
    e.button_top = top;
    return e;
  };

  const std::string_view adjust = "Adjust", color = "Color", blur = "Blur", photo = "Photographic",
                         sharpen = "Sharpen", convolve = "Convolve", noise = "Noise", transform = "Transform",
                         video = "Video", artistic = "Artistic", combine = "Combine with swap",
                         composite = "Composite with swap", comp_seq = "Composite with sequence",
                         displace = "Displace by swap", animated = "Animated", brush = "Brush";
  const ActionTable& a = Actions();
  std::vector<EffectSpec> v = {
      E(adjust, "Color adjustment", {S("Red", 0, 512, 255), S("Green", 0, 512, 255), S("Blue", 0, 512, 255)},
        a.color_adjustment, P::Custom),
      E(adjust, "Color add", {S("Red", -255, 255, 0), S("Green", -255, 255, 0), S("Blue", -255, 255, 0)}, a.color_add,
        P::Custom),
      E(adjust, "Value adjustment",
        {S("Value", 0, 200, 100), S("Brightness", 0, 200, 100), S("Contrast", 0, 200, 100), S("Gamma", 50, 150, 100)},
        a.value_adjustment),
      E(adjust, "Threshold", {S("Threshold", 0, 255, 128)}, a.threshold, P::Custom),
      E(adjust, "Saturation", {S("Saturation", 0, 255, 255)}, a.saturation),
      E(adjust, "Hue / Sat / Value", {S("Hue", -179, 180, 0), S("Saturation", 1, 200, 100), S("Value", 0, 512, 255)},
        a.hue_sat_value),
      E(adjust, "Tint", {S("Red", 0, 255, 255), S("Green", 0, 255, 255), S("Blue", 0, 255, 255)}, a.tint, P::Custom),
      E(color, "Map to gradient", {S("Index", 0, 7, 0)}, a.map_to_gradient),
      E(color, "Negative", none, a.negative),
      E(color, "Invert value", none, a.invert_value),
      E(color, "Swap channels", none, a.swap_channels),
      E(color, "Roll channels", none, a.roll_channels),
      E(color, "8 bit ordered dither", none, a.dither8_ordered),
      E(color, "8 bit random dither", none, a.dither8_random),
      E(color, "1 bit ordered dither", none, a.dither1_ordered),
      E(color, "1 bit random dither", none, a.dither1_random),
      E(color, "Power curve", {S("Power curve", 1, 99, 99)}, a.power_curve),
      E(color, "Posterize", {S("Posterize", 0, 255, 64)}, a.posterize),
      E(blur, "Simple blur", {S("Blur", 0, 255, 255)}, a.simple_blur),
      E(blur, "Gaussian blur", {S("Gaussian blur", 2, 64, 32), S("Dissolve", 1, 255, 255)}, a.gaussian_blur),
      E(blur, "Motion blur", {S("Angle", 0, 359, 0), S("Length", 1, 64, 10)}, a.motion_blur),
      E(blur, "Zoom blur",
        {S("Center X", 0, 100, 50), S("Center y", 0, 100, 50), S("Factor", 1, 100, 20), S("Quality", 1, 100, 50)},
        a.zoom_blur, P::Sizing),
      E(blur, "Mystic vision", mystic, a.mystic_vision, P::Sizing),
      E(blur, "Shadow vision", mystic, a.shadow_vision, P::Sizing),
      E(photo, "Light diffusion", {S("Radius", 2, 64, 32), S("Level", 1, 255, 255)}, a.light_diffusion),
      E(photo, "Dark diffusion", {S("Radius", 2, 64, 32), S("Level", 1, 255, 255)}, a.dark_diffusion),
      E(photo, "Fisheye", {S("Fisheye", -100, 100, 50)}, a.fisheye),
      E(photo, "Fog filter", none, a.fog_filter),
      E(photo, "Sunset filter", none, a.sunset_filter),
      E(photo, "Day for night", none, a.day_for_night),
      E(sharpen, "Sharpen", {S("Sharpen", 0, 255, 255)}, a.sharpen),
      E(sharpen, "Unsharp mask", {S("Unsharp mask", 0, 255, 255)}, a.unsharp_mask),
      E(sharpen, "Digital photo enhance", {S("Detail enhance", 0, 255, 255), S("Color smooth", 0, 255, 255)},
        a.digital_photo_enhance),
      E(convolve, "Grey emboss", {S("Emboss", 0, 255, 255)}, a.grey_emboss),
      E(convolve, "Color emboss", {S("Emboss", 0, 255, 255)}, a.color_emboss),
      E(convolve, "Edge detect", {S("Edge detect", 0, 255, 255)}, a.edge_detect),
      E(convolve, "Sobel edge detect", none, a.sobel_edge_detect),
      E(convolve, "Maximize", none, a.maximize),
      E(convolve, "Median", none, a.median),
      E(convolve, "Minimize", none, a.minimize),
      E(convolve, "MaxMin", none, a.max_min),
      E(convolve, "MinMax", none, a.min_max),
      E(noise, "Value noise", {S("Value noise", 0, 255, 255)}, a.value_noise),
      E(noise, "Color noise", {S("Color noise", 0, 255, 255)}, a.color_noise),
      E(noise, "Jitter", {S("Jitter", 0, 100, 100)}, a.jitter),
      E(noise, "Film grain",
        {S("Red level", 0, 255, 15), S("Green level", 0, 255, 20), S("Blue level", 0, 255, 64),
         S("Grain scale", 10, 100, 18)},
        a.film_grain),
      E(transform, "Transform",
        {S("Translate x", -200, 200, 0), S("Translate y", -200, 200, 0), S("Scale", 0, 200, 100),
         S("Rotate", 0, 360, 0)},
        a.transform, P::Sizing),
      E(transform, "Wireframe designer",
        {M("Amplitude", 1, 255, 40), S("Sample step", 1, 25, 5), S("Heading", 0, 360, 0), S("Pitch", 0, 360, 350),
         S("Bank", 0, 360, 0), S("zoom factor", 120, 1000, 400)},
        a.wireframe_designer, P::Sizing),
      E(transform, "Globe", none, a.globe),
      E(transform, "Mosaic", {M("Step size", 1, 100, 8)}, a.mosaic),
      E(transform, "Wave distort",
        {M("Wave sources", 1, 6, 3), S("Frequency", 1, 100, 5), S("Displacement", 0, 100, 20),
         S("Wave speed", 0, 100, 50)},
        a.wave_distort),
      E(transform, "Mirage", none, a.mirage),
      E(transform, "Wave in breeze",
        {M("Power", 0, 100, 40), M("Frequency", 0, 1000, 100), M("Speed", 0, 50, 10), M("Shear", -100, 100, 0),
         M("Time offset", 0, 45, 0)},
        a.wave_in_breeze),
      E(video, "Slate", none, a.slate),
      E(video, "Deinterlace", none, a.deinterlace),
      E(video, "Reverse fields", none, a.reverse_fields),
      E(video, "Reduce flicker", none, a.reduce_flicker),
      E(video, "Video lines", none, a.video_lines),
      E(artistic, "Apply current paper", {S("Amount", 0, 255, 20)}, a.apply_current_paper),
      E(artistic, "Wet paint", {S("Wet paint", -64, 64, 20)}, a.wet_paint),
      Swap(E(combine, "Mix buffers", {M("Mix buffers", 0, 255, 0)}, a.mix_buffers)),
      Swap(E(combine, "Transition by alpha", {M("Transition level", 0, 255, 128), M("Softness", 0, 128, 10)},
             a.transition_by_alpha)),
      Swap(E(combine, "Combine add", none, a.combine_add)),
      Swap(E(combine, "Combine subtract", none, a.combine_subtract)),
      Swap(E(combine, "Combine multiply", none, a.combine_multiply)),
      Swap(E(combine, "Combine divide", none, a.combine_divide)),
      Swap(E(combine, "Combine screen", none, a.combine_screen)),
      Swap(E(combine, "Combine luminance", none, a.combine_luminance)),
      Swap(E(combine, "Combine complement", none, a.combine_complement)),
      Swap(E(combine, "Combine difference", none, a.combine_difference)),
      Swap(E(combine, "Combine around grey", none, a.combine_around_grey)),
      Swap(E(combine, "Combine greater than", none, a.combine_greater_than)),
      Swap(E(combine, "Combine less than", none, a.combine_less_than)),
      Swap(E(combine, "Combine texturize", none, a.combine_texturize)),
      Swap(E(combine, "Combine binary", none, a.combine_binary)),
      Swap(E(combine, "Combine And", none, a.combine_and)),
      Swap(E(combine, "Combine Or", none, a.combine_or)),
      Swap(E(combine, "Combine Xor", none, a.combine_xor)),
      Swap(E(composite, "Greenscreen", greenscreen, a.greenscreen), B::PlacedHidden, 218),
      Swap(E(composite, "Bluescreen", bluescreen, a.bluescreen), B::PlacedHidden, 218),
      Swap(E(composite, "Color key", color_key, a.color_key, P::Custom), B::PlacedHidden, 258),
      Seq(E(comp_seq, "Greenscreen sequence", greenscreen, a.greenscreen_sequence), 218),
      Seq(E(comp_seq, "Bluescreen sequence", bluescreen, a.bluescreen_sequence), 218),
      Seq(E(comp_seq, "Color key sequence", color_key, a.color_key_sequence, P::Custom), 258),
      Seq(E(comp_seq, "Alpha comp", none, a.alpha_comp), 158),
      Seq(E(comp_seq, "Cell edge comp", {S("Red", 0, 255, 255), S("Green", 0, 255, 255), S("Blue", 0, 255, 0)},
            a.cell_edge_comp),
          218),
      Swap(E(displace, "Displace", {M("Max displace", 0, 255, 0)}, a.displace)),
      Swap(E(displace, "Cloaking displace", {M("Max displace", 0, 255, 0)}, a.cloaking_displace)),
      Swap(E(displace, "Pool displace", {M("Max displace", 0, 255, 0), M("Squirrel factor", 0, 255, 25)},
             a.pool_displace)),
      E(animated, "Perlin noise", perlin, a.perlin_noise),
      E(animated, "Color perlin noise", color_perlin, a.color_perlin_noise),
      E(animated, "Ghost", {M("Frames", 2, 16, 4)}, a.ghost),
      E(animated, "Snowfall",
        {M("Snowfall", 10, 1000, 100), S("Velocity", 1, 100, 10), S("Wind speed", -100, 100, -10),
         S("Turbulence", 0, 100, 10), S("Size", 1, 40, 8), S("Brighness", 1, 255, 255)},
        a.snowfall),
      E(animated, "Old film", {M("Effect level", 0, 255, 128)}, a.old_film),
      E(animated, "Lens flare", {M("X position", 0, 100, 25), M("Y position", 0, 100, 25), M("Level", 0, 2000, 1000)},
        a.lens_flare),
      E(brush, "Wave brush in breeze",
        {S("X position", -100, 200, 50), S("Y position", -100, 200, 50), M("Power", 0, 100, 40),
         M("Frequency", 0, 1000, 100), M("Speed", 0, 50, 10), M("Time offset", 0, 360, 0)},
        a.wave_brush_in_breeze),
  };
  return v;
}

size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<size_t> prev(b.size() + 1), cur(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) prev[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    cur[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const bool same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                        std::tolower(static_cast<unsigned char>(b[j - 1]));
      cur[j] = std::min({prev[j] + 1, cur[j - 1] + 1, prev[j - 1] + (same ? 0 : 1)});
    }
    std::swap(prev, cur);
  }
  return prev[b.size()];
}

}  // namespace

const std::vector<EffectSpec>& Effects() {
  static const std::vector<EffectSpec> effects = BuildEffects();
  return effects;
}

const std::vector<CategorySpec>& Categories() {
  static const std::vector<CategorySpec> categories = [] {
    std::vector<CategorySpec> c;
    for (const EffectSpec& e : Effects()) {
      if (c.empty() || c.back().name != e.category) c.push_back({e.category, {}});
      c.back().effects.push_back(&e);
    }
    return c;
  }();
  return categories;
}

const EffectSpec* FindEffect(std::string_view name) {
  static const std::map<std::string_view, const EffectSpec*> index = [] {
    std::map<std::string_view, const EffectSpec*> m;
    for (const EffectSpec& e : Effects()) m.emplace(e.name, &e);
    return m;
  }();
  auto it = index.find(name);
  return it == index.end() ? nullptr : it->second;
}

const std::vector<std::string>& List1Rows() {
  static const std::vector<std::string> rows = [] {
    std::vector<std::string> r;
    for (const CategorySpec& c : Categories()) {
      r.emplace_back(c.name);
      for (const EffectSpec* e : c.effects) r.push_back(std::string(kListIndent) + std::string(e->name));
    }
    return r;
  }();
  return rows;
}

std::vector<std::string> NearestEffectNames(std::string_view name, size_t count) {
  std::vector<std::pair<size_t, std::string_view>> scored;
  for (const EffectSpec& e : Effects()) scored.emplace_back(EditDistance(name, e.name), e.name);
  std::stable_sort(scored.begin(), scored.end(), [](auto& x, auto& y) { return x.first < y.first; });
  std::vector<std::string> out;
  for (size_t i = 0; i < scored.size() && i < count; ++i) out.emplace_back(scored[i].second);
  return out;
}

std::string UnknownEffectMessage(std::string_view name) {
  std::string hint;
  for (const std::string& n : NearestEffectNames(name)) hint += (hint.empty() ? " (did you mean \"" : ", \"") + n + "\"";
  return "unknown effect \"" + std::string(name) + "\"" + (hint.empty() ? "" : hint + "?)");
}

}  // namespace tessfx
