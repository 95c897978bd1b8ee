#pragma once
// The dispatch's action for each effect: argument conversions as the dispatch makes them,
// the routine call, and the composite step where the effect has one. Each family binds
// its own actions (Bind*Actions); an action left empty marks an effect whose routine is
// not implemented yet.
#include "engine/catalogue.h"

namespace tessfx {

struct ActionTable {
  EffectAction color_adjustment = nullptr;
  EffectAction color_add = nullptr;
  EffectAction value_adjustment = nullptr;
  EffectAction threshold = nullptr;
  EffectAction saturation = nullptr;
  EffectAction hue_sat_value = nullptr;
  EffectAction tint = nullptr;
  EffectAction map_to_gradient = nullptr;
  EffectAction negative = nullptr;
  EffectAction invert_value = nullptr;
  EffectAction swap_channels = nullptr;
  EffectAction roll_channels = nullptr;
  EffectAction dither8_ordered = nullptr;
  EffectAction dither8_random = nullptr;
  EffectAction dither1_ordered = nullptr;
  EffectAction dither1_random = nullptr;
  EffectAction power_curve = nullptr;
  EffectAction posterize = nullptr;
  EffectAction simple_blur = nullptr;
  EffectAction gaussian_blur = nullptr;
  EffectAction motion_blur = nullptr;
  EffectAction zoom_blur = nullptr;
  EffectAction mystic_vision = nullptr;
  EffectAction shadow_vision = nullptr;
  EffectAction light_diffusion = nullptr;
  EffectAction dark_diffusion = nullptr;
  EffectAction fisheye = nullptr;
  EffectAction fog_filter = nullptr;
  EffectAction sunset_filter = nullptr;
  EffectAction day_for_night = nullptr;
  EffectAction sharpen = nullptr;
  EffectAction unsharp_mask = nullptr;
  EffectAction digital_photo_enhance = nullptr;
  EffectAction grey_emboss = nullptr;
  EffectAction color_emboss = nullptr;
  EffectAction edge_detect = nullptr;
  EffectAction sobel_edge_detect = nullptr;
  EffectAction maximize = nullptr;
  EffectAction median = nullptr;
  EffectAction minimize = nullptr;
  EffectAction max_min = nullptr;
  EffectAction min_max = nullptr;
  EffectAction value_noise = nullptr;
  EffectAction color_noise = nullptr;
  EffectAction jitter = nullptr;
  EffectAction film_grain = nullptr;
  EffectAction transform = nullptr;
  EffectAction wireframe_designer = nullptr;
  EffectAction globe = nullptr;
  EffectAction mosaic = nullptr;
  EffectAction wave_distort = nullptr;
  EffectAction mirage = nullptr;
  EffectAction wave_in_breeze = nullptr;
  EffectAction slate = nullptr;
  EffectAction deinterlace = nullptr;
  EffectAction reverse_fields = nullptr;
  EffectAction reduce_flicker = nullptr;
  EffectAction video_lines = nullptr;
  EffectAction apply_current_paper = nullptr;
  EffectAction wet_paint = nullptr;
  EffectAction mix_buffers = nullptr;
  EffectAction transition_by_alpha = nullptr;
  EffectAction combine_add = nullptr;
  EffectAction combine_subtract = nullptr;
  EffectAction combine_multiply = nullptr;
  EffectAction combine_divide = nullptr;
  EffectAction combine_screen = nullptr;
  EffectAction combine_luminance = nullptr;
  EffectAction combine_complement = nullptr;
  EffectAction combine_difference = nullptr;
  EffectAction combine_around_grey = nullptr;
  EffectAction combine_greater_than = nullptr;
  EffectAction combine_less_than = nullptr;
  EffectAction combine_texturize = nullptr;
  EffectAction combine_binary = nullptr;
  EffectAction combine_and = nullptr;
  EffectAction combine_or = nullptr;
  EffectAction combine_xor = nullptr;
  EffectAction greenscreen = nullptr;
  EffectAction bluescreen = nullptr;
  EffectAction color_key = nullptr;
  EffectAction greenscreen_sequence = nullptr;
  EffectAction bluescreen_sequence = nullptr;
  EffectAction color_key_sequence = nullptr;
  EffectAction alpha_comp = nullptr;
  EffectAction cell_edge_comp = nullptr;
  EffectAction displace = nullptr;
  EffectAction cloaking_displace = nullptr;
  EffectAction pool_displace = nullptr;
  EffectAction perlin_noise = nullptr;
  EffectAction color_perlin_noise = nullptr;
  EffectAction ghost = nullptr;
  EffectAction snowfall = nullptr;
  EffectAction old_film = nullptr;
  EffectAction lens_flare = nullptr;
  EffectAction wave_brush_in_breeze = nullptr;
};

// The table, filled once by the families' binders.
const ActionTable& Actions();

}  // namespace tessfx
