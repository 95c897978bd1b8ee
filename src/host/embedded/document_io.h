#pragma once
// Document files of the embedded host: animations (.tsa), numbered image sequences and
// single images, chosen by the path. Frames stream between the file and a frame store one
// plane at a time, so no format ever needs the whole animation in memory.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/embedded/frame_store.h"
#include "media/input_limits.h"

namespace tessfx {

enum class DocumentKind { Animation, ImageSequence, Image };

struct DocumentInfo {
  DocumentKind kind = DocumentKind::Animation;
  std::string format;  // "tsa", or the image reader's format name ("png", "openexr", ...)
  int32_t width = 0;
  int32_t height = 0;
  int32_t frames = 0;
  bool has_alpha = false;
  std::string first_file, last_file;  // the files a sequence spans
  // Where saving writes the document back: the path it was opened from, or for a sequence
  // opened by its first file the sequence's pattern, numbered from `first_number`.
  std::string save_path;
  int64_t first_number = 1;

  // "tsa", "png sequence", "openexr image", ...
  std::string Describe() const;
};

// What a path names when saving: a pattern is a sequence, ".tsa" an animation, any other
// extension with an image writer a single image. Throws a usage Error otherwise.
DocumentKind OutputKind(const std::string& path);

// Reads the header(s) of a document without loading its frames. Errors name the file.
DocumentInfo ProbeDocument(const std::string& path, const InputLimits& limits = {});

using StoreFactory = std::function<std::unique_ptr<FrameStore>(int32_t width, int32_t height, int32_t frames)>;

// Loads a document into a store made by `make_store`. Everything is checked before the
// store is made or while it is filled; on failure the store is dropped and the Error names
// the file at fault.
std::unique_ptr<FrameStore> LoadDocument(const std::string& path, const StoreFactory& make_store, DocumentInfo& info,
                                         const InputLimits& limits = {});

struct SaveRequest {
  int32_t current_frame = 0;  // the frame a single image receives
  bool with_alpha = false;    // write alpha into image formats that hold it
  int64_t first_number = 1;   // number of the first file of a sequence
};

// Writes the store to `path` (temporary names renamed into place at the end, so a failure
// writes nothing). Returns the kind written.
DocumentKind SaveDocumentFile(const FrameStore& store, const std::string& path, const SaveRequest& request);

}  // namespace tessfx
