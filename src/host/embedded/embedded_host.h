#pragma once
// The embedded document host: an animation of 1..10000 frames of one size, the current
// frame, the swap image, paper, brush, gradients, lens flare and the saved settings, served
// through the host interface.
//
// Frames live in a store file in the temporary folder (DiskFrameStore), so memory use does
// not depend on the number of frames. The document is separate from its file: opening
// streams the file into a fresh store, edits change the store, and only Save writes a file
// (under a temporary name, then renamed). The store goes away when the document closes;
// one left behind by a crash can be recovered (RecoverStore).
#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/embedded/assets.h"
#include "host/embedded/document_io.h"
#include "host/embedded/frame_store.h"
#include "host/embedded/settings_store.h"
#include "host/host.h"
#include "media/test_patterns.h"

namespace tessfx {

struct EmbeddedHostOptions {
  std::string temp_dir;       // empty: DefaultTempDir()
  std::string settings_path;  // empty: SettingsStore::DefaultPath()
  int32_t width = 320;        // the blank animation the host starts with
  int32_t height = 240;
  int32_t frames = 1;
  bool memory_store = false;  // keep frames in memory instead of a store file (tests)
  InputLimits limits{};       // what documents and images read may declare
};

class EmbeddedHost final : public TessalineHost {
 public:
  explicit EmbeddedHost(EmbeddedHostOptions options = {});
  ~EmbeddedHost() override;

  // ---- document ----
  // A blank animation (black, alpha 255). Sizes are checked before anything is made.
  void NewAnimation(int32_t width, int32_t height, int32_t frames);
  // Opens a document: an animation (.tsa), an image sequence (pattern such as
  // "f.####.png" or "f.%04d.png", or a first numbered file) or a single image. Throws an
  // Error naming the file at fault; the current document is kept when opening fails.
  void OpenDocument(const std::string& path, const OpenOptions& options = {});
  // Reads a frame of a document opened on demand into the store now (a no-op otherwise),
  // so that a bad file shows before any work is done.
  void LoadFrame(int32_t frame);
  // Saves to a .tsa, to a sequence pattern (all frames, numbered from `first_number`) or to
  // a single image (the current frame; a one-frame document then takes that file name).
  void SaveDocument(const std::string& path, int64_t first_number = 1);
  struct SaveOptions {
    int64_t first_number = 1;
    // Only these frames (see SaveRequest); the document then stays unsaved.
    std::vector<int32_t> frames;
    ImageWriteOptions image;
    std::function<void(int32_t frame, const std::string& file)> on_frame;
    // Saving frames at less depth over the deeper source they came from (see DepthLoss) is
    // refused unless allowed; the refusal ends with `depth_advice` where the caller has one.
    bool allow_8bit = false;
    std::string depth_advice;
  };
  void SaveDocument(const std::string& path, const SaveOptions& options);
  // Why saving to `path` as `options` say would replace files of a source deeper than 8 bits
  // with less than they hold (an 8-bit format, or frames changed since opening, which are
  // 8-bit), or nullopt when it would not. Frames not changed are copied from the source at
  // full depth. The window asks with this text before saving (offering Save as); saving
  // with allow_8bit unset refuses with it. `will_change` names frames about to be changed
  // (a render still to come).
  std::optional<std::string> DepthLoss(const std::string& path, const SaveOptions& options,
                                       const std::vector<int32_t>& will_change = {}) const;
  // Whether a frame is still as it was read from the document's file.
  bool unchanged(int32_t frame) const { return !changed_.at(static_cast<size_t>(frame)); }
  // Saves back where the document came from or was last saved: a sequence opened by its
  // first file goes back to the same files, numbered as they were. Throws a usage Error
  // when the document has no file yet.
  // With `allow_8bit` as in SaveOptions (see SaveDepthLoss).
  void Save(bool allow_8bit = false);
  // DepthLoss for Save(): the question the window asks before saving back, or nullopt.
  std::optional<std::string> SaveDepthLoss() const;
  // Turns a store left behind by a crashed process (store or sidecar path) into the
  // current document, unsaved (named after its source when that was an animation file,
  // untitled otherwise). The left-behind store itself is not changed.
  void RecoverStore(const std::string& path);
  // Loads a greyscale image of the frame size as the alpha plane of every frame.
  void LoadAlphaMask(const std::string& path);
  const std::string& document_path() const { return document_path_; }
  const DocumentInfo& document_info() const { return document_info_; }
  bool modified() const { return modified_; }
  void set_alpha_bits(int32_t flag);
  // True when alpha came from a file, a mask or a write: image saves then include it.
  bool has_alpha() const { return has_alpha_; }
  // The frame store file, empty for a memory store.
  std::string store_path() const;
  // Direct frame access for document-level tools (import, export, masks).
  void ReadFramePlane(int32_t frame, Channel c, Plane& dest) const { store_->Read(frame, c, dest); }
  void WriteFramePlane(int32_t frame, Channel c, const Plane& src);
  // Replaces the frame store (a document loaded by another reader), described by `info`
  // (its size and frame count are the store's).
  void AdoptStore(std::unique_ptr<FrameStore> store, const std::string& path, DocumentInfo info = {});
  // A blank store of the kind this host keeps (a store file, or memory), for a document
  // that another reader fills before AdoptStore.
  std::unique_ptr<FrameStore> CreateStore(int32_t width, int32_t height, int32_t frames) const {
    return MakeStore(width, height, frames);
  }
  const InputLimits& input_limits() const { return limits_; }
  void set_input_limits(const InputLimits& limits) { limits_ = limits; }

  // ---- other host images ----
  // The swap image: none until one is set, loaded or copied (the swap planes then come back
  // empty), and none again once the frame size changes.
  void SetSwapImage(const Plane& r, const Plane& g, const Plane& b);  // planes of the frame size
  // Loads an image file as the swap image, resampled (bilinear) to the frame size while it
  // is read; one far larger than the frame is refused (InputLimits::SwapBudget). On failure
  // the swap image is kept.
  void LoadSwapImage(const std::string& path);
  void CopyFrameToSwap();
  // The file the swap image was loaded from; empty when there is none or it was made
  // otherwise (copied from a frame, set from planes).
  const std::string& swap_image_path() const { return swap_image_path_; }
  void SetPaper(Plane height_plane);
  void LoadPaper(const std::string& path);  // a greyscale image (colour ones are reduced to luma)
  void SetBrush(Plane r, Plane g, Plane b, Plane a);
  void LoadBrush(const std::string& path);  // see ReadBrushImage
  void SetGradient(int index, std::vector<uint8_t> table);  // 3 x 256 bytes
  void LoadGradient(int index, const std::string& path);  // see ReadGradientFile
  // The wallpaper file name, kept in the settings store.
  void SetWallpaper(const std::string& path);
  // The lens flare's own settings, kept in the settings store.
  const FlareSettings& flare_settings() const { return flare_; }
  void SetFlareSettings(const FlareSettings& s);
  bool playing() const { return playing_; }
  // Advances the playing animation by one frame (a window's timer calls it).
  void AdvancePlayback();

  SettingsStore& settings() { return settings_; }

  void AddObserver(HostObserver* o);
  void RemoveObserver(HostObserver* o);

  // ---- host interface ----
  int32_t Tes_BufferHeight() override { return store_->height(); }
  int32_t Tes_BufferWidth() override { return store_->width(); }
  int32_t Tes_GetAlphabits() override { return alpha_bits_; }
  Plane Tes_GetRBuffer() override { return ReadCurrent(Channel::R); }
  Plane Tes_GetGBuffer() override { return ReadCurrent(Channel::G); }
  Plane Tes_GetBBuffer() override { return ReadCurrent(Channel::B); }
  Plane Tes_GetaBuffer() override { return ReadCurrent(Channel::A); }
  void tes_setrbuffer(const Plane& p) override { WriteCurrent(Channel::R, p); }
  void tes_setgbuffer(const Plane& p) override { WriteCurrent(Channel::G, p); }
  void tes_setbbuffer(const Plane& p) override { WriteCurrent(Channel::B, p); }
  void tes_clearbuffer(int16_t red, int16_t green, int16_t blue) override;
  int32_t tes_GetTotalFrames() override { return store_->frames(); }
  int32_t tes_Getcurrentframe() override { return current_; }
  void Tes_GotoFrame(int32_t frame) override;
  void Tes_Refresh() override;
  void Tes_CreateAnim(int32_t frames) override;
  void tes_PlayAnimation() override;
  void tes_StopAnimation() override;
  Plane Tes_GetRFrame(int32_t frame) override { return ReadFrame(frame, Channel::R); }
  Plane Tes_GetGFrame(int32_t frame) override { return ReadFrame(frame, Channel::G); }
  Plane Tes_GetBFrame(int32_t frame) override { return ReadFrame(frame, Channel::B); }
  Plane tes_GetSwapRBuffer() override { return SwapPlane(0); }
  Plane tes_GetSwapGBuffer() override { return SwapPlane(1); }
  Plane tes_GetSwapBBuffer() override { return SwapPlane(2); }
  int32_t Tes_GetPaperWidth() override { return paper_.width(); }
  int32_t Tes_GetPaperHeight() override { return paper_.height(); }
  Plane tes_GetBump() override { return paper_.Clone(); }
  int32_t Tes_GetBrushWidth() override { return brush_[0].width(); }
  int32_t Tes_GetBrushHeight() override { return brush_[0].height(); }
  Plane Tes_GetBrushrBuffer() override { return brush_[0].Clone(); }
  Plane Tes_GetBrushgBuffer() override { return brush_[1].Clone(); }
  Plane Tes_GetBrushbBuffer() override { return brush_[2].Clone(); }
  Plane Tes_GetBrushaBuffer() override { return brush_[3].Clone(); }
  std::vector<uint8_t> Tes_GetGradient(int16_t index) override;
  void Tes_RenderLensFlare(float scale, float x, float y, float angle, int16_t a, int16_t b, int16_t c) override;
  void Tes_FlareSettings() override;
  std::string Tes_GetTempDir() override { return temp_dir_; }
  std::string Tes_WallpaperFilename() override { return wallpaper_; }
  void Tes_SendFormObject(ObjectRef form, int16_t flags) override;
  std::string GetSetting(const std::string& app, const std::string& section, const std::string& key,
                         const std::string& fallback) override {
    return settings_.Get(app, section, key, fallback);
  }
  void SaveSetting(const std::string& app, const std::string& section, const std::string& key,
                   const std::string& value) override {
    settings_.Save(app, section, key, value);
  }

  ObjectRef form_object() const { return form_; }

 private:
  Plane ReadCurrent(Channel c) const;
  Plane ReadFrame(int32_t frame, Channel c) const;
  void WriteCurrent(Channel c, const Plane& p);
  SaveRequest Request(const SaveOptions& options) const;
  Plane SwapPlane(int c);
  void ResetSwap();
  std::unique_ptr<FrameStore> MakeStore(int32_t width, int32_t height, int32_t frames) const;
  class DiskFrameStore* disk_store();
  void Replace(std::unique_ptr<FrameStore> store, const std::string& path, const DocumentInfo& info);
  void UpdateStoreDescription();
  template <typename F>
  void Notify(F&& f) {
    for (auto* o : std::vector<HostObserver*>(observers_)) f(*o);
  }

  std::string temp_dir_;
  SettingsStore settings_;
  InputLimits limits_;
  std::unique_ptr<FrameStore> store_;
  std::string document_path_;
  int64_t document_first_number_ = 1;  // of a sequence document
  DocumentInfo document_info_;
  bool modified_ = false;
  std::vector<bool> changed_;  // by frame: written since the document was read
  bool memory_store_ = false;
  int32_t current_ = 0;
  int32_t alpha_bits_ = 0;
  bool has_alpha_ = false;
  FlareSettings flare_;
  bool playing_ = false;
  std::array<Plane, 3> swap_;
  std::string swap_image_path_;
  Plane paper_;
  std::array<Plane, 4> brush_;
  std::array<std::vector<uint8_t>, 8> gradients_;
  std::string wallpaper_;
  ObjectRef form_;
  std::vector<HostObserver*> observers_;
};

// Paints every frame of the host's animation with a generated pattern.
void DrawPatternAnimation(EmbeddedHost& host, Pattern pattern, uint32_t seed);

}  // namespace tessfx
