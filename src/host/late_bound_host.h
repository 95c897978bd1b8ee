#pragma once
// A host reached only by late-bound calls by name: every typed operation becomes one
// call through a transport (an out-of-process host's connection, or another host's Call).
// Results are converted at once, as the editor converts them: sizes to 32-bit integers,
// planes adopted without an element-by-element copy.
#include <functional>

#include "host/host.h"

namespace tessfx {

class LateBoundHost final : public TessalineHost {
 public:
  using Transport = std::function<AutomationValue(std::string_view, std::vector<AutomationValue>&)>;
  explicit LateBoundHost(Transport transport) : transport_(std::move(transport)) {}

  int32_t Tes_BufferHeight() override { return Long("Tes_BufferHeight"); }
  int32_t Tes_BufferWidth() override { return Long("Tes_BufferWidth"); }
  int32_t Tes_GetAlphabits() override { return Long("Tes_GetAlphabits"); }
  Plane Tes_GetRBuffer() override { return PlaneResult("Tes_GetRBuffer"); }
  Plane Tes_GetGBuffer() override { return PlaneResult("Tes_GetGBuffer"); }
  Plane Tes_GetBBuffer() override { return PlaneResult("Tes_GetBBuffer"); }
  Plane Tes_GetaBuffer() override { return PlaneResult("Tes_GetaBuffer"); }
  void tes_setrbuffer(const Plane& p) override { SendPlane("tes_setrbuffer", p); }
  void tes_setgbuffer(const Plane& p) override { SendPlane("tes_setgbuffer", p); }
  void tes_setbbuffer(const Plane& p) override { SendPlane("tes_setbbuffer", p); }
  void tes_clearbuffer(int16_t red, int16_t green, int16_t blue) override {
    Invoke("tes_clearbuffer", red, green, blue);
  }
  int32_t tes_GetTotalFrames() override { return Long("tes_GetTotalFrames"); }
  int32_t tes_Getcurrentframe() override { return Long("tes_Getcurrentframe"); }
  void Tes_GotoFrame(int32_t frame) override { Invoke("Tes_GotoFrame", frame); }
  void Tes_Refresh() override { Invoke("Tes_Refresh"); }
  void Tes_CreateAnim(int32_t frames) override { Invoke("Tes_CreateAnim", frames); }
  void tes_PlayAnimation() override { Invoke("tes_PlayAnimation"); }
  void tes_StopAnimation() override { Invoke("tes_StopAnimation"); }
  Plane Tes_GetRFrame(int32_t f) override { return PlaneResult("Tes_GetRFrame", Args(f)); }
  Plane Tes_GetGFrame(int32_t f) override { return PlaneResult("Tes_GetGFrame", Args(f)); }
  Plane Tes_GetBFrame(int32_t f) override { return PlaneResult("Tes_GetBFrame", Args(f)); }
  Plane tes_GetSwapRBuffer() override { return PlaneResult("tes_GetSwapRBuffer"); }
  Plane tes_GetSwapGBuffer() override { return PlaneResult("tes_GetSwapGBuffer"); }
  Plane tes_GetSwapBBuffer() override { return PlaneResult("tes_GetSwapBBuffer"); }
  int32_t Tes_GetPaperWidth() override { return Long("Tes_GetPaperWidth"); }
  int32_t Tes_GetPaperHeight() override { return Long("Tes_GetPaperHeight"); }
  Plane tes_GetBump() override { return PlaneResult("tes_GetBump"); }
  int32_t Tes_GetBrushWidth() override { return Long("Tes_GetBrushWidth"); }
  int32_t Tes_GetBrushHeight() override { return Long("Tes_GetBrushHeight"); }
  Plane Tes_GetBrushrBuffer() override { return PlaneResult("Tes_GetBrushrBuffer"); }
  Plane Tes_GetBrushgBuffer() override { return PlaneResult("Tes_GetBrushgBuffer"); }
  Plane Tes_GetBrushbBuffer() override { return PlaneResult("Tes_GetBrushbBuffer"); }
  Plane Tes_GetBrushaBuffer() override { return PlaneResult("Tes_GetBrushaBuffer"); }
  std::vector<uint8_t> Tes_GetGradient(int16_t index) override;
  void Tes_RenderLensFlare(float scale, float x, float y, float angle, int16_t a, int16_t b, int16_t c) override {
    Invoke("Tes_RenderLensFlare", scale, x, y, angle, a, b, c);
  }
  void Tes_FlareSettings() override { Invoke("Tes_FlareSettings"); }
  std::string Tes_GetTempDir() override { return Text("Tes_GetTempDir", {}); }
  std::string Tes_WallpaperFilename() override { return Text("Tes_WallpaperFilename", {}); }
  void Tes_SendFormObject(ObjectRef form, int16_t flags) override { Invoke("Tes_SendFormObject", form, flags); }
  std::string GetSetting(const std::string& app, const std::string& section, const std::string& key,
                         const std::string& fallback) override {
    return Text("GetSetting", Args(app, section, key, fallback));
  }
  void SaveSetting(const std::string& app, const std::string& section, const std::string& key,
                   const std::string& value) override {
    Invoke("SaveSetting", app, section, key, value);
  }

 private:
  template <typename... A>
  static std::vector<AutomationValue> Args(A&&... a) {
    return MakeArgs(std::forward<A>(a)...);
  }
  template <typename... A>
  AutomationValue Invoke(std::string_view name, A&&... a) {
    auto args = Args(std::forward<A>(a)...);
    return transport_(name, args);
  }
  int32_t Long(std::string_view name);
  Plane PlaneResult(std::string_view name, std::vector<AutomationValue> args = {});
  void SendPlane(std::string_view name, const Plane& p);
  std::string Text(std::string_view name, std::vector<AutomationValue> args);

  Transport transport_;
};

}  // namespace tessfx
