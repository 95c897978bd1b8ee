#include "media/swap_sources.h"

#include "core/error.h"

namespace tessfx {

void SwapSourceMenu::UseAnimasSwap_Click() {
  if (anim_checked_) {
    anim_checked_ = false;
    external_.set_active(false);
    return;
  }
  anim_checked_ = true;
  const std::optional<std::string> path = dialog_.GetOpenFileName("Select animation to load", "tsa(*.tsa)|*.tsa");
  if (!path || path->empty()) return;
  try {
    const int32_t status =
        external_.OpenAnimationFile(*path, [this](const std::string& text) { messages_.ShowMessage(text); });
    if (status == -1) return;  // not an animation; OpenAnimationFile has said so
  } catch (const Error& e) {
    // Missing, unreadable or damaged: the source was closed before opening, so it stays off.
    messages_.ShowMessage(e.what());
    return;
  }
  external_.set_active(true);
  animation_path_ = *path;
}

}  // namespace tessfx
