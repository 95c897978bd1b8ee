#include "host/embedded/embedded_host.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <set>

#include "core/convert.h"
#include "core/error.h"
#include "core/number_ranges.h"
#include "host/embedded/assets.h"
#include "host/embedded/disk_frame_store.h"
#include "host/embedded/lazy_frame_store.h"
#include "media/image_io.h"
#include "media/test_patterns.h"
#include "media/tsa.h"

namespace tessfx {

namespace {

constexpr const char* kApp = "tessfx";
constexpr const char* kFlareSection = "LensFlare";
constexpr const char* kHostSection = "Host";

float SettingFloat(const SettingsStore& s, const char* key, float fallback) {
  const std::string text = s.Get(kApp, kFlareSection, key, "");
  float v = fallback;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
  return ec == std::errc() && end == text.data() + text.size() && !text.empty() ? v : fallback;
}

FlareSettings LoadFlareSettings(const SettingsStore& s) {
  FlareSettings f;
  f.glow = SettingFloat(s, "glow", f.glow);
  f.rays = SettingFloat(s, "rays", f.rays);
  f.halo = SettingFloat(s, "halo", f.halo);
  f.ghosts = SettingFloat(s, "ghosts", f.ghosts);
  f.ray_count = RoundHalfEven(SettingFloat(s, "ray_count", static_cast<float>(f.ray_count)));
  return f.Clamped();
}

std::string FloatText(float v) {
  char text[32];
  const auto [end, ec] = std::to_chars(text, text + sizeof text, v);
  return ec == std::errc() ? std::string(text, end) : "0";
}

}  // namespace

EmbeddedHost::EmbeddedHost(EmbeddedHostOptions options)
    : temp_dir_(options.temp_dir.empty() ? DefaultTempDir() : EnsureTempDir(options.temp_dir)),
      settings_(options.settings_path),
      limits_(options.limits),
      memory_store_(options.memory_store) {
  NewAnimation(options.width, options.height, options.frames);
  modified_ = false;
  paper_ = DefaultPaper();
  brush_ = DefaultBrush();
  gradients_ = DefaultGradients();
  flare_ = LoadFlareSettings(settings_);
  wallpaper_ = settings_.Get(kApp, kHostSection, "wallpaper", "");
}

// Members go in reverse order: the store (and with it its file) is removed here.
EmbeddedHost::~EmbeddedHost() = default;

void EmbeddedHost::AddObserver(HostObserver* o) {
  if (o && std::find(observers_.begin(), observers_.end(), o) == observers_.end()) observers_.push_back(o);
}

void EmbeddedHost::RemoveObserver(HostObserver* o) { observers_.erase(std::remove(observers_.begin(), observers_.end(), o), observers_.end()); }

std::unique_ptr<FrameStore> EmbeddedHost::MakeStore(int32_t width, int32_t height, int32_t frames) const {
  if (frames < 1 || frames > kMaxFrames)
    Fail(ErrorKind::Usage, "frame count " + std::to_string(frames) + " is outside 1.." + std::to_string(kMaxFrames));
  if (width < 1 || height < 1)
    Fail(ErrorKind::Usage, "frame size " + std::to_string(width) + "x" + std::to_string(height) + " is not valid");
  PlaneBytes(width, height);
  if (memory_store_) return std::make_unique<MemoryFrameStore>(width, height, frames);
  return DiskFrameStore::Create(temp_dir_, width, height, frames);
}

DiskFrameStore* EmbeddedHost::disk_store() {
  FrameStore* store = store_.get();
  if (auto* lazy = dynamic_cast<LazyFrameStore*>(store)) store = &lazy->backing();
  return dynamic_cast<DiskFrameStore*>(store);
}

std::string EmbeddedHost::store_path() const {
  const auto* disk = const_cast<EmbeddedHost*>(this)->disk_store();
  return disk ? disk->path() : std::string();
}

void EmbeddedHost::UpdateStoreDescription() {
  // Named in full: a recovery may start in another folder.
  std::error_code ec;
  const std::filesystem::path whole = document_path_.empty() ? "" : std::filesystem::absolute(document_path_, ec);
  if (auto* disk = disk_store()) disk->Describe(ec ? document_path_ : whole.string(), alpha_bits_, has_alpha_);
}

void EmbeddedHost::Replace(std::unique_ptr<FrameStore> store, const std::string& path, const DocumentInfo& info) {
  store_ = std::move(store);  // the previous document's store is removed here
  document_path_ = info.save_path.empty() ? path : info.save_path;
  document_first_number_ = info.first_number;
  document_info_ = info;
  has_alpha_ = info.has_alpha;
  current_ = 0;
  modified_ = false;
  changed_.assign(static_cast<size_t>(store_->frames()), false);
  UpdateStoreDescription();
  ResetSwap();
  Notify([](HostObserver& o) { o.OnAnimationReplaced(); });
}

void EmbeddedHost::NewAnimation(int32_t width, int32_t height, int32_t frames) {
  auto store = MakeStore(width, height, frames);
  DocumentInfo info;
  info.format = "tsa";
  info.width = width;
  info.height = height;
  info.frames = frames;
  Replace(std::move(store), "", info);
  modified_ = true;
}

void EmbeddedHost::AdoptStore(std::unique_ptr<FrameStore> store, const std::string& path, DocumentInfo info) {
  if (info.format.empty()) info.format = "tsa";
  info.width = store->width();
  info.height = store->height();
  info.frames = store->frames();
  if (info.first_file.empty()) info.first_file = info.last_file = path;
  if (info.files.empty()) info.files = {path};
  Replace(std::move(store), path, info);
}

void EmbeddedHost::OpenDocument(const std::string& path, const OpenOptions& options) {
  DocumentInfo info;
  OpenOptions limited = options;
  limited.limits = limits_;
  // The new store is filled completely (or, on demand, checked) before the current
  // document is touched.
  auto store = LoadDocument(
      path, [this](int32_t w, int32_t h, int32_t n) { return MakeStore(w, h, n); }, info, limited);
  Replace(std::move(store), path, info);
}

void EmbeddedHost::LoadFrame(int32_t frame) {
  if (auto* lazy = dynamic_cast<LazyFrameStore*>(store_.get())) lazy->Load(frame);
}

void EmbeddedHost::SaveDocument(const std::string& path, int64_t first_number) {
  SaveOptions options;
  options.first_number = first_number;
  SaveDocument(path, options);
}

namespace {

using FileId = std::pair<dev_t, ino_t>;

std::optional<FileId> IdOf(const std::string& path) {
  struct stat st;
  if (path.empty() || ::stat(path.c_str(), &st) != 0) return std::nullopt;
  return FileId{st.st_dev, st.st_ino};
}

}  // namespace

SaveRequest EmbeddedHost::Request(const SaveOptions& options) const {
  SaveRequest request;
  request.current_frame = current_;
  request.with_alpha = has_alpha_;
  request.first_number = options.first_number;
  request.frames = options.frames;
  request.image = options.image;
  request.on_frame = options.on_frame;
  request.source = &document_info_;
  request.unchanged.resize(changed_.size());
  for (size_t f = 0; f < changed_.size(); ++f) request.unchanged[f] = !changed_[f];
  return request;
}

std::optional<std::string> EmbeddedHost::DepthLoss(const std::string& path, const SaveOptions& options,
                                                    const std::vector<int32_t>& will_change) const {
  const DocumentInfo& source = document_info_;
  if (!source.Deep()) return std::nullopt;
  const DocumentKind kind = OutputKind(path);
  const SaveRequest request = Request(options);
  std::vector<int32_t> frames = options.frames;
  if (kind == DocumentKind::Image) frames = {options.frames.empty() ? current_ : options.frames.front()};
  if (frames.empty())
    for (int32_t f = 0; f < store_->frames(); ++f) frames.push_back(f);
  std::set<FileId> originals;  // by identity: another name or a link to a source file is that file
  for (const std::string& file : source.files)
    if (const auto id = IdOf(file)) originals.insert(*id);
  auto replaces_source = [&](const std::string& file) {
    const auto id = IdOf(file);
    return id && originals.count(*id) > 0;
  };
  const auto pattern = kind == DocumentKind::ImageSequence ? ParseSequencePattern(path) : std::nullopt;
  auto file_of = [&](int32_t f) { return pattern ? pattern->FileName(options.first_number + f) : path; };
  const std::string what = "the " + source.DepthText() + " " + source.Describe() + " " + source.save_path;
  std::vector<int64_t> lowered;  // numbers of the frames that would lose depth
  bool any = false;
  for (int32_t f : frames) {
    const std::string file = file_of(f);
    if (!replaces_source(file)) continue;
    any = true;
    if (kind == DocumentKind::Animation) break;
    const bool changed = changed_[static_cast<size_t>(f)] ||
                         std::find(will_change.begin(), will_change.end(), f) != will_change.end();
    if (changed) lowered.push_back(source.FrameNumberBase() + f);
  }
  if (!any) return std::nullopt;
  if (kind == DocumentKind::Animation) return path + " holds 8-bit samples and would replace " + what;
  const SampleType stored = SavedSampleType(file_of(frames.front()), request);
  if (stored == SampleType::UInt8 || (source.sample_type != "uint16" && stored == SampleType::UInt16) ||
      (source.sample_type == "float" && stored == SampleType::Half))
    return "saving " + path + " as " + SampleTypeName(stored) + " would replace " + what + " with less than it holds";
  if (lowered.empty()) return std::nullopt;
  return "frame" + std::string(lowered.size() == 1 ? " " : "s ") + NumberRangesText(lowered) +
         " would replace " + what + " with 8-bit samples (changed frames are 8-bit)";
}

void EmbeddedHost::SaveDocument(const std::string& path, const SaveOptions& options) {
  if (!options.allow_8bit)
    if (const auto loss = DepthLoss(path, options))
      Fail(ErrorKind::Usage, "cannot save " + path + ": " + *loss + ": save as another file" +
                                 (options.depth_advice.empty() ? "" : " (" + options.depth_advice + ")"));
  const SaveRequest request = Request(options);
  const DocumentKind kind = SaveDocumentFile(*store_, path, request);
  // A single image of a longer animation, or some of the frames, is an export: the
  // document stays as it was.
  if ((kind == DocumentKind::Image && store_->frames() > 1) || !options.frames.empty()) return;
  // Saved over its own files, the document's frames are what those files now hold.
  if (path == document_info_.save_path) changed_.assign(changed_.size(), false);
  document_path_ = path;
  document_first_number_ = options.first_number;
  modified_ = false;
  UpdateStoreDescription();
}

void EmbeddedHost::Save(bool allow_8bit) {
  if (document_path_.empty()) Fail(ErrorKind::Usage, "the animation has no file yet: save it under a name first");
  SaveOptions options;
  options.first_number = document_first_number_;
  options.allow_8bit = allow_8bit;
  SaveDocument(document_path_, options);
}

std::optional<std::string> EmbeddedHost::SaveDepthLoss() const {
  if (document_path_.empty()) return std::nullopt;
  SaveOptions options;
  options.first_number = document_first_number_;
  return DepthLoss(document_path_, options);
}

void EmbeddedHost::RecoverStore(const std::string& path) {
  auto old = DiskFrameStore::OpenLeftBehind(path);
  const StoreDescription& d = old->description();
  auto store = MakeStore(d.width, d.height, d.frames);
  Plane plane;
  for (int32_t f = 0; f < d.frames; ++f)
    for (int c = 0; c < (d.has_alpha ? 4 : 3); ++c) {
      old->Read(f, static_cast<Channel>(c), plane);
      store->Write(f, static_cast<Channel>(c), plane);
    }
  DocumentInfo info;
  info.format = "tsa";
  info.width = d.width;
  info.height = d.height;
  info.frames = d.frames;
  info.has_alpha = d.has_alpha;
  alpha_bits_ = d.alpha_bits;
  // Only an animation file goes back where it came from on Save: a sequence's numbering and
  // a picture's depth are not part of the store, so those are saved under a name chosen anew.
  Replace(std::move(store), LowerExtension(d.source) == ".tsa" ? d.source : "", info);
  modified_ = true;  // nothing of it is saved yet
  changed_.assign(changed_.size(), true);
}

void EmbeddedHost::LoadAlphaMask(const std::string& path) {
  // The size is checked from the header, before the mask's pixels are read.
  const ImageInfo info = ProbeImage(path, limits_);
  if (info.width != store_->width() || info.height != store_->height())
    Fail(ErrorKind::BadData, path + ": mask size " + std::to_string(info.width) + "x" + std::to_string(info.height) +
                                 " differs from the frame size " + std::to_string(store_->width()) + "x" +
                                 std::to_string(store_->height()));
  const Plane mask = ReadGreyImage(path, limits_);
  if (mask.width() != store_->width() || mask.height() != store_->height())
    Fail(ErrorKind::BadData, path + ": the mask changed while it was read");
  if (auto* lazy = dynamic_cast<LazyFrameStore*>(store_.get())) {
    // Frames not read yet take the mask when they are, instead of all being read now.
    lazy->SetAlphaMask(mask);
    modified_ = true;
    changed_.assign(changed_.size(), true);
    has_alpha_ = true;
    UpdateStoreDescription();
    return;
  }
  for (int32_t f = 0; f < store_->frames(); ++f) WriteFramePlane(f, Channel::A, mask);
}

void EmbeddedHost::set_alpha_bits(int32_t flag) {
  alpha_bits_ = flag;
  UpdateStoreDescription();
}

void EmbeddedHost::WriteFramePlane(int32_t frame, Channel c, const Plane& src) {
  store_->Write(frame, c, src);
  modified_ = true;
  changed_.at(static_cast<size_t>(frame)) = true;
  if (c == Channel::A && !has_alpha_) {
    has_alpha_ = true;
    UpdateStoreDescription();
  }
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

// Clears the current frame to the colour given (red, green, blue; each clamped to a byte).
void EmbeddedHost::tes_clearbuffer(int16_t red, int16_t green, int16_t blue) {
  const std::pair<Channel, int16_t> fills[] = {{Channel::R, red}, {Channel::G, green}, {Channel::B, blue}};
  for (auto [c, v] : fills) WriteFramePlane(current_, c, Plane(store_->width(), store_->height(), ClampByte(v)));
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

void EmbeddedHost::Tes_CreateAnim(int32_t frames) {
  if (modified_)
    for (auto* o : std::vector<HostObserver*>(observers_))
      if (!o->OnDiscardingChanges()) return;
  NewAnimation(store_->width(), store_->height(), frames);
}

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
  for (auto& p : swap_) p = Plane();
  swap_image_path_.clear();
}

Plane EmbeddedHost::SwapPlane(int c) {
  // No swap image is an empty plane, not a black one: effects that need it then say so
  // instead of working against black. One of another frame size is no swap image either.
  const Plane& p = swap_[c];
  if (p.empty() || p.width() != store_->width() || p.height() != store_->height()) return Plane();
  return p.Clone();
}

void EmbeddedHost::SetSwapImage(const Plane& r, const Plane& g, const Plane& b) {
  const Plane* src[3] = {&r, &g, &b};
  for (int c = 0; c < 3; ++c) {
    if (src[c]->width() != store_->width() || src[c]->height() != store_->height())
      Fail(ErrorKind::Usage, "swap image size does not match the frame size");
    swap_[c].CopyFrom(*src[c]);
  }
  swap_image_path_.clear();
}

void EmbeddedHost::LoadSwapImage(const std::string& path) {
  std::array<Plane, 3> swap;
  ReadImageScaled(path, store_->width(), store_->height(), swap[0], swap[1], swap[2], limits_);
  swap_ = std::move(swap);
  swap_image_path_ = path;
}

void EmbeddedHost::CopyFrameToSwap() {
  for (int c = 0; c < 3; ++c) store_->Read(current_, static_cast<Channel>(c), swap_[c]);
  swap_image_path_.clear();
}

void EmbeddedHost::SetPaper(Plane height_plane) { paper_ = std::move(height_plane); }

void EmbeddedHost::LoadPaper(const std::string& path) { paper_ = ReadGreyImage(path, limits_); }

void EmbeddedHost::LoadBrush(const std::string& path) { brush_ = ReadBrushImage(path, limits_); }

void EmbeddedHost::LoadGradient(int index, const std::string& path) {
  if (index < 0 || index > 7) Fail(ErrorKind::Usage, "gradient index must be 0..7");
  SetGradient(index, ReadGradientFile(path));
}

void EmbeddedHost::SetWallpaper(const std::string& path) {
  wallpaper_ = path;
  settings_.Save(kApp, kHostSection, "wallpaper", path);
}

void EmbeddedHost::SetFlareSettings(const FlareSettings& s) {
  flare_ = s.Clamped();
  settings_.Save(kApp, kFlareSection, "glow", FloatText(flare_.glow));
  settings_.Save(kApp, kFlareSection, "rays", FloatText(flare_.rays));
  settings_.Save(kApp, kFlareSection, "halo", FloatText(flare_.halo));
  settings_.Save(kApp, kFlareSection, "ghosts", FloatText(flare_.ghosts));
  settings_.Save(kApp, kFlareSection, "ray_count", std::to_string(flare_.ray_count));
}

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
  DrawLensFlare(r, g, b, scale, x, y, angle, flare_);
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

void DrawPatternAnimation(EmbeddedHost& host, Pattern pattern, uint32_t seed) {
  const int32_t w = host.Tes_BufferWidth(), h = host.Tes_BufferHeight(), frames = host.tes_GetTotalFrames();
  Plane r(w, h), g(w, h), b(w, h);
  for (int32_t f = 0; f < frames; ++f) {
    DrawPattern(pattern, seed, f, frames, r, g, b);
    host.WriteFramePlane(f, Channel::R, r);
    host.WriteFramePlane(f, Channel::G, g);
    host.WriteFramePlane(f, Channel::B, b);
  }
}

}  // namespace tessfx
