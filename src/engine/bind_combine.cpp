// Actions of the combine-with-swap effects.
#include "effects/combine.h"
#include "effects/frame.h"
#include "engine/bindings.h"
#include "engine/dispatch.h"

namespace tessfx {

void BindCombineActions(ActionTable& t) {
  t.mix_buffers = [](EffectCall& c) {
    c.image.FetchSwapPlanes();
    FxMixBuffers(c.image, c.p[0]);
    CompositeStep(c.image);
  };
  t.combine_add = [](EffectCall& c) { FxCombineByTable(c.image, c.image.tables.add); };
  t.combine_subtract = [](EffectCall& c) { FxCombineByTable(c.image, c.image.tables.subtract); };
  t.combine_divide = [](EffectCall& c) { FxCombineByTable(c.image, c.image.tables.divide); };
  t.combine_multiply = [](EffectCall& c) { FxCombineByTable(c.image, c.image.tables.multiply); };
  t.combine_screen = [](EffectCall& c) { FxCombineByTable(c.image, c.image.tables.screen); };
  t.combine_around_grey = [](EffectCall& c) { FxCombineByTable(c.image, c.image.tables.around_grey); };
  t.combine_luminance = [](EffectCall& c) { FxCombineLuminance(c.image); };
  t.combine_complement = [](EffectCall& c) { FxCombineComplement(c.image); };
  t.combine_difference = [](EffectCall& c) { FxCombineDifference(c.image); };
  t.combine_less_than = [](EffectCall& c) { FxCombineLessThan(c.image); };
  t.combine_greater_than = [](EffectCall& c) { FxCombineGreaterThan(c.image); };
  t.combine_texturize = [](EffectCall& c) { FxCombineTexturize(c.image); };
  t.combine_binary = [](EffectCall& c) { FxCombineBinary(c.image); };
  t.combine_and = [](EffectCall& c) { FxCombineLogic(c.image, 0); };
  t.combine_or = [](EffectCall& c) { FxCombineLogic(c.image, 1); };
  t.combine_xor = [](EffectCall& c) { FxCombineLogic(c.image, 2); };
}

}  // namespace tessfx
