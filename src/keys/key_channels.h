#pragma once
// Key frames of the six parameter channels and their expansion into a per-frame value
// table, as a model without widgets. A key stores, for one host frame, the six sliders'
// values normalised by each slider's Max; FillArray expands the keys (linearly, or by a
// Catmull-Rom spline when the toggle kv_button11 is down) into FrameValues, which the
// render reads and the timeline draws.
//
// The sliders are read through the parameter panel, the frame count and current frame
// through the host. The timeline is redrawn through the draw_timeline hook after every
// change of the keys.
#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "engine/panel.h"
#include "host/host.h"
#include "keys/timeline_view.h"

namespace tessfx {

inline constexpr int kChannels = 6;
// DeleteKey marks the key to remove with this frame so that the sort moves it last.
inline constexpr int32_t kDeletedKeyFrame = 10000;

// How the curve meets a key, chosen per key by the user. Fill (the default) leaves both
// neighbouring segments to the fill (linear or spline), so keys without a preset give
// exactly the fill's values. The others shape the segments on the sides they name:
//   Linear     straight on both sides;
//   Hold       the key's values hold until the next key (its outgoing segment is a step);
//   EaseIn     the curve slows to a stop as it arrives at the key;
//   EaseOut    the curve starts from a stop as it leaves the key;
//   EaseInOut  both.
// A segment shaped by one key's preset is straight on the other key's side unless that key
// eases too; a segment where both sides ease is a smooth step.
enum class KeyEase : uint8_t { Fill, Linear, Hold, EaseIn, EaseOut, EaseInOut };

// The preset's name as projects store it and menus show it ("ease in and out"), and back;
// nullopt for a name that is none of them.
std::string_view KeyEaseName(KeyEase ease);
std::optional<KeyEase> KeyEaseFromName(std::string_view name);

struct KeyFrame {
  int32_t Frame = 0;
  // Two words that no operation sets or reads; the sort carries them along.
  int32_t Reserved1 = 0;
  int32_t Reserved2 = 0;
  std::array<float, kChannels> Value{};  // Value[c] belongs to slider HProp(c+1)
  KeyEase Ease = KeyEase::Fill;           // the sort carries it along with the key
};

// FrameValues: single-precision values indexed [channel 0..5][frame 0..Upper()]. Every fill
// re-dimensions it (all zero). Writes outside the table are ignored: the linear fill can
// aim past its end (the deleted-key sentinel) and the spline below frame 0.
class FrameValueTable {
 public:
  void Redim(int32_t upper);  // [0..5][0..upper], all zero; upper < 0 leaves it empty
  int32_t Upper() const { return upper_; }
  bool Has(int32_t frame) const { return frame >= 0 && frame <= upper_; }
  float Get(int channel, int32_t frame) const { return rows_[static_cast<size_t>(channel)][static_cast<size_t>(frame)]; }
  void Set(int channel, int32_t frame, float v) {
    if (Has(frame)) rows_[static_cast<size_t>(channel)][static_cast<size_t>(frame)] = v;
  }
  // One row per channel, indexed by frame (what the timeline strip draws).
  const std::array<std::vector<float>, kChannels>& Rows() const { return rows_; }

 private:
  int32_t upper_ = -1;
  std::array<std::vector<float>, kChannels> rows_;
};

class KeyChannels {
 public:
  KeyChannels(ParameterPanel& panel, TessalineHost& host);

  // ---- key list ----
  const std::vector<KeyFrame>& KeyList() const { return key_list_; }  // records 0..LastKey (at least one)
  int32_t LastKey() const { return last_key_; }                        // -1: no keys
  int32_t KeyCount() const { return last_key_ + 1; }

  // Set key (kv_button1): the six sliders' Value / Max at the host's current frame,
  // replacing a key already there. The only key, set again on its own frame, is updated in
  // place (the delete-and-append of other keys would leave its marked record behind as a
  // second key); a replaced key keeps its ease.
  void kv_button1_Click();
  // Clear keys (kv_button5).
  void kv_button5_Click();
  // The spline toggle's click: the button holds its own state (SetSplineMode); the click
  // only refills the table and redraws.
  void kv_button11_Click();
  bool SplineMode() const { return kv_button11_down_; }
  void SetSplineMode(bool down) { kv_button11_down_ = down; }

  // Replaces the whole key list (a loaded project), then sorts, refills and redraws.
  // An empty list clears the keys.
  void RestoreKeys(std::vector<KeyFrame> keys);

  void SortList();
  void DeleteKey(int32_t frame);

  // ---- editing keys by hand (the key lane of the timeline) ----
  // Index of the key at `frame`, or -1.
  int32_t KeyIndexAt(int32_t frame) const;
  // The nearest key frame before / after `frame`, or nullopt.
  std::optional<int32_t> PreviousKeyFrame(int32_t frame) const;
  std::optional<int32_t> NextKeyFrame(int32_t frame) const;
  // Removes the key at `frame`. Unlike DeleteKey, removing the only key leaves no key at
  // all. False when no key stands there.
  bool RemoveKey(int32_t frame);
  // Moves the key at `from` to `to` (0..frames-1), replacing a key standing there. False
  // when there is no key at `from` or `to` is outside the animation.
  bool MoveKey(int32_t from, int32_t to);
  // Sets the ease preset of the key at `frame`; false when no key stands there.
  bool SetEase(int32_t frame, KeyEase ease);

  // ---- expansion ----
  void FillArray();
  void SplineFillArray();
  void SplineChannel(int32_t channel);
  const FrameValueTable& FrameValues() const { return frame_values_; }

  // The value of channel c at frame f for the dispatch and the render: the table entry
  // times slider c's current Max, as single. A frame outside the table counts as 0.
  float ChannelValue(int channel, int32_t frame) const;

  // How a sample position becomes a frame: the linear fill rounds halves to even, the
  // spline fill rounds halves up.
  static int32_t LinearFrameOf(double position);
  static int32_t SplineFrameOf(float position);

  // What the timeline strip shows now: the host's frame count and current frame, the key
  // frames and the per-frame values (which this object keeps alive). The strip fills in
  // its own size and back colour.
  TimelineData Timeline() const;

  // Redraws the timeline strip after a change of the keys or of the toggle.
  std::function<void()> draw_timeline;

 private:
  float SliderRatio(int channel) const;  // Value / Max of HProp(channel+1), double stored as single
  void FillFromSliders(int32_t total);
  void LeadInOut(int32_t total);
  // Rewrites the segments next to keys with an ease preset (after the fill, before the
  // lead-in and lead-out).
  void ApplyEases();
  // Sorts, refills and redraws after a change of the key list.
  void KeysChanged();
  void DrawTimeline() {
    if (draw_timeline) draw_timeline();
  }

  ParameterPanel& panel_;
  TessalineHost& host_;
  std::vector<KeyFrame> key_list_;
  int32_t last_key_ = -1;
  bool kv_button11_down_ = false;
  FrameValueTable frame_values_;
};

// The Catmull-Rom spline between p1 (t = 0) and p2 (t = 1), computed in double.
float SplinePoint(float t, float p0, float p1, float p2, float p3);

}  // namespace tessfx
