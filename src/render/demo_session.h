#pragma once
// A scripted first session, for the demo and for pictures of the editor: what a user does
// to see an effect change over the animation.
#include <string>

#include "render/editor.h"

namespace tessfx {

// Selects `effect`, sets a key at the first frame with the effect's defaults and one at the
// last frame with every visible slider three quarters of the way to its maximum, and
// previews the middle frame. Throws a usage Error when no effect has that name.
void KeyDemoSession(Editor& editor, const std::string& effect);

}  // namespace tessfx
