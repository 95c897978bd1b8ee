// Actions of the video looks. "Video lines" has no composite (the routine's lines cover
// the whole frame); "Slate" and "Reverse fields" composite inside their routines.
#include "effects/video.h"
#include "engine/bindings.h"
#include "engine/dispatch.h"

namespace tessfx {

void BindVideoActions(ActionTable& t) {
  t.slate = [](EffectCall& c) { FxSlate(c.image); };
  t.reverse_fields = [](EffectCall& c) { FxReverseFields(c.image); };
  t.video_lines = [](EffectCall& c) { FxVideoLines(c.image); };
}

}  // namespace tessfx
