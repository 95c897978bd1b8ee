#include "keys/key_channels.h"

#include <algorithm>
#include <utility>

#include "core/convert.h"

namespace tessfx {

void FrameValueTable::Redim(int32_t upper) {
  upper_ = std::max(upper, int32_t{-1});
  for (std::vector<float>& row : rows_) row.assign(static_cast<size_t>(upper_ + 1), 0.0f);
}

KeyChannels::KeyChannels(ParameterPanel& panel, TessalineHost& host) : panel_(panel), host_(host) {
  key_list_.resize(1);  // the list always holds at least one record
}

float KeyChannels::SliderRatio(int channel) const {
  const HPropModel& h = panel_.HProp[static_cast<size_t>(channel)];
  return static_cast<float>(static_cast<double>(h.Value()) / static_cast<double>(h.Max()));
}

void KeyChannels::kv_button1_Click() {
  if (host_.tes_GetTotalFrames() < 1) return;
  const int32_t f = host_.tes_Getcurrentframe();
  const int32_t existing = KeyIndexAt(f);
  const KeyEase ease = existing >= 0 ? key_list_[static_cast<size_t>(existing)].Ease : KeyEase::Fill;
  if (last_key_ == 0 && existing == 0) {
    // The only key, set again: DeleteKey would leave its marked record as a second key.
    KeyFrame& k = key_list_[0];
    for (int c = 0; c < kChannels; ++c) k.Value[static_cast<size_t>(c)] = SliderRatio(c);
    KeysChanged();
    return;
  }
  DeleteKey(f);  // a key already at f is replaced, not doubled
  ++last_key_;
  key_list_.resize(static_cast<size_t>(last_key_) + 1);  // keeps contents, reserved words included
  KeyFrame& k = key_list_[static_cast<size_t>(last_key_)];
  k.Frame = f;
  for (int c = 0; c < kChannels; ++c) k.Value[static_cast<size_t>(c)] = SliderRatio(c);
  k.Ease = ease;
  KeysChanged();
}

void KeyChannels::KeysChanged() {
  SortList();
  FillArray();
  DrawTimeline();
}

int32_t KeyChannels::KeyIndexAt(int32_t frame) const {
  for (int32_t i = 0; i <= last_key_; ++i)
    if (key_list_[static_cast<size_t>(i)].Frame == frame) return i;
  return -1;
}

std::optional<int32_t> KeyChannels::PreviousKeyFrame(int32_t frame) const {
  std::optional<int32_t> found;
  for (int32_t i = 0; i <= last_key_; ++i)
    if (const int32_t k = key_list_[static_cast<size_t>(i)].Frame; k < frame && (!found || k > *found)) found = k;
  return found;
}

std::optional<int32_t> KeyChannels::NextKeyFrame(int32_t frame) const {
  std::optional<int32_t> found;
  for (int32_t i = 0; i <= last_key_; ++i)
    if (const int32_t k = key_list_[static_cast<size_t>(i)].Frame; k > frame && (!found || k < *found)) found = k;
  return found;
}

bool KeyChannels::RemoveKey(int32_t frame) {
  const int32_t i = KeyIndexAt(frame);
  if (i < 0) return false;
  if (last_key_ == 0) {
    kv_button5_Click();
    return true;
  }
  key_list_.erase(key_list_.begin() + i);
  --last_key_;
  KeysChanged();
  return true;
}

bool KeyChannels::MoveKey(int32_t from, int32_t to) {
  const int32_t i = KeyIndexAt(from);
  if (i < 0 || to < 0 || to >= host_.tes_GetTotalFrames()) return false;
  if (from == to) return true;
  KeyFrame moved = key_list_[static_cast<size_t>(i)];
  moved.Frame = to;
  key_list_.erase(key_list_.begin() + i);
  if (const int32_t j = KeyIndexAt(to); j >= 0) {
    key_list_[static_cast<size_t>(j)] = moved;  // the moved key replaces the one there
    --last_key_;
  } else {
    key_list_.push_back(moved);
  }
  KeysChanged();
  return true;
}

bool KeyChannels::SetEase(int32_t frame, KeyEase ease) {
  const int32_t i = KeyIndexAt(frame);
  if (i < 0) return false;
  key_list_[static_cast<size_t>(i)].Ease = ease;
  KeysChanged();
  return true;
}

void KeyChannels::kv_button5_Click() {
  last_key_ = -1;
  key_list_.assign(1, KeyFrame{});
  FillArray();
  DrawTimeline();
}

void KeyChannels::kv_button11_Click() {
  FillArray();
  DrawTimeline();
}

void KeyChannels::RestoreKeys(std::vector<KeyFrame> keys) {
  if (keys.empty()) {
    last_key_ = -1;
    key_list_.assign(1, KeyFrame{});
  } else {
    last_key_ = static_cast<int32_t>(keys.size()) - 1;
    key_list_ = std::move(keys);
  }
  SortList();
  FillArray();
  DrawTimeline();
}

void KeyChannels::SortList() {
  if (last_key_ < 0) return;
  // A full bubble sort without early exit; the strict test keeps equal frames in order.
  for (int32_t pass = 0; pass <= last_key_; ++pass)
    for (int32_t i = 0; i < last_key_; ++i)
      if (key_list_[static_cast<size_t>(i)].Frame > key_list_[static_cast<size_t>(i) + 1].Frame)
        std::swap(key_list_[static_cast<size_t>(i)], key_list_[static_cast<size_t>(i) + 1]);
}

void KeyChannels::DeleteKey(int32_t frame) {
  if (last_key_ < 0) return;
  for (int32_t i = 0; i <= last_key_; ++i) {
    if (key_list_[static_cast<size_t>(i)].Frame != frame) continue;
    // Mark the key so that the sort moves it to the end, then cut the end off.
    key_list_[static_cast<size_t>(i)].Frame = kDeletedKeyFrame;
    SortList();
    --last_key_;
    // Deleting the only key leaves LastKey at 0 with the marked record: kept as it behaves.
    if (last_key_ < 0) last_key_ = 0;
    key_list_.resize(static_cast<size_t>(last_key_) + 1);
    return;
  }
}

int32_t KeyChannels::LinearFrameOf(double position) { return RoundHalfEven(position); }

int32_t KeyChannels::SplineFrameOf(float position) { return RoundHalfUp(static_cast<double>(position)); }

void KeyChannels::FillFromSliders(int32_t total) {
  std::array<float, kChannels> ratio{};
  for (int c = 0; c < kChannels; ++c) ratio[static_cast<size_t>(c)] = SliderRatio(c);
  for (int32_t f = 0; f < total; ++f)
    for (int c = 0; c < kChannels; ++c) frame_values_.Set(c, f, ratio[static_cast<size_t>(c)]);
}

void KeyChannels::LeadInOut(int32_t total) {
  // Frames before the first key take its values, frames after the last key take the last's.
  // A key frame outside the table (a shrunk animation) has nothing to copy from.
  const int32_t first = key_list_.front().Frame;
  if (frame_values_.Has(first))
    for (int32_t f = 0; f <= first; ++f)
      for (int c = 0; c < kChannels; ++c) frame_values_.Set(c, f, frame_values_.Get(c, first));
  const int32_t last = key_list_[static_cast<size_t>(last_key_)].Frame;
  if (frame_values_.Has(last))
    for (int32_t f = last; f <= total - 1; ++f)
      for (int c = 0; c < kChannels; ++c) frame_values_.Set(c, f, frame_values_.Get(c, last));
}

void KeyChannels::FillArray() {
  if (kv_button11_down_) {
    SplineFillArray();
    return;
  }
  const int32_t total = std::max(host_.tes_GetTotalFrames(), int32_t{0});
  frame_values_.Redim(total);
  if (last_key_ < 1) {
    // No key or one key: the sliders' current values hold for every frame.
    FillFromSliders(total);
    return;
  }
  for (int32_t i = 0; i < last_key_; ++i) {
    const KeyFrame& a = key_list_[static_cast<size_t>(i)];
    const KeyFrame& b = key_list_[static_cast<size_t>(i) + 1];
    const double span = static_cast<double>(b.Frame) - static_cast<double>(a.Frame);
    const double step = 1.0 / span;
    for (int c = 0; c < kChannels; ++c) {
      const double va = a.Value[static_cast<size_t>(c)], vb = b.Value[static_cast<size_t>(c)];
      // The step accumulates in t. Depending on the segment's length the sum lands just
      // below or just above 1; in the latter case the loop ends one sample short and key
      // b's own frame would keep no value (and the lead-out would carry that 0 to the end
      // of the animation). A segment therefore always ends on its second key.
      bool reached_b = false;
      for (double t = 0.0; t <= 1.0; t += step) {
        const double value = (1.0 - t) * va + t * vb;
        const int32_t frame = LinearFrameOf(a.Frame + span * t);
        frame_values_.Set(c, frame, static_cast<float>(value));
        reached_b = frame == b.Frame;
        if (!(t + step > t)) break;  // a step too small to advance would never end
      }
      if (!reached_b) frame_values_.Set(c, b.Frame, static_cast<float>(vb));
    }
  }
  ApplyEases();
  LeadInOut(total);
}

void KeyChannels::SplineFillArray() {
  const int32_t total = std::max(host_.tes_GetTotalFrames(), int32_t{0});
  // One row beyond the animation: the spline's bound test stops a channel only past it.
  frame_values_.Redim(total + 1);
  if (last_key_ >= 1) {
    for (int32_t c = 0; c < kChannels; ++c) SplineChannel(c);
    ApplyEases();
    LeadInOut(total);
  } else {
    FillFromSliders(total);
  }
}

void KeyChannels::SplineChannel(int32_t channel) {
  if (channel < 0 || channel >= kChannels) return;
  const size_t c = static_cast<size_t>(channel);
  for (int32_t i = 0; i < last_key_; ++i) {
    const KeyFrame& k1 = key_list_[static_cast<size_t>(i)];
    const KeyFrame& k2 = key_list_[static_cast<size_t>(i) + 1];
    const double step0 = 1.0 / (static_cast<double>(k2.Frame) - static_cast<double>(k1.Frame));
    const float f1 = static_cast<float>(k1.Frame), f2 = static_cast<float>(k2.Frame);
    const float v1 = k1.Value[c], v2 = k2.Value[c];
    // Outer control points: the neighbouring keys, or phantoms 5 frames further out with
    // the inner key's value. The upper test is one short of the last key, so the
    // second-to-last segment also gets a phantom: kept as the curve's shape depends on it.
    float f0 = f1 - 5.0f, v0 = v1;
    if (i - 1 >= 0) {
      f0 = static_cast<float>(key_list_[static_cast<size_t>(i) - 1].Frame);
      v0 = key_list_[static_cast<size_t>(i) - 1].Value[c];
    }
    float f3 = f2 + 5.0f, v3 = v2;
    if (i + 2 <= last_key_ - 1) {
      f3 = static_cast<float>(key_list_[static_cast<size_t>(i) + 2].Frame);
      v3 = key_list_[static_cast<size_t>(i) + 2].Value[c];
    }
    // Ten samples per frame of the segment, t accumulating in single precision.
    const float step = static_cast<float>(step0 / 10.0);
    for (float t = 0.0f; t <= 1.0f; t += step) {
      const float position = SplinePoint(t, f0, f1, f2, f3);
      const float value = std::clamp(SplinePoint(t, v0, v1, v2, v3), -1.0f, 1.0f);
      const int32_t frame = SplineFrameOf(position);
      if (frame > frame_values_.Upper()) return;  // the rest of this channel stays unwritten
      frame_values_.Set(channel, frame, value);   // a frame below 0 is ignored
      if (!(t + step > t)) break;
    }
  }
}

namespace {

bool EasesOut(KeyEase e) { return e == KeyEase::Linear || e == KeyEase::Hold || e == KeyEase::EaseOut || e == KeyEase::EaseInOut; }
bool EasesIn(KeyEase e) { return e == KeyEase::Linear || e == KeyEase::EaseIn || e == KeyEase::EaseInOut; }

}  // namespace

void KeyChannels::ApplyEases() {
  for (int32_t i = 0; i < last_key_; ++i) {
    const KeyFrame& a = key_list_[static_cast<size_t>(i)];
    const KeyFrame& b = key_list_[static_cast<size_t>(i) + 1];
    if (!EasesOut(a.Ease) && !EasesIn(b.Ease)) continue;  // the fill's own segment
    const bool hold = a.Ease == KeyEase::Hold;
    // Hermite between the two values: a side that eases starts or ends with slope 0, any
    // other side with the straight line's slope. Neither overshoots the two values.
    const bool flat_start = a.Ease == KeyEase::EaseOut || a.Ease == KeyEase::EaseInOut;
    const bool flat_end = b.Ease == KeyEase::EaseIn || b.Ease == KeyEase::EaseInOut;
    const double span = static_cast<double>(b.Frame) - static_cast<double>(a.Frame);
    const int32_t first = std::max(a.Frame, int32_t{0}), last = std::min(b.Frame, frame_values_.Upper());
    for (int32_t f = first; f <= last; ++f) {
      const double t = (f - a.Frame) / span;
      const double t2 = t * t, t3 = t2 * t;
      // Share of the way from a to b: h01 + h11 * end_slope + h10 * start_slope, slopes in
      // units of the difference.
      const double share = hold ? (f == b.Frame ? 1.0 : 0.0)
                                : (-2 * t3 + 3 * t2) + (flat_start ? 0.0 : t3 - 2 * t2 + t) +
                                      (flat_end ? 0.0 : t3 - t2);
      for (int c = 0; c < kChannels; ++c) {
        const double va = a.Value[static_cast<size_t>(c)], vb = b.Value[static_cast<size_t>(c)];
        frame_values_.Set(c, f, static_cast<float>(va + (vb - va) * share));
      }
    }
  }
}

std::string_view KeyEaseName(KeyEase ease) {
  switch (ease) {
    case KeyEase::Fill: return "fill";
    case KeyEase::Linear: return "linear";
    case KeyEase::Hold: return "hold";
    case KeyEase::EaseIn: return "ease in";
    case KeyEase::EaseOut: return "ease out";
    case KeyEase::EaseInOut: return "ease in and out";
  }
  return "fill";
}

std::optional<KeyEase> KeyEaseFromName(std::string_view name) {
  for (KeyEase e : {KeyEase::Fill, KeyEase::Linear, KeyEase::Hold, KeyEase::EaseIn, KeyEase::EaseOut, KeyEase::EaseInOut})
    if (KeyEaseName(e) == name) return e;
  return std::nullopt;
}

float KeyChannels::ChannelValue(int channel, int32_t frame) const {
  if (channel < 0 || channel >= kChannels || !frame_values_.Has(frame)) return 0.0f;
  return frame_values_.Get(channel, frame) * static_cast<float>(panel_.HProp[static_cast<size_t>(channel)].Max());
}

float SplinePoint(float t, float p0, float p1, float p2, float p3) {
  const double x = t, a = p0, b = p1, c = p2, d = p3;
  const double x2 = x * x, x3 = x2 * x;
  return static_cast<float>(0.5 * ((3.0 * b - a - 3.0 * c + d) * x3 + (2.0 * a - 5.0 * b + 4.0 * c - d) * x2 +
                                   (c - a) * x + 2.0 * b));
}

TimelineData KeyChannels::Timeline() const {
  TimelineData d;
  d.total_frames = host_.tes_GetTotalFrames();
  d.current_frame = host_.tes_Getcurrentframe();
  for (int32_t k = 0; k <= last_key_; ++k) d.key_frames.push_back(key_list_[static_cast<size_t>(k)].Frame);
  d.frame_values = &frame_values_.Rows();
  return d;
}

}  // namespace tessfx
