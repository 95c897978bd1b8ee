#pragma once
// The host program's automation interface: every operation the editor uses, under its
// own name, with its arguments and results. The editor reaches the host only through one
// object of this type, created at start-up from the ProgID (see registry.h).
//
// Each operation can also be called by name with automation values (Call), reaching the
// same code; LateBoundHost (late_bound_host.h) goes the other way, turning the typed
// operations into by-name calls so that an out-of-process host can be attached.
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/effect_host.h"
#include "core/plane.h"
#include "host/automation.h"

namespace tessfx {

// Notifications a window can observe (redraw, frame moves, written frames, the tool
// window handed over, playback). All have empty defaults.
class HostObserver {
 public:
  virtual ~HostObserver() = default;
  virtual void OnRefresh() {}
  virtual void OnFrameChanged(int32_t /*frame*/) {}
  virtual void OnFrameWritten(int32_t /*frame*/) {}
  virtual void OnAnimationReplaced() {}
  virtual void OnFormObject(ObjectRef /*form*/) {}
  virtual void OnPlay() {}
  virtual void OnStop() {}
  virtual void OnFlareSettings() {}
  // The host is about to replace a document with unsaved changes by another of its own
  // making ("Create new animation" asked through the host interface): the window that shows
  // the document asks its user to save. False keeps the document as it is.
  virtual bool OnDiscardingChanges() { return true; }
};

class TessalineHost : public EffectHost {
 public:
  ~TessalineHost() override = default;

  // Frame geometry and planes
  virtual int32_t Tes_BufferHeight() = 0;
  virtual int32_t Tes_BufferWidth() = 0;
  virtual int32_t Tes_GetAlphabits() = 0;
  virtual Plane Tes_GetaBuffer() = 0;

  // Animation and frames
  virtual int32_t tes_GetTotalFrames() = 0;
  virtual int32_t tes_Getcurrentframe() = 0;
  virtual void Tes_GotoFrame(int32_t frame) = 0;
  virtual void Tes_Refresh() = 0;
  virtual void Tes_CreateAnim(int32_t frames) = 0;
  virtual void tes_PlayAnimation() = 0;
  virtual void tes_StopAnimation() = 0;

  // Other host images and settings
  virtual Plane tes_GetSwapRBuffer() = 0;
  virtual Plane tes_GetSwapGBuffer() = 0;
  virtual Plane tes_GetSwapBBuffer() = 0;
  virtual std::string Tes_GetTempDir() = 0;
  virtual std::string Tes_WallpaperFilename() = 0;
  virtual void Tes_SendFormObject(ObjectRef form, int16_t flags) = 0;

  // The host's saved-settings store, by application, section and key.
  virtual std::string GetSetting(const std::string& app, const std::string& section, const std::string& key,
                                 const std::string& fallback) = 0;
  virtual void SaveSetting(const std::string& app, const std::string& section, const std::string& key,
                           const std::string& value) = 0;

  // Late-bound call by operation name. Arguments are passed by reference as an automation
  // caller passes them. Unknown names and wrong argument types throw an Error naming the
  // operation.
  AutomationValue Call(std::string_view name, std::vector<AutomationValue>& args);
  AutomationValue Call(std::string_view name) {
    std::vector<AutomationValue> none;
    return Call(name, none);
  }
  // Every operation name Call accepts, in interface order.
  static const std::vector<std::string>& OperationNames();
};

}  // namespace tessfx
