// BMP pictures and numbered BMP sequences as input of tessfx convert.
#include "cli/cli.h"
#include "core/error.h"
#include "host/embedded/frame_store.h"
#include "media/bmp.h"
#include "media/file_util.h"
#include "media/sequence.h"
#include "media/tsa.h"

namespace tessfx::cli {
namespace {

struct LastCaption final : CaptionSink {
  void SetCaption(const std::string& caption) override { text = caption; }
  std::string text;
};

// The file of frame `frame`; members keep the first file's own extension (".BMP" stays so).
std::string MemberName(const SequenceSettings& s, const std::string& first, int32_t frame) {
  if (frame == 0) return first;
  std::string name = SequenceFrameFileName(s, frame).value_or(std::string());
  const size_t stem = StripExtension(first).size();
  if (stem < first.size() && name.size() >= 4) name.replace(name.size() - 4, 4, first.substr(stem));
  return name;
}

}  // namespace

int32_t ReadBmpSequenceIntoHost(EmbeddedHost& host, const std::string& firstFile,
                                std::optional<std::pair<int32_t, int32_t>> size) {
  if (!FileExists(firstFile)) Fail(ErrorKind::NoInput, "cannot open " + firstFile + ": no such file");
  BmpReader reader;
  if (!size) {
    const int status = reader.ReadBmpHeader(firstFile);
    if (status != kBmpLoaded) Fail(ErrorKind::BadData, firstFile + ": " + BmpStatusMessage(status));
    size = std::pair{reader.picture_width(), reader.picture_height()};
  }
  const auto [w, h] = *size;

  // A name without trailing digits is a single picture, not the start of a sequence.
  const SequenceSettings settings = SequenceFromFirstFile(firstFile);
  int32_t frames = 1;
  if (settings.digit_count > 0 && !settings.base_name.empty())
    while (frames < kMaxFrames && FileExists(MemberName(settings, firstFile, frames))) ++frames;

  // Frames go into a store of their own that replaces the host's animation only when every
  // member has loaded, so a bad member leaves the host as it was.
  auto store = std::make_unique<MemoryFrameStore>(w, h, frames);
  Plane r(w, h), g(w, h), b(w, h), a(w, h);
  LastCaption caption;
  DocumentInfo info;
  info.format = "bmp";
  if (frames > 1) {  // a numbered sequence: its frames go by their files' numbers
    info.kind = DocumentKind::ImageSequence;
    info.first_number = settings.start_number;
  }
  for (int32_t f = 0; f < frames; ++f) {
    const std::string name = MemberName(settings, firstFile, f);
    info.files.push_back(name);
    if (reader.LoadBmpToPlanes(name, r, g, b, a, caption) != kBmpLoaded)
      Fail(ErrorKind::BadData, name + ": " + caption.text);
    // Animation documents carry no alpha: frames keep the store's fully selected one.
    store->Write(f, Channel::R, r);
    store->Write(f, Channel::G, g);
    store->Write(f, Channel::B, b);
  }
  info.first_file = firstFile;
  info.last_file = info.files.back();
  host.AdoptStore(std::move(store), firstFile, info);
  return frames;
}

}  // namespace tessfx::cli
