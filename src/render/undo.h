#pragma once
// The undo file "UndoBuffer.dat" in the host's temporary folder: a 20-byte little-endian
// header (frame width, height, the render's first frame, last frame and step), then one
// record per rendered frame in render order, each the red, green and blue planes of the
// frame as the host held it before the effect, (width + 1) x (height + 1) bytes apiece.
//
// The file is appended frame by frame during the render and each record goes to the file
// whole before the frame is processed, so a render that stops part-way (cancelled,
// interrupted, failed) leaves a file whose records cover exactly the frames written.
#include <cstdint>
#include <optional>
#include <string>

#include "host/image_state.h"
#include "render/window.h"

namespace tessfx {

inline constexpr const char* kUndoFileName = "UndoBuffer.dat";
inline constexpr int64_t kUndoHeaderBytes = 20;

struct UndoHeader {
  int32_t width = 0;
  int32_t height = 0;
  int32_t first = 0;
  int32_t last = 0;
  int32_t step = 1;
};

enum class UndoResult {
  NotChecked,    // the undo box is cleared: nothing restored (the file is still deleted)
  SizeMismatch,  // "can't undo": the file is for another frame size
  Restored,      // the records were written back (as many as the file holds)
};

struct UndoOutcome {
  UndoResult result = UndoResult::NotChecked;
  int32_t frames_restored = 0;
};

class UndoBuffer {
 public:
  UndoBuffer(ImageState& image, EditorWindow& window) : image_(image), window_(window) {}
  ~UndoBuffer();
  UndoBuffer(const UndoBuffer&) = delete;
  UndoBuffer& operator=(const UndoBuffer&) = delete;

  // The host's temporary folder joined with "UndoBuffer.dat".
  std::string Path() const;

  // Start of a render with recording on: removes any old file, writes the header to a
  // fresh file of the private temporary folder and renames it into place.
  void StartRecording(const UndoHeader& header);
  bool recording() const { return fd_ >= 0; }
  // Fetches the host's current R, G, B into the host planes and appends them as one record.
  // Does nothing unless recording.
  void SaveUndo();
  // Closes the file (after the last frame, or when the render stops).
  void FinishRecording();

  // The undo button: writes the recorded frames back into the host, then deletes the file.
  // `checked` is the state of the undo box. A missing file is reported as an Error of our
  // own; the size mismatch shows "can't undo" in a message box.
  UndoOutcome Undo(bool checked);

  // Deletes the undo file, ignoring any error (a missing file included).
  void DeleteUndos();

  // The header of the undo file at `path` (in a private temporary folder, never reached
  // through a link); nullopt when the file does not exist. Missing header bytes read as
  // zero, as the undo reads them.
  static std::optional<UndoHeader> ReadHeader(const std::string& path);

 private:
  void WriteAll(const void* data, size_t bytes);

  ImageState& image_;
  EditorWindow& window_;
  int fd_ = -1;
  std::string recording_path_;
};

}  // namespace tessfx
