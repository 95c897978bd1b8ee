// By-name dispatch of the host operations: each name converts its automation arguments,
// calls the typed operation and wraps the result.
#include <functional>
#include <map>

#include "core/convert.h"
#include "core/error.h"
#include "host/host.h"

namespace tessfx {
namespace {

using Args = std::vector<AutomationValue>;
using Op = std::function<AutomationValue(TessalineHost&, Args&)>;

struct ArgReader {
  std::string_view op;
  Args& args;
  size_t expected;

  void CheckCount() const {
    if (args.size() != expected)
      Fail(ErrorKind::Usage, std::string(op) + ": expects " + std::to_string(expected) + " argument(s), got " +
                                 std::to_string(args.size()));
  }
  std::string What(size_t i) const { return std::string(op) + " argument " + std::to_string(i + 1); }
  int32_t Long(size_t i) const { return AutomationToLong(args.at(i), What(i)); }
  int16_t Integer(size_t i) const {
    int32_t v = Long(i);
    if (v < INT16_MIN || v > INT16_MAX) Fail(ErrorKind::Usage, What(i) + ": value out of Integer range");
    return static_cast<int16_t>(v);
  }
  float Single(size_t i) const { return static_cast<float>(AutomationToDouble(args.at(i), What(i))); }
  const Plane& PlaneArg(size_t i) const {
    if (auto p = std::get_if<Plane>(&args.at(i))) return *p;
    Fail(ErrorKind::Usage, What(i) + ": expected a byte plane, got " + AutomationTypeName(args.at(i)));
  }
  ObjectRef Object(size_t i) const {
    if (auto p = std::get_if<ObjectRef>(&args.at(i))) return *p;
    Fail(ErrorKind::Usage, What(i) + ": expected an object, got " + AutomationTypeName(args.at(i)));
  }
  std::string Text(size_t i) const {
    if (auto p = std::get_if<std::string>(&args.at(i))) return *p;
    Fail(ErrorKind::Usage, What(i) + ": expected a string, got " + AutomationTypeName(args.at(i)));
  }
};

struct OpEntry {
  const char* name;
  size_t arity;
  std::function<AutomationValue(TessalineHost&, const ArgReader&)> run;
};

#define TESSFX_NOARG(NAME, EXPR) \
  OpEntry { #NAME, 0, [](TessalineHost& h, const ArgReader&) -> AutomationValue { return EXPR; } }
#define TESSFX_VOID(NAME, ARITY, STMT) \
  OpEntry { #NAME, ARITY, [](TessalineHost& h, const ArgReader& a) -> AutomationValue { (void)a; STMT; return {}; } }

const std::vector<OpEntry>& Entries() {
  static const std::vector<OpEntry> entries = {
      TESSFX_NOARG(Tes_BufferHeight, h.Tes_BufferHeight()),
      TESSFX_NOARG(Tes_BufferWidth, h.Tes_BufferWidth()),
      TESSFX_NOARG(Tes_GetAlphabits, h.Tes_GetAlphabits()),
      TESSFX_NOARG(Tes_GetRBuffer, h.Tes_GetRBuffer()),
      TESSFX_NOARG(Tes_GetGBuffer, h.Tes_GetGBuffer()),
      TESSFX_NOARG(Tes_GetBBuffer, h.Tes_GetBBuffer()),
      TESSFX_NOARG(Tes_GetaBuffer, h.Tes_GetaBuffer()),
      TESSFX_VOID(tes_setrbuffer, 1, h.tes_setrbuffer(a.PlaneArg(0))),
      TESSFX_VOID(tes_setgbuffer, 1, h.tes_setgbuffer(a.PlaneArg(0))),
      TESSFX_VOID(tes_setbbuffer, 1, h.tes_setbbuffer(a.PlaneArg(0))),
      TESSFX_VOID(tes_clearbuffer, 3, h.tes_clearbuffer(a.Integer(0), a.Integer(1), a.Integer(2))),
      TESSFX_NOARG(tes_GetTotalFrames, h.tes_GetTotalFrames()),
      TESSFX_NOARG(tes_Getcurrentframe, h.tes_Getcurrentframe()),
      TESSFX_VOID(Tes_GotoFrame, 1, h.Tes_GotoFrame(a.Long(0))),
      TESSFX_VOID(Tes_Refresh, 0, h.Tes_Refresh()),
      TESSFX_VOID(Tes_CreateAnim, 1, h.Tes_CreateAnim(a.Long(0))),
      TESSFX_VOID(tes_PlayAnimation, 0, h.tes_PlayAnimation()),
      TESSFX_VOID(tes_StopAnimation, 0, h.tes_StopAnimation()),
      OpEntry{"Tes_GetRFrame", 1, [](TessalineHost& h, const ArgReader& a) -> AutomationValue { return h.Tes_GetRFrame(a.Long(0)); }},
      OpEntry{"Tes_GetGFrame", 1, [](TessalineHost& h, const ArgReader& a) -> AutomationValue { return h.Tes_GetGFrame(a.Long(0)); }},
      OpEntry{"Tes_GetBFrame", 1, [](TessalineHost& h, const ArgReader& a) -> AutomationValue { return h.Tes_GetBFrame(a.Long(0)); }},
      TESSFX_NOARG(tes_GetSwapRBuffer, h.tes_GetSwapRBuffer()),
      TESSFX_NOARG(tes_GetSwapGBuffer, h.tes_GetSwapGBuffer()),
      TESSFX_NOARG(tes_GetSwapBBuffer, h.tes_GetSwapBBuffer()),
      TESSFX_NOARG(Tes_GetPaperWidth, h.Tes_GetPaperWidth()),
      TESSFX_NOARG(Tes_GetPaperHeight, h.Tes_GetPaperHeight()),
      TESSFX_NOARG(tes_GetBump, h.tes_GetBump()),
      TESSFX_NOARG(Tes_GetBrushWidth, h.Tes_GetBrushWidth()),
      TESSFX_NOARG(Tes_GetBrushHeight, h.Tes_GetBrushHeight()),
      TESSFX_NOARG(Tes_GetBrushrBuffer, h.Tes_GetBrushrBuffer()),
      TESSFX_NOARG(Tes_GetBrushgBuffer, h.Tes_GetBrushgBuffer()),
      TESSFX_NOARG(Tes_GetBrushbBuffer, h.Tes_GetBrushbBuffer()),
      TESSFX_NOARG(Tes_GetBrushaBuffer, h.Tes_GetBrushaBuffer()),
      OpEntry{"Tes_GetGradient", 1, [](TessalineHost& h, const ArgReader& a) -> AutomationValue { return h.Tes_GetGradient(a.Integer(0)); }},
      TESSFX_VOID(Tes_RenderLensFlare, 7,
                  h.Tes_RenderLensFlare(a.Single(0), a.Single(1), a.Single(2), a.Single(3), a.Integer(4), a.Integer(5),
                                        a.Integer(6))),
      TESSFX_VOID(Tes_FlareSettings, 0, h.Tes_FlareSettings()),
      TESSFX_NOARG(Tes_GetTempDir, h.Tes_GetTempDir()),
      TESSFX_NOARG(Tes_WallpaperFilename, h.Tes_WallpaperFilename()),
      TESSFX_VOID(Tes_SendFormObject, 2, h.Tes_SendFormObject(a.Object(0), a.Integer(1))),
      OpEntry{"GetSetting", 4,
              [](TessalineHost& h, const ArgReader& a) -> AutomationValue {
                return h.GetSetting(a.Text(0), a.Text(1), a.Text(2), a.Text(3));
              }},
      TESSFX_VOID(SaveSetting, 4, h.SaveSetting(a.Text(0), a.Text(1), a.Text(2), a.Text(3))),
  };
  return entries;
}
#undef TESSFX_NOARG
#undef TESSFX_VOID

const std::map<std::string_view, const OpEntry*>& Index() {
  static const std::map<std::string_view, const OpEntry*> index = [] {
    std::map<std::string_view, const OpEntry*> m;
    for (const auto& e : Entries()) m.emplace(e.name, &e);
    return m;
  }();
  return index;
}

}  // namespace

AutomationValue TessalineHost::Call(std::string_view name, std::vector<AutomationValue>& args) {
  auto it = Index().find(name);
  if (it == Index().end()) Fail(ErrorKind::Usage, "host has no operation named \"" + std::string(name) + "\"");
  ArgReader reader{name, args, it->second->arity};
  reader.CheckCount();
  return it->second->run(*this, reader);
}

const std::vector<std::string>& TessalineHost::OperationNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> v;
    for (const auto& e : Entries()) v.emplace_back(e.name);
    return v;
  }();
  return names;
}

}  // namespace tessfx
