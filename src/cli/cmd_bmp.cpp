// BMP pictures and numbered BMP sequences as documents, read by the program's own BMP reader.
#include "cli/cli.h"
#include "core/error.h"
#include "host/embedded/frame_store.h"
#include "media/bmp.h"
#include "media/file_util.h"
#include "media/image_io.h"
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

// The reader's message for a file it refused, with what it found wrong when it says more.
[[noreturn]] void FailBmp(const std::string& file, const std::string& caption, const BmpReader& reader) {
  Fail(ErrorKind::BadData, file + ": " + caption + (reader.refusal().empty() ? "" : " (" + reader.refusal() + ")"));
}

// The files of a BMP document: a pattern ("take.####.bmp") lists its files as any image
// sequence does; a first file is followed by the sequence rule (take0012.bmp, take0013.bmp,
// ... until a file is missing); a name without trailing digits is one picture.
// The result's first_number is the number of its first file.
ImageFiles BmpDocumentFiles(const std::string& path, const InputLimits& limits) {
  if (!FileExists(path) && ParseSequencePattern(path)) {
    ImageFiles found = ResolveImageFiles(path, limits.max_frames);
    if (!found.gaps.empty())
      Fail(ErrorKind::NoInput, "cannot open " + path + ": " + GapText(*found.pattern, found.gaps));
    return found;
  }
  if (const auto why = NotAnInputFile(path)) Fail(ErrorKind::NoInput, "cannot open " + path + ": " + *why);
  ImageFiles result;
  std::vector<std::string>& files = result.files;
  files.push_back(path);
  SequenceSettings settings;
  try {
    settings = SequenceFromFirstFile(path);
  } catch (const Error&) {
    // A number the rule cannot hold: alone, the file is a picture like any other; with a
    // next file beside it, it starts a sequence that cannot be numbered.
    const auto numbered = NumberedFile(path);
    if (numbered && FileExists(numbered->first.FileName(numbered->second + 1))) throw;
    return result;
  }
  if (settings.digit_count > 0 && !settings.base_name.empty()) {
    result.first_number = settings.start_number;
    for (int32_t f = 1; FileExists(MemberName(settings, path, f)); ++f) {
      if (f >= limits.max_frames)
        Fail(ErrorKind::BadData, path + ": the sequence has more than " + std::to_string(limits.max_frames) +
                                     " frames (--max-frames)");
      files.push_back(MemberName(settings, path, f));
    }
  }
  return result;
}

}  // namespace

bool IsBmpDocument(const std::string& path) { return LowerExtension(path) == ".bmp"; }

DocumentInfo ProbeBmpDocument(const std::string& path, const InputLimits& limits) {
  const ImageFiles found = BmpDocumentFiles(path, limits);
  const std::vector<std::string>& files = found.files;
  BmpReader reader;
  if (const int status = reader.ProbeBmpHeader(files.front()); status != kBmpLoaded)
    FailBmp(files.front(), BmpStatusMessage(status), reader);
  limits.CheckSize(files.front(), reader.picture_width(), reader.picture_height());
  DocumentInfo info;
  info.kind = files.size() > 1 ? DocumentKind::ImageSequence : DocumentKind::Image;
  info.format = "bmp";
  info.width = reader.picture_width();
  info.height = reader.picture_height();
  info.frames = static_cast<int32_t>(files.size());
  info.first_file = files.front();
  info.last_file = files.back();
  info.files = files;
  if (files.size() > 1) info.first_number = found.first_number;
  info.save_path = path;
  return info;
}

int32_t ReadBmpSequenceIntoHost(EmbeddedHost& host, const std::string& firstFile,
                                std::optional<std::pair<int32_t, int32_t>> size) {
  const InputLimits& limits = host.input_limits();
  const ImageFiles found = BmpDocumentFiles(firstFile, limits);
  const std::vector<std::string>& files = found.files;
  BmpReader reader;
  if (!size) {
    const int status = reader.ProbeBmpHeader(files.front());
    if (status != kBmpLoaded) FailBmp(files.front(), BmpStatusMessage(status), reader);
    size = std::pair{reader.picture_width(), reader.picture_height()};
  }
  const auto [w, h] = *size;
  limits.CheckSize(files.front(), w, h);
  const auto frames = static_cast<int32_t>(files.size());

  // Frames go into a store of their own that replaces the host's animation only when every
  // member has loaded, so a bad member leaves the host as it was.
  std::unique_ptr<FrameStore> store = host.CreateStore(w, h, frames);
  Plane r(w, h), g(w, h), b(w, h), a(w, h);
  LastCaption caption;
  DocumentInfo info;
  info.format = "bmp";
  if (frames > 1) {  // a numbered sequence: its frames go by their files' numbers
    info.kind = DocumentKind::ImageSequence;
    info.first_number = found.first_number;
  }
  for (int32_t f = 0; f < frames; ++f) {
    const std::string& name = files[static_cast<size_t>(f)];
    info.files.push_back(name);
    if (reader.LoadBmpToPlanes(name, r, g, b, a, caption) != kBmpLoaded) FailBmp(name, caption.text, reader);
    // Animation documents carry no alpha: frames keep the store's fully selected one.
    store->Write(f, Channel::R, r);
    store->Write(f, Channel::G, g);
    store->Write(f, Channel::B, b);
  }
  info.first_file = files.front();
  info.last_file = info.files.back();
  host.AdoptStore(std::move(store), firstFile, info);
  return frames;
}

}  // namespace tessfx::cli
