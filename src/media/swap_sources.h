#pragma once
// The two "swap source" menu entries: an animation file or a picture sequence as the
// second image. The model holds the check marks; the window shows them and forwards the
// clicks.
#include <string>

#include "media/dialogs.h"
#include "media/tsa.h"

namespace tessfx {

class SwapSourceMenu {
 public:
  SwapSourceMenu(ExternalAnimation& external, FileDialog& dialog, MessageSink& messages)
      : external_(external), dialog_(dialog), messages_(messages) {}

  // "Use anim as swap...": when checked, unchecks it and turns the animation source off.
  // Otherwise checks it, asks for the animation and turns the source on when it opens.
  // The check mark is set before the dialog, so it stays set when the dialog is cancelled
  // or the file is refused; the source itself stays off then.
  void UseAnimasSwap_Click();
  // "Use sequence as swap": toggles its own check mark only.
  void UseSequenceAsSwap_Click() { sequence_checked_ = !sequence_checked_; }

  bool anim_checked() const { return anim_checked_; }
  bool sequence_checked() const { return sequence_checked_; }
  const std::string& animation_path() const { return animation_path_; }

 private:
  ExternalAnimation& external_;
  FileDialog& dialog_;
  MessageSink& messages_;
  bool anim_checked_ = false;
  bool sequence_checked_ = false;
  std::string animation_path_;
};

}  // namespace tessfx
