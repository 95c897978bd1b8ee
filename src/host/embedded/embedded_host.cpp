#include "host/embedded/embedded_host.h"

#include <algorithm>

#include "core/error.h"
#include "host/embedded/assets.h"
#include "media/tsa.h"

namespace tessfx {

EmbeddedHost::EmbeddedHost(EmbeddedHostOptions options)
    : temp_dir_(options.temp_dir.empty() ? DefaultTempDir() : options.temp_dir), settings_(options.settings_path) {
  NewAnimation(options.width, options.height, options.frames);
  modified_ = false;
  paper_ = DefaultPaper();
  brush_ = DefaultBrush();
  gradients_ = DefaultGradients();
}

EmbeddedHost::~EmbeddedHost() = default;

void EmbeddedHost::AddObserver(HostObserver* o) {
  if (o && std::find(observers_.begin(), observers_.end(), o) == observers_.end()) observers_.push_back(o);
}

void EmbeddedHost::RemoveObserver(HostObserver* o) { observers_.erase(std::remove(observers_.begin(), observers_.end(), o), observers_.end()); }

void EmbeddedHost::NewAnimation(int32_t width, int32_t height, int32_t frames) {
  if (frames < 1 || frames > kMaxFrames)
    Fail(ErrorKind::Usage, "frame count " + std::to_string(frames) + " is outside 1.." + std::to_string(kMaxFrames));
  PlaneBytes(width, height);
  store_ = std::make_unique<MemoryFrameStore>(width, height, frames);
  document_path_.clear();
  current_ = 0;
  modified_ = true;
  ResetSwap();
  Notify([](HostObserver& o) { o.OnAnimationReplaced(); });
}

void EmbeddedHost::AdoptStore(std::unique_ptr<FrameStore> store, const std::string& path) {
  store_ = std::move(store);
  document_path_ = path;
  current_ = 0;
  modified_ = false;
  ResetSwap();
  Notify([](HostObserver& o) { o.OnAnimationReplaced(); });
}

void EmbeddedHost::OpenDocument(const std::string& path) {
  TsaReader reader(path);  // validates everything before the current document is touched
  const TsaHeader& h = reader.header();
  auto store = std::make_unique<MemoryFrameStore>(h.width, h.height, h.frames);
  Plane plane;
  for (int32_t f = 0; f < h.frames; ++f)
    for (Channel c : {Channel::R, Channel::G, Channel::B}) {
      reader.ReadPlane(f, c, plane);
      store->Write(f, c, plane);
    }
  // A .tsa carries no alpha: frames get a fully selected alpha plane (the store's default).
  AdoptStore(std::move(store), path);
}

void EmbeddedHost::SaveDocument(const std::string& path) {
  TsaWriter writer(path, store_->width(), store_->height(), store_->frames());
  Plane plane;
  for (int32_t f = 0; f < store_->frames(); ++f)
    for (Channel c : {Channel::R, Channel::G, Channel::B}) {
      store_->Read(f, c, plane);
      writer.WritePlane(f, c, plane);
    }
  writer.Commit();
  document_path_ = path;
  modified_ = false;
}

void EmbeddedHost::WriteFramePlane(int32_t frame, Channel c, const Plane& src) {
  store_->Write(frame, c, src);
  modified_ = true;
  Notify([frame](HostObserver& o) { o.OnFrameWritten(frame); });
}

Plane EmbeddedHost::ReadCurrent(Channel c) const { return ReadFrame(current_, c); }

Plane EmbeddedHost::ReadFrame(int32_t frame, Channel c) const {
  if (frame < 0 || frame >= store_->frames())
    Fail(ErrorKind::Usage, "frame " + std::to_string(frame) + " is outside the animation (0.." +
                               std::to_string(store_->frames() - 1) + ")");
  Plane p;
  store_->Read(frame, c, p);
  return p;
}

void EmbeddedHost::WriteCurrent(Channel c, const Plane& p) {
  if (p.width() != store_->width() || p.height() != store_->height())
    Fail(ErrorKind::Usage, "plane of " + std::to_string(p.width()) + "x" + std::to_string(p.height()) +
                               " does not fit the frame size " + std::to_string(store_->width()) + "x" +
                               std::to_string(store_->height()));
  WriteFramePlane(current_, c, p);
}

void EmbeddedHost::tes_clearbuffer(int16_t, int16_t, int16_t) {
  Plane black(store_->width(), store_->height());
  for (Channel c : {Channel::R, Channel::G, Channel::B}) WriteFramePlane(current_, c, black);
}

void EmbeddedHost::Tes_GotoFrame(int32_t frame) {
  if (frame < 0 || frame >= store_->frames())
    Fail(ErrorKind::Usage, "frame " + std::to_string(frame) + " is outside the animation (0.." +
                               std::to_string(store_->frames() - 1) + ")");
  current_ = frame;
  Notify([frame](HostObserver& o) { o.OnFrameChanged(frame); });
}

void EmbeddedHost::Tes_Refresh() {
  Notify([](HostObserver& o) { o.OnRefresh(); });
}

void EmbeddedHost::Tes_CreateAnim(int32_t frames) { NewAnimation(store_->width(), store_->height(), frames); }

void EmbeddedHost::tes_PlayAnimation() {
  playing_ = true;
  Notify([](HostObserver& o) { o.OnPlay(); });
}

void EmbeddedHost::tes_StopAnimation() {
  playing_ = false;
  Notify([](HostObserver& o) { o.OnStop(); });
}

void EmbeddedHost::AdvancePlayback() {
  if (!playing_) return;
  Tes_GotoFrame((current_ + 1) % store_->frames());
}

void EmbeddedHost::ResetSwap() {
  for (auto& p : swap_) p = Plane(store_->width(), store_->height());
}

Plane EmbeddedHost::SwapPlane(int c) {
  if (swap_[c].width() != store_->width() || swap_[c].height() != store_->height()) ResetSwap();
  return swap_[c].Clone();
}

void EmbeddedHost::SetSwapImage(const Plane& r, const Plane& g, const Plane& b) {
  const Plane* src[3] = {&r, &g, &b};
  for (int c = 0; c < 3; ++c) {
    if (src[c]->width() != store_->width() || src[c]->height() != store_->height())
      Fail(ErrorKind::Usage, "swap image size does not match the frame size");
    swap_[c].CopyFrom(*src[c]);
  }
}

void EmbeddedHost::CopyFrameToSwap() {
  for (int c = 0; c < 3; ++c) store_->Read(current_, static_cast<Channel>(c), swap_[c]);
}

void EmbeddedHost::SetPaper(Plane height_plane) { paper_ = std::move(height_plane); }

void EmbeddedHost::SetBrush(Plane r, Plane g, Plane b, Plane a) {
  brush_ = {std::move(r), std::move(g), std::move(b), std::move(a)};
}

void EmbeddedHost::SetGradient(int index, std::vector<uint8_t> table) {
  if (index < 0 || index > 7) Fail(ErrorKind::Usage, "gradient index must be 0..7");
  if (table.size() != 3 * 256) Fail(ErrorKind::BadData, "a gradient has 256 entries of red, green and blue");
  gradients_[static_cast<size_t>(index)] = std::move(table);
}

std::vector<uint8_t> EmbeddedHost::Tes_GetGradient(int16_t index) {
  // Indices outside 0..7 wrap, so any rounded slider value yields a gradient.
  return gradients_[static_cast<size_t>(((index % 8) + 8) % 8)];
}

void EmbeddedHost::Tes_RenderLensFlare(float scale, float x, float y, float angle, int16_t, int16_t, int16_t) {
  Plane r = ReadCurrent(Channel::R), g = ReadCurrent(Channel::G), b = ReadCurrent(Channel::B);
  DrawLensFlare(r, g, b, scale, x, y, angle, FlareSettings{});
  WriteCurrent(Channel::R, r);
  WriteCurrent(Channel::G, g);
  WriteCurrent(Channel::B, b);
}

void EmbeddedHost::Tes_FlareSettings() {
  Notify([](HostObserver& o) { o.OnFlareSettings(); });
}

void EmbeddedHost::Tes_SendFormObject(ObjectRef form, int16_t) {
  form_ = form;
  Notify([form](HostObserver& o) { o.OnFormObject(form); });
}

}  // namespace tessfx
