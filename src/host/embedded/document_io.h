#pragma once
// Document files of the embedded host: animations (.tsa), numbered image sequences and
// single images, chosen by the path. Frames stream between the file and a frame store one
// plane at a time, so no format ever needs the whole animation in memory.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/embedded/frame_store.h"
#include "media/image_io.h"
#include "media/input_limits.h"
#include "media/tsa.h"

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
  // The first file's samples as stored: 3 channels of uint8 for an animation.
  int32_t channels = 3;
  std::string sample_type = "uint8";
  int32_t bits = 8;
  std::string colour_space;  // empty when the file states none
  // A sequence's pattern, the file each frame reads (a gap repeats the file before it) and
  // the numbers missing between its first and last file.
  std::optional<SequencePattern> pattern;
  std::vector<std::string> files;
  std::vector<int64_t> gaps;

  // "tsa", "png sequence", "openexr image", ...
  std::string Describe() const;
  // True when the source's samples hold more than the frames' 8 bits: integers of more
  // bits, halves or floats.
  bool Deep() const;
  // "16-bit", "half float", "32-bit float": the source's depth, for messages.
  std::string DepthText() const;
  // The number users give frame 0: a sequence's frames go by their files' numbers, the
  // frames of an animation or an image by their index from 0.
  int64_t FrameNumberBase() const { return kind == DocumentKind::ImageSequence ? first_number : 0; }
};

// What a path names when saving: a pattern is a sequence, ".tsa" an animation, any other
// extension with an image writer a single image. Throws a usage Error otherwise.
DocumentKind OutputKind(const std::string& path);

// Reads the header(s) of a document without loading its frames. Errors name the file.
// Gaps in a sequence are reported in the result, not refused.
DocumentInfo ProbeDocument(const std::string& path, const InputLimits& limits = {});

struct OpenOptions {
  InputLimits limits;  // checked against every header before anything is allocated
  // A sequence with missing files is refused (naming the first one) unless gaps are
  // allowed: each missing file then reads as the frame before it.
  bool allow_gaps = false;
  std::string gap_advice;  // ends the refusal: how to allow gaps where the caller can
  // Frames are read from the file(s) the first time they are used, not all at opening:
  // one frame of a long sequence costs one file. See LazyFrameStore.
  bool on_demand = false;
  // A sequence taken as the frames numbered span->first .. span->first + span->frames - 1,
  // whichever of their files exist (those of a render that wrote some frames only): a frame
  // without a file cannot be read, and is not a gap to refuse.
  struct Span {
    int64_t first = 0;
    int32_t frames = 0;
  };
  std::optional<Span> span;
  // BMP documents: the frame size every picture is fitted to by the BMP reader's rules
  // (default: the first picture's).
  std::optional<std::pair<int32_t, int32_t>> bmp_size;
};

// BMP pictures and numbered BMP sequences (".bmp" files and patterns) are read by the
// program's own BMP reader, the one the sequence effects use, so a file reads the same
// whichever way it arrives: a pattern (take.####.bmp) lists its files as any image sequence
// does; a first file is followed by the sequence rule (take0012.bmp, take0013.bmp, ... until
// a file is missing); a name without trailing digits is one picture. Frames carry no alpha.
bool IsBmpDocument(const std::string& path);

// Reads a document's frames one at a time, in any order.
class DocumentReader {
 public:
  // Resolves and checks the document (headers, sizes, gaps); frames are read later.
  DocumentReader(const std::string& path, const OpenOptions& options);
  const DocumentInfo& info() const { return info_; }
  // Frame `frame` into R, G, B (and A when its file has alpha). Returns whether it had.
  // Errors name the file.
  bool ReadFrame(int32_t frame, RgbaPlanes& planes);

 private:
  InputLimits limits_;
  DocumentInfo info_;
  std::optional<TsaReader> tsa_;
  bool bmp_ = false;
};

using StoreFactory = std::function<std::unique_ptr<FrameStore>(int32_t width, int32_t height, int32_t frames)>;

// Loads a document into a store made by `make_store`. Everything is checked before the
// store is made or while it is filled; on failure the store is dropped and the Error names
// the file at fault. With `on_demand`, the store is a LazyFrameStore over the made one.
std::unique_ptr<FrameStore> LoadDocument(const std::string& path, const StoreFactory& make_store, DocumentInfo& info,
                                         const OpenOptions& options = {});

struct SaveRequest {
  int32_t current_frame = 0;  // the frame a single image receives
  bool with_alpha = false;    // write alpha into image formats that hold it
  int64_t first_number = 1;   // number of the first file of a sequence
  // The frames to write, ascending; empty for all. A sequence gets one file for each (frame
  // f numbered first_number + f), an animation just these frames, a single image the one.
  std::vector<int32_t> frames;
  ImageWriteOptions image;
  // The document's source and which of its frames are as they were read from it
  // (`unchanged`, by frame; empty: none). Saved to images of more than 8 bits, those frames
  // are copied from their files at full depth, values above 1.0 included; the others are
  // written from their 8-bit planes. An image output of the source's own format keeps the
  // source's sample type unless `image` names one.
  const DocumentInfo* source = nullptr;
  std::vector<bool> unchanged;
  // Called after each frame is written, with the file it went to.
  std::function<void(int32_t frame, const std::string& file)> on_frame;
};

// Writes the store to `path` (temporary names renamed into place at the end, so a failure
// writes nothing). Returns the kind written.
DocumentKind SaveDocumentFile(const FrameStore& store, const std::string& path, const SaveRequest& request);

// The sample type images saved to `file` receive (never Default), as SaveDocumentFile
// chooses it for `request`.
SampleType SavedSampleType(const std::string& file, const SaveRequest& request);

}  // namespace tessfx
