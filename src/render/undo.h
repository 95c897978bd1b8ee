#pragma once
// The undo file "UndoBuffer.dat" in the host's temporary folder: a 20-byte little-endian
// header (frame width, height, the render's first frame, last frame and step), then one
// record per rendered frame in render order, each the red, green and blue planes of the
// frame as the host held it before the effect, (width + 1) x (height + 1) bytes apiece.
//
// The file is appended frame by frame during the render and each record goes to the file
// whole before the frame is processed, so a render that stops part-way (cancelled,
// interrupted, failed) leaves a file whose records cover exactly the frames written.
//
// Beside it, "UndoBuffer.dat.json" describes the document the render wrote (its name, frame
// size and count) and holds a fingerprint of each recorded frame as the render left it. Undo
// restores only into a document whose frames still match: the undo data of one animation
// never lands in another of the same size, nor over work done since. "UndoBuffer.lock" is
// held (flock) while a process records or restores, so two of them never share the file.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/image_state.h"
#include "media/file_util.h"
#include "render/window.h"

namespace tessfx {

inline constexpr const char* kUndoFileName = "UndoBuffer.dat";
inline constexpr const char* kUndoDescriptionName = "UndoBuffer.dat.json";
inline constexpr const char* kUndoLockName = "UndoBuffer.lock";
inline constexpr int64_t kUndoHeaderBytes = 20;

// 64-bit fingerprint of a frame's red, green and blue: the frame's own width x height
// samples of each plane (the extra row and column are not part of the picture).
uint64_t FrameFingerprint(const Plane& r, const Plane& g, const Plane& b);

struct UndoHeader {
  int32_t width = 0;
  int32_t height = 0;
  int32_t first = 0;
  int32_t last = 0;
  int32_t step = 1;
};

enum class UndoResult {
  NotChecked,    // the undo box is cleared: nothing restored (the file is still deleted)
  SizeMismatch,  // "can't undo": the file is for another frame size (and is kept)
  DocumentChanged,  // "can't undo: ...": another document, or its frames changed since
  Restored,      // the records were written back (as many as the file holds)
};

struct UndoOutcome {
  UndoResult result = UndoResult::NotChecked;
  int32_t frames_restored = 0;
  std::string reason;  // why not, for DocumentChanged
};

// What the undo file's render wrote, kept beside the undo file.
struct UndoDescription {
  std::string document;      // the document's path as its writer named it ("" when unknown)
  int64_t first_number = 0;  // the number of its frame 0 (image sequences)
  int32_t width = 0, height = 0, frames = 0;
  int32_t first = 0, last = 0, step = 1;  // the walk, as the header states it
  std::vector<uint64_t> fingerprints;     // per record, the frame as the render left it
  // The frames the render changed, when it rendered only some of its walk (--frames): the
  // others were recorded unchanged, and a new sequence output has no files for them, so the
  // undo neither checks nor restores them. nullopt: every recorded frame.
  std::optional<std::vector<int32_t>> rendered;
  // True when the recorded frame `f` is one the undo checks and restores.
  bool Restores(int64_t f) const;
};

// Takes the lock on the undo file of the temporary folder `temp_dir`, before an editor exists
// to hold it (see UndoBuffer::AdoptLock). Throws CantCreate when another process holds it.
Descriptor LockUndoFolder(const std::string& temp_dir);

class UndoBuffer {
 public:
  UndoBuffer(ImageState& image, EditorWindow& window) : image_(image), window_(window) {}
  ~UndoBuffer();
  UndoBuffer(const UndoBuffer&) = delete;
  UndoBuffer& operator=(const UndoBuffer&) = delete;

  // The host's temporary folder joined with "UndoBuffer.dat".
  std::string Path() const;

  // Names the document the description records (the command line's output); the embedded
  // host's frames are numbered from `first_number`.
  void SetDocument(const std::string& path, int64_t first_number) {
    document_ = path;
    first_number_ = first_number;
  }

  // Takes the lock on the undo file for this object's lifetime (until UnlockUndoFile).
  // Throws CantCreate when another process holds it. StartRecording and Undo take it for
  // their own span when it is not held.
  void LockUndoFile();
  void UnlockUndoFile();
  // Holds a lock taken by LockUndoFolder as this object's own (as LockUndoFile does).
  void AdoptLock(Descriptor lock);

  // Start of a render with recording on: writes the header to a fresh file of the private
  // temporary folder. Closing the recording (FinishRecording, AbandonRecording) renames it
  // over the old undo file and describes it; until then the old undo data stays usable.
  void StartRecording(const UndoHeader& header);
  bool recording() const { return fd_ >= 0; }
  // Fetches the host's current R, G, B into the host planes and appends them as one record.
  // Does nothing unless recording.
  void SaveUndo();
  // The frame just recorded has been rendered: its fingerprint becomes the working planes'.
  void NoteRendered();
  // Closes the file (after the last frame, or when the render stops) and writes the
  // description; throws IoError when the description cannot be written (the undo then
  // refuses). AbandonRecording does the same for a render that failed, never throwing.
  void FinishRecording();
  void AbandonRecording() noexcept;

  // After the render's frames were saved in a format that stores them approximately (JPEG),
  // the fingerprints of what the files hold: `print` gives a recorded frame's, or nullopt to
  // keep the one recorded. Rewrites the description in place.
  void UpdateFingerprints(const std::function<std::optional<uint64_t>(int32_t frame)>& print);

  // Why the undo file cannot go back into the host's document (a line for "can't undo: "),
  // or nullopt when it can. Moves the host over the recorded frames to compare them.
  std::optional<std::string> WhyNotUndo();

  // The undo button: writes the recorded frames back into the host, then deletes the file.
  // `checked` is the state of the undo box. A missing file is reported as an Error of our
  // own; the size mismatch shows "can't undo" in a message box.
  UndoOutcome Undo(bool checked);

  // Deletes the undo file, ignoring any error (a missing file included).
  void DeleteUndos();

  // With `keep` set, Undo leaves the file in place: the caller deletes it (DeleteUndos)
  // once the restored frames are safely on disk, so a failed save loses nothing.
  void KeepFileAfterUndo(bool keep) { keep_after_undo_ = keep; }

  // The header of the undo file at `path` (in a private temporary folder, never reached
  // through a link); nullopt when the file does not exist. Missing header bytes read as
  // zero, as the undo reads them.
  static std::optional<UndoHeader> ReadHeader(const std::string& path);
  // The description beside the undo file in `folder`; nullopt when it is missing or damaged.
  static std::optional<UndoDescription> ReadDescription(const std::string& folder);

 private:
  void WriteAll(const void* data, size_t bytes);
  void CloseRecording(bool write_description);

  std::string document_;
  int64_t first_number_ = 0;
  UndoHeader header_;
  int32_t frames_ = 0;  // the animation's length when the render started
  std::vector<uint64_t> fingerprints_;
  std::vector<int32_t> rendered_;  // frames NoteRendered saw, in render order
  int lock_fd_ = -1;
  bool lock_held_by_caller_ = false;

  ImageState& image_;
  EditorWindow& window_;
  int fd_ = -1;
  std::string recording_path_;  // where the recording goes when it closes
  std::string fresh_name_;      // its name in the temporary folder until then
  bool keep_after_undo_ = false;
};

}  // namespace tessfx
