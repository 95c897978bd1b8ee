#include "host/embedded/document_io.h"

#include <filesystem>

#include "core/error.h"
#include "media/file_util.h"
#include "media/image_io.h"
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
  info.first_file = files.files.front();
  info.last_file = files.files.back();
  info.save_path = files.pattern && !ParseSequencePattern(path) ? files.pattern->Text() : path;
  if (files.pattern) info.first_number = files.first_number;
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
  return info;
}

}  // namespace

std::string DocumentInfo::Describe() const {
  switch (kind) {
    case DocumentKind::Animation: return format;
    case DocumentKind::ImageSequence: return format + " sequence";
    case DocumentKind::Image: return format + " image";
  }
  return format;
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
  return ImagesInfo(ResolveImageFiles(path, limits.max_frames), path, limits);
}

std::unique_ptr<FrameStore> LoadDocument(const std::string& path, const StoreFactory& make_store, DocumentInfo& info,
                                         const InputLimits& limits) {
  if (IsAnimationFile(path)) {
    const TsaReader reader(path, limits);  // validates the header and the file size first
    info = AnimationInfo(reader.header(), path);
    auto store = make_store(info.width, info.height, info.frames);
    Plane plane;
    for (int32_t f = 0; f < info.frames; ++f)
      for (Channel c : kColour) {
        reader.ReadPlane(f, c, plane);
        store->Write(f, c, plane);
      }
    // A .tsa carries no alpha: frames keep the store's fully selected alpha.
    return store;
  }
  const ImageFiles files = ResolveImageFiles(path, limits.max_frames);
  info = ImagesInfo(files, path, limits);
  auto store = make_store(info.width, info.height, info.frames);
  const ImageInfo expect{info.width, info.height, 0, false, info.format};
  RgbaPlanes planes;
  for (int32_t f = 0; f < info.frames; ++f) {
    const ImageInfo got = ReadImage(files.files[static_cast<size_t>(f)], planes, &expect, limits);
    for (Channel c : kColour) store->Write(f, c, planes[static_cast<size_t>(c)]);
    if (got.has_alpha) {
      store->Write(f, Channel::A, planes[3]);
      info.has_alpha = true;
    }
  }
  return store;
}

DocumentKind SaveDocumentFile(const FrameStore& store, const std::string& path, const SaveRequest& request) {
  const DocumentKind kind = OutputKind(path);
  std::array<Plane, 4> planes;
  auto read_frame = [&](int32_t f) {
    for (int c = 0; c < 4; ++c) store.Read(f, static_cast<Channel>(c), planes[static_cast<size_t>(c)]);
  };
  switch (kind) {
    case DocumentKind::Animation: {
      TsaWriter writer(path, store.width(), store.height(), store.frames());
      Plane plane;
      for (int32_t f = 0; f < store.frames(); ++f)
        for (Channel c : kColour) {
          store.Read(f, c, plane);
          writer.WritePlane(f, c, plane);
        }
      writer.Commit();
      break;
    }
    case DocumentKind::Image: {
      if (request.current_frame < 0 || request.current_frame >= store.frames())
        Fail(ErrorKind::Usage, "cannot save " + path + ": frame " + std::to_string(request.current_frame) + " does not exist");
      ImageFileWriter writer;
      read_frame(request.current_frame);
      writer.Write(path, planes[0], planes[1], planes[2], request.with_alpha ? &planes[3] : nullptr);
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
        ImageFileWriter writer;
        for (int32_t f = 0; f < store.frames(); ++f) {
          read_frame(f);
          writer.Write(pattern.FileName(request.first_number + f), planes[0], planes[1], planes[2],
                       request.with_alpha ? &planes[3] : nullptr);
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
