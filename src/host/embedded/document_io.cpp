#include "host/embedded/document_io.h"

#include <array>
#include <filesystem>

#include "core/error.h"
#include "host/embedded/lazy_frame_store.h"
#include "media/file_util.h"
#include "media/bmp.h"
#include "media/image_io.h"
#include "media/sequence.h"
#include "media/tsa.h"

namespace tessfx {
namespace {

constexpr Channel kColour[] = {Channel::R, Channel::G, Channel::B};

// A file that exists under the name given is that file, even when the name looks like a pattern.
bool IsAnimationFile(const std::string& path) {
  return (FileExists(path) || !ParseSequencePattern(path)) && (LowerExtension(path) == ".tsa" || HasTsaMagic(path));
}

DocumentInfo ImagesInfo(const ImageFiles& files, const std::string& path, const InputLimits& limits) {
  const ImageInfo first = ProbeImage(files.files.front(), limits);
  DocumentInfo info;
  info.kind = files.files.size() > 1 || files.pattern ? DocumentKind::ImageSequence : DocumentKind::Image;
  info.format = first.format;
  info.width = first.width;
  info.height = first.height;
  info.frames = static_cast<int32_t>(files.files.size());
  info.has_alpha = first.has_alpha;
  info.channels = first.channels;
  info.sample_type = first.sample_type;
  info.bits = first.bits;
  info.colour_space = first.colour_space;
  info.first_file = files.files.front();
  info.last_file = files.files.back();
  info.save_path = files.pattern && !ParseSequencePattern(path) ? files.pattern->Text() : path;
  if (files.pattern) info.first_number = files.first_number;
  info.pattern = files.pattern;
  info.files = files.files;
  info.gaps = files.gaps;
  return info;
}

DocumentInfo AnimationInfo(const TsaHeader& h, const std::string& path) {
  DocumentInfo info;
  info.kind = DocumentKind::Animation;
  info.format = "tsa";
  info.width = h.width;
  info.height = h.height;
  info.frames = h.frames;
  info.first_file = info.last_file = info.save_path = path;
  info.files = {path};
  return info;
}

struct LastCaption final : CaptionSink {
  void SetCaption(const std::string& caption) override { text = caption; }
  std::string text;
};

// The file of frame `frame`; members keep the first file's own extension (".BMP" stays so).
std::string BmpMemberName(const SequenceSettings& s, const std::string& first, int32_t frame) {
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

// The files of a BMP document (see IsBmpDocument); first_number is its first file's number.
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
    for (int32_t f = 1; FileExists(BmpMemberName(settings, path, f)); ++f) {
      if (f >= limits.max_frames)
        Fail(ErrorKind::BadData, path + ": the sequence has more than " + std::to_string(limits.max_frames) +
                                     " frames (--max-frames)");
      files.push_back(BmpMemberName(settings, path, f));
    }
  }
  return result;
}

// A BMP document described from its first file's headers; frames are `size` when given.
DocumentInfo BmpInfo(const std::string& path, const InputLimits& limits,
                     const std::optional<std::pair<int32_t, int32_t>>& size) {
  const ImageFiles found = BmpDocumentFiles(path, limits);
  const std::vector<std::string>& files = found.files;
  DocumentInfo info;
  if (size) {
    std::tie(info.width, info.height) = *size;
  } else {
    BmpReader reader;
    if (const int status = reader.ProbeBmpHeader(files.front()); status != kBmpLoaded)
      FailBmp(files.front(), BmpStatusMessage(status), reader);
    info.width = reader.picture_width();
    info.height = reader.picture_height();
  }
  limits.CheckSize(files.front(), info.width, info.height);
  info.kind = files.size() > 1 ? DocumentKind::ImageSequence : DocumentKind::Image;
  info.format = "bmp";
  info.frames = static_cast<int32_t>(files.size());
  info.first_file = files.front();
  info.last_file = files.back();
  info.files = files;
  if (files.size() > 1) info.first_number = found.first_number;  // its frames go by their files' numbers
  info.save_path = path;
  return info;
}

}  // namespace

bool IsBmpDocument(const std::string& path) { return LowerExtension(path) == ".bmp"; }

std::string DocumentInfo::Describe() const {
  switch (kind) {
    case DocumentKind::Animation: return format;
    case DocumentKind::ImageSequence: return format + " sequence";
    case DocumentKind::Image: return format + " image";
  }
  return format;
}

bool DocumentInfo::Deep() const {
  if (kind == DocumentKind::Animation) return false;
  return bits > 8 || sample_type == "half" || sample_type == "float" || sample_type == "double";
}

std::string DocumentInfo::DepthText() const {
  if (sample_type == "half") return "half float";
  if (sample_type == "float" || sample_type == "double") return std::to_string(bits) + "-bit float";
  return std::to_string(bits) + "-bit";
}

SampleType SavedSampleType(const std::string& file, const SaveRequest& request) {
  SampleType type = request.image.sample_type;
  const DocumentInfo* source = request.source;
  if (type == SampleType::Default && source && source->Deep() && ImageFormatFor(file) == source->format)
    type = ParseSampleType(source->sample_type).value_or(SampleType::Default);
  return StoredSampleType(file, type);
}

DocumentKind OutputKind(const std::string& path) {
  if (auto pattern = ParseSequencePattern(path)) {
    if (!IsWritableImagePath(pattern->FileName(0)))
      Fail(ErrorKind::Usage, "cannot save " + path + ": no image writer for \"" + LowerExtension(pattern->suffix) + "\"");
    return DocumentKind::ImageSequence;
  }
  if (LowerExtension(path) == ".tsa") return DocumentKind::Animation;
  if (!IsWritableImagePath(path))
    Fail(ErrorKind::Usage, "cannot save " + path + ": unknown file type (use .tsa, an image extension or a pattern such as f.####.png)");
  return DocumentKind::Image;
}

DocumentInfo ProbeDocument(const std::string& path, const InputLimits& limits) {
  if (IsAnimationFile(path)) return AnimationInfo(TsaReader(path, limits).header(), path);
  if (IsBmpDocument(path)) return BmpInfo(path, limits, std::nullopt);
  return ImagesInfo(ResolveImageFiles(path, limits.max_frames), path, limits);
}

DocumentReader::DocumentReader(const std::string& path, const OpenOptions& options) : limits_(options.limits) {
  if (IsAnimationFile(path)) {
    tsa_.emplace(path, limits_);  // validates the header and the file size first
    info_ = AnimationInfo(tsa_->header(), path);
    return;
  }
  if (IsBmpDocument(path)) {
    info_ = BmpInfo(path, limits_, options.bmp_size);
    bmp_ = true;
    return;
  }
  info_ = ImagesInfo(ResolveImageFiles(path, limits_.max_frames), path, limits_);
  if (options.span && info_.pattern) {
    const OpenOptions::Span span = *options.span;
    if (span.frames < 1 || span.frames > limits_.max_frames || span.first < 0)
      Fail(ErrorKind::Usage, "cannot open " + path + ": frames " + std::to_string(span.first) + " and on are not a sequence");
    info_.files.clear();
    info_.gaps.clear();
    for (int64_t n = span.first; n < span.first + span.frames; ++n) {
      const std::string file = info_.pattern->FileName(n);
      const bool exists = FileExists(file);
      info_.files.push_back(exists ? file : std::string());
      if (!exists) info_.gaps.push_back(n);
    }
    info_.kind = DocumentKind::ImageSequence;
    info_.frames = span.frames;
    info_.first_number = span.first;
    info_.first_file = info_.pattern->FileName(span.first);
    info_.last_file = info_.pattern->FileName(span.first + span.frames - 1);
    return;
  }
  if (!info_.gaps.empty() && !options.allow_gaps)
    Fail(ErrorKind::NoInput, "cannot open " + path + ": " + GapText(*info_.pattern, info_.gaps) +
                                 (options.gap_advice.empty() ? "" : " (" + options.gap_advice + ")"));
}

bool DocumentReader::ReadFrame(int32_t frame, RgbaPlanes& planes) {
  if (frame < 0 || frame >= info_.frames)
    Fail(ErrorKind::Usage, "frame " + std::to_string(frame) + " is outside the document (0.." +
                               std::to_string(info_.frames - 1) + ")");
  if (tsa_) {
    for (Channel c : kColour) tsa_->ReadPlane(frame, c, planes[static_cast<size_t>(c)]);
    return false;  // a .tsa carries no alpha
  }
  const std::string& file = info_.files[static_cast<size_t>(frame)];
  if (file.empty())
    Fail(ErrorKind::NoInput, "cannot read frame " + std::to_string(info_.FrameNumberBase() + frame) + ": " +
                                 info_.pattern->FileName(info_.FrameNumberBase() + frame) + " does not exist");
  if (bmp_) {
    BmpReader reader;
    LastCaption caption;
    for (Plane& p : planes) p.EnsureSize(info_.width, info_.height);
    if (reader.LoadBmpToPlanes(file, planes[0], planes[1], planes[2], planes[3], caption) != kBmpLoaded)
      FailBmp(file, caption.text, reader);
    return false;  // a BMP document carries no alpha
  }
  const ImageInfo expect{info_.width, info_.height, 0, false, info_.format, {}, 0, {}};
  return ReadImage(file, planes, &expect, limits_).has_alpha;
}

std::unique_ptr<FrameStore> LoadDocument(const std::string& path, const StoreFactory& make_store, DocumentInfo& info,
                                         const OpenOptions& options) {
  auto reader = std::make_unique<DocumentReader>(path, options);
  info = reader->info();
  auto store = make_store(info.width, info.height, info.frames);
  if (options.on_demand) return std::make_unique<LazyFrameStore>(std::move(reader), std::move(store));
  RgbaPlanes planes;
  for (int32_t f = 0; f < info.frames; ++f) {
    const bool alpha = reader->ReadFrame(f, planes);
    for (Channel c : kColour) store->Write(f, c, planes[static_cast<size_t>(c)]);
    // Frames without alpha keep the store's fully selected one.
    if (alpha) {
      store->Write(f, Channel::A, planes[3]);
      info.has_alpha = true;
    }
  }
  return store;
}

DocumentKind SaveDocumentFile(const FrameStore& store, const std::string& path, const SaveRequest& request) {
  const DocumentKind kind = OutputKind(path);
  std::vector<int32_t> frames = request.frames;
  if (frames.empty())
    for (int32_t f = 0; f < store.frames(); ++f) frames.push_back(f);
  for (int32_t f : frames)
    if (f < 0 || f >= store.frames())
      Fail(ErrorKind::Usage, "cannot save " + path + ": frame " + std::to_string(f) + " does not exist");
  std::array<Plane, 4> planes;
  auto read_frame = [&](int32_t f) {
    for (int c = 0; c < 4; ++c) store.Read(f, static_cast<Channel>(c), planes[static_cast<size_t>(c)]);
  };
  // Images get the sample type chosen for the output; frames as read from a deeper source
  // are copied from its files when that type holds more than 8 bits.
  auto with_type = [&](const std::string& file) {
    ImageWriteOptions options = request.image;
    options.sample_type = SavedSampleType(file, request);
    return options;
  };
  auto write_frame = [&](ImageFileWriter& writer, int32_t f, const std::string& file) {
    const DocumentInfo* source = request.source;
    const auto at = static_cast<size_t>(f);
    if (source && source->Deep() && at < request.unchanged.size() && request.unchanged[at] && at < source->files.size() &&
        !source->files[at].empty() && SavedSampleType(file, request) != SampleType::UInt8 &&
        writer.CopyFrom(file, source->files[at], store.width(), store.height(), request.with_alpha))
      return;
    read_frame(f);
    writer.Write(file, planes[0], planes[1], planes[2], request.with_alpha ? &planes[3] : nullptr);
  };
  auto written = [&](int32_t f, const std::string& file) {
    if (request.on_frame) request.on_frame(f, file);
  };
  switch (kind) {
    case DocumentKind::Animation: {
      TsaWriter writer(path, store.width(), store.height(), static_cast<int32_t>(frames.size()));
      Plane plane;
      for (size_t i = 0; i < frames.size(); ++i) {
        for (Channel c : kColour) {
          store.Read(frames[i], c, plane);
          writer.WritePlane(static_cast<int32_t>(i), c, plane);
        }
        written(frames[i], path);
      }
      writer.Commit();
      break;
    }
    case DocumentKind::Image: {
      if (request.frames.size() > 1)
        Fail(ErrorKind::Usage, "cannot save " + path + ": one image holds one frame, not " + std::to_string(frames.size()));
      const int32_t f = request.frames.empty() ? request.current_frame : request.frames.front();
      if (f < 0 || f >= store.frames())
        Fail(ErrorKind::Usage, "cannot save " + path + ": frame " + std::to_string(f) + " does not exist");
      ImageFileWriter writer(with_type(path));
      write_frame(writer, f, path);
      written(f, path);
      writer.Commit();
      break;
    }
    case DocumentKind::ImageSequence: {
      const SequencePattern pattern = *ParseSequencePattern(path);
      if (request.first_number < 0)
        Fail(ErrorKind::Usage, "cannot save " + path + ": the first frame number must not be negative");
      const std::filesystem::path folder = std::filesystem::path(pattern.FileName(0)).parent_path();
      bool made_folder = false;
      if (!folder.empty()) {
        std::error_code ec;
        made_folder = std::filesystem::create_directories(folder, ec);
        if (ec) Fail(ErrorKind::CantCreate, "cannot create the folder " + folder.string() + ": " + ec.message());
      }
      try {
        ImageFileWriter writer(with_type(pattern.FileName(request.first_number)));
        for (int32_t f : frames) {
          const std::string file = pattern.FileName(request.first_number + f);
          write_frame(writer, f, file);
          written(f, file);
        }
        writer.Commit();
      } catch (...) {
        std::error_code ec;
        if (made_folder) std::filesystem::remove(folder, ec);  // only if still empty
        throw;
      }
      break;
    }
  }
  return kind;
}

}  // namespace tessfx
