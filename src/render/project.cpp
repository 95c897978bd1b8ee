#include "render/project.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "core/error.h"
#include "media/file_util.h"

namespace tessfx {
namespace {

using json = nlohmann::json;

// Reads members with messages that name the file and the member's path.
class Reader {
 public:
  explicit Reader(std::string source) : source_(std::move(source)) {}

  [[noreturn]] void Refuse(const std::string& where, const std::string& what) const {
    Fail(ErrorKind::BadData, "project " + source_ + ": " + (where.empty() ? "" : "\"" + where + "\" ") + what);
  }

  const json* Member(const json& obj, const std::string& where, const char* name, bool required) const {
    auto it = obj.find(name);
    if (it == obj.end()) {
      if (required) Refuse(Join(where, name), "is missing");
      return nullptr;
    }
    return &*it;
  }

  const json& Object(const json& j, const std::string& where) const {
    if (!j.is_object()) Refuse(where, "must be an object");
    return j;
  }

  std::string String(const json& j, const std::string& where) const {
    if (!j.is_string()) Refuse(where, "must be a string");
    return j.get<std::string>();
  }

  bool Bool(const json& j, const std::string& where) const {
    if (!j.is_boolean()) Refuse(where, "must be true or false");
    return j.get<bool>();
  }

  int64_t Integer(const json& j, const std::string& where, int64_t lo, int64_t hi) const {
    if (!j.is_number_integer()) Refuse(where, "must be a whole number");
    const int64_t v = j.is_number_unsigned() && j.get<uint64_t>() > uint64_t(std::numeric_limits<int64_t>::max())
                          ? std::numeric_limits<int64_t>::max()
                          : j.get<int64_t>();
    if (v < lo || v > hi) Refuse(where, "must be " + std::to_string(lo) + ".." + std::to_string(hi));
    return v;
  }

  float Number(const json& j, const std::string& where) const {
    if (!j.is_number()) Refuse(where, "must be a number");
    const double v = j.get<double>();
    if (!std::isfinite(v) || std::fabs(v) > std::numeric_limits<float>::max()) Refuse(where, "is out of range");
    return static_cast<float>(v);
  }

  const json& Array(const json& j, const std::string& where, size_t size) const {
    if (!j.is_array() || j.size() != size) Refuse(where, "must be a list of " + std::to_string(size) + " numbers");
    return j;
  }

  static std::string Join(const std::string& where, const std::string& name) {
    return where.empty() ? name : where + "." + name;
  }
  static std::string Index(const std::string& where, size_t i) { return where + "[" + std::to_string(i) + "]"; }

 private:
  std::string source_;
};

}  // namespace

json ProjectToJson(const Project& p) {
  json keys = json::array();
  for (const ProjectKey& k : p.keys) {
    json key{{"frame", k.frame}, {"values", k.values}};
    if (k.ease != KeyEase::Fill) key["ease"] = std::string(KeyEaseName(k.ease));
    keys.push_back(std::move(key));
  }
  return json{{"format", kProjectFormat},
              {"version", kProjectVersion},
              {"effect", p.effect},
              {"sliders", p.sliders},
              {"spline", p.spline},
              {"keys", keys},
              {"sequence",
               {{"base_name", p.sequence.base_name},
                {"start_number", p.sequence.start_number},
                {"digit_count", p.sequence.digit_count}}},
              {"swap", {{"animation_file", p.swap_file}, {"active", p.swap_active}, {"image_file", p.swap_image}}}};
}

Project ProjectFromJson(const json& j, const std::string& source) {
  const Reader r(source);
  Project p;
  r.Object(j, "");
  if (const json* f = r.Member(j, "", "format", true); r.String(*f, "format") != kProjectFormat)
    r.Refuse("format", "is not \"" + std::string(kProjectFormat) + "\": not a project file");
  const json* v = r.Member(j, "", "version", true);
  if (!v->is_number_integer()) r.Refuse("version", "must be a whole number");
  if (v->get<int64_t>() != kProjectVersion)
    r.Refuse("", "has format version " + v->dump() + "; this program reads version " + std::to_string(kProjectVersion));
  p.effect = r.String(*r.Member(j, "", "effect", true), "effect");
  if (const json* s = r.Member(j, "", "sliders", false)) {
    r.Array(*s, "sliders", 6);
    for (size_t i = 0; i < 6; ++i)
      p.sliders[i] = static_cast<int16_t>(r.Integer((*s)[i], Reader::Index("sliders", i), INT16_MIN, INT16_MAX));
  }
  if (const json* s = r.Member(j, "", "spline", false)) p.spline = r.Bool(*s, "spline");
  if (const json* ks = r.Member(j, "", "keys", false)) {
    if (!ks->is_array()) r.Refuse("keys", "must be a list");
    std::set<int32_t> frames;
    for (size_t i = 0; i < ks->size(); ++i) {
      const std::string where = Reader::Index("keys", i);
      const json& k = r.Object((*ks)[i], where);
      ProjectKey key;
      // Frame 10000 is the mark a deleted key leaves behind, so it can be saved too.
      key.frame = static_cast<int32_t>(
          r.Integer(*r.Member(k, where, "frame", true), Reader::Join(where, "frame"), 0, kDeletedKeyFrame));
      const std::string vw = Reader::Join(where, "values");
      const json& vals = r.Array(*r.Member(k, where, "values", true), vw, 6);
      for (size_t c = 0; c < 6; ++c) key.values[c] = r.Number(vals[c], Reader::Index(vw, c));
      if (const json* e = r.Member(k, where, "ease", false)) {
        const std::optional<KeyEase> ease = KeyEaseFromName(r.String(*e, Reader::Join(where, "ease")));
        if (!ease)
          r.Refuse(Reader::Join(where, "ease"),
                   R"(must be "fill", "linear", "hold", "ease in", "ease out" or "ease in and out")");
        key.ease = *ease;
      }
      if (!frames.insert(key.frame).second) r.Refuse(where, "repeats frame " + std::to_string(key.frame));
      p.keys.push_back(key);
    }
  }
  if (const json* s = r.Member(j, "", "sequence", false)) {
    r.Object(*s, "sequence");
    if (const json* m = r.Member(*s, "sequence", "base_name", false)) p.sequence.base_name = r.String(*m, "sequence.base_name");
    if (const json* m = r.Member(*s, "sequence", "start_number", false))
      p.sequence.start_number = static_cast<int16_t>(r.Integer(*m, "sequence.start_number", INT16_MIN, INT16_MAX));
    if (const json* m = r.Member(*s, "sequence", "digit_count", false))
      p.sequence.digit_count = static_cast<int16_t>(r.Integer(*m, "sequence.digit_count", 0, INT16_MAX));
  }
  if (const json* s = r.Member(j, "", "swap", false)) {
    r.Object(*s, "swap");
    if (const json* m = r.Member(*s, "swap", "animation_file", false)) p.swap_file = r.String(*m, "swap.animation_file");
    if (const json* m = r.Member(*s, "swap", "active", false)) p.swap_active = r.Bool(*m, "swap.active");
    if (const json* m = r.Member(*s, "swap", "image_file", false)) p.swap_image = r.String(*m, "swap.image_file");
  }
  return p;
}

Project ReadProjectFile(const std::string& path) {
  InputFile in(path);
  const int64_t size = in.Size();
  if (size > kMaxProjectBytes)
    Fail(ErrorKind::BadData, "project " + path + " is " + std::to_string(size) + " bytes, more than a project file holds (" +
                                 std::to_string(kMaxProjectBytes) + ")");
  std::string text(static_cast<size_t>(size), '\0');
  in.ReadExactly(0, text.data(), text.size());
  json j;
  try {
    // Checked while parsing, so that what cannot be a project never grows into a document:
    // how deep it nests, how many values and how long its strings are.
    size_t values = 0;
    const json::parser_callback_t check = [&](int depth, json::parse_event_t event, json& parsed) {
      if ((event == json::parse_event_t::object_start || event == json::parse_event_t::array_start) &&
          depth >= kMaxProjectDepth)
        Fail(ErrorKind::BadData, "project " + path + " nests deeper than " + std::to_string(kMaxProjectDepth) +
                                     " levels: not a project file");
      if (event == json::parse_event_t::value && ++values > kMaxProjectValues)
        Fail(ErrorKind::BadData, "project " + path + " holds more than " + std::to_string(kMaxProjectValues) +
                                     " values: not a project file");
      if ((event == json::parse_event_t::value || event == json::parse_event_t::key) && parsed.is_string() &&
          parsed.get_ref<const std::string&>().size() > kMaxProjectText)
        Fail(ErrorKind::BadData, "project " + path + " holds a text of " +
                                     std::to_string(parsed.get_ref<const std::string&>().size()) +
                                     " bytes, longer than any name or path (" + std::to_string(kMaxProjectText) + ")");
      return true;
    };
    j = json::parse(text, check);
  } catch (const json::exception& e) {
    // Syntax errors, and numbers too large for any JSON number type ("7E777"). The library's
    // text starts with its own error id; keep the part that says what and where.
    std::string what = e.what();
    if (const size_t at = what.find("] "); at != std::string::npos) what = what.substr(at + 2);
    Fail(ErrorKind::BadData, "project " + path + " is not valid JSON: " + what);
  }
  return ProjectFromJson(j, path);
}

void WriteProjectFile(const Project& p, const std::string& path) {
  const std::string text = ProjectToJson(p).dump(2) + "\n";
  AtomicOutputFile out(path);
  out.Append(text.data(), text.size());
  out.Commit();
}

Project CaptureProject(Editor& editor) {
  Project p;
  ParameterPanel& panel = editor.panel();
  p.effect = panel.EffectName();
  for (size_t n = 0; n < 6; ++n) p.sliders[n] = panel.HProp[n].Value();
  p.spline = editor.keys().SplineMode();
  const KeyChannels& keys = editor.keys();
  for (int32_t i = 0; i <= keys.LastKey(); ++i) {
    const KeyFrame& k = keys.KeyList()[static_cast<size_t>(i)];
    p.keys.push_back({k.Frame, k.Value, k.Ease});
  }
  p.sequence = editor.sequence;
  const ExternalAnimation& swap = editor.image().external_swap;
  p.swap_file = swap.file_name();
  p.swap_active = swap.active();
  if (editor.host_files.swap_image) p.swap_image = editor.host_files.swap_image();
  return p;
}

void ApplyProject(Editor& editor, const Project& p) {
  ParameterPanel& panel = editor.panel();
  const EffectDef* effect = FindEffectIgnoringCase(p.effect);
  if (!effect) Fail(ErrorKind::BadData, UnknownEffectMessage(p.effect));
  // Check every value before anything changes.
  for (size_t n = 0; n < effect->sliders.size() && n < 6; ++n) {
    const SliderSpec& s = effect->sliders[n];
    if (p.sliders[n] < s.min || p.sliders[n] > s.max)
      Fail(ErrorKind::BadData, "slider " + std::to_string(n + 1) + " (\"" + std::string(s.caption) + "\") of \"" +
                                   std::string(effect->name) + "\" is " + std::to_string(p.sliders[n]) + ", outside " +
                                   std::to_string(s.min) + ".." + std::to_string(s.max));
  }
  // The swap file is the one thing that can still fail: opened before the rest changes.
  ExternalAnimation& swap = editor.image().external_swap;
  if (!p.swap_file.empty()) {
    if (swap.OpenAnimationFile(p.swap_file, [&](const std::string& m) { editor.window().MessageBox(m); }) != 0)
      Fail(ErrorKind::BadData, "swap animation " + p.swap_file + ": not an animation file");
    swap.set_active(p.swap_active);
  } else {
    swap.set_active(false);
  }
  if (!p.swap_image.empty()) {
    if (editor.host_files.load_swap_image)
      editor.host_files.load_swap_image(p.swap_image);
    else
      editor.window().MessageBox("The project's swap image " + p.swap_image + " is not loaded: load it in the host.");
  }
  panel.SelectEffect(std::string(effect->name));
  // Sliders the effect does not use stay as the set-up left them; one preview at the end.
  panel.SuppressPreview = 255;
  for (size_t n = 0; n < effect->sliders.size() && n < 6; ++n) panel.HProp[n].SetValue(p.sliders[n]);
  panel.SuppressPreview = 0;
  std::vector<KeyFrame> keys;
  for (const ProjectKey& k : p.keys) {
    KeyFrame kf;
    kf.Frame = k.frame;
    kf.Value = k.values;
    kf.Ease = k.ease;
    keys.push_back(kf);
  }
  editor.keys().SetSplineMode(p.spline);
  editor.keys().RestoreKeys(std::move(keys));
  editor.sequence = p.sequence;
  editor.DoPreviewFrame();
}

}  // namespace tessfx
