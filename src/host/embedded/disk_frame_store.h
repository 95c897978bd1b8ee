#pragma once
// Frames kept in a store file in the host's temporary folder, paged with positioned reads
// and writes, so memory use does not grow with the number of frames.
//
// Layout: frame after frame, each R, G, B, A plane of (W + 1) x (H + 1) bytes. The file is
// created sparse, so a blank animation costs no disk until frames are written. Alpha is
// stored inverted (255 - a) so that a never-written hole reads as black with alpha 255,
// the value of an unwritten frame, without any allocation map.
//
// Beside each store lies a small JSON sidecar (store path + ".json") naming its size, frame
// count, source document, alpha settings and owning process. The owner removes both when
// the document closes; after a crash they stay, and FindStores lists them for recovery.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/embedded/frame_store.h"
#include "media/private_folder.h"

namespace tessfx {

struct StoreDescription {
  int32_t width = 0;
  int32_t height = 0;
  int32_t frames = 0;
  int32_t alpha_bits = 0;
  bool has_alpha = false;   // alpha came from a file or mask and should be saved
  std::string source;       // the document's file, empty for a new animation
  int64_t pid = 0;          // the owning process
  uint64_t process_start = 0;  // its start time in clock ticks, telling a reused pid apart
  std::string created;      // local time the store was made, for listings
  std::string store_path;
  std::string sidecar_path;
};

class DiskFrameStore final : public FrameStore {
 public:
  // A blank store in the private folder `folder`, owned by this process and removed with
  // this object. The store and its sidecar are reached through the folder's descriptor.
  static std::unique_ptr<DiskFrameStore> Create(const std::string& folder, int32_t width, int32_t height,
                                                int32_t frames);
  // A store left behind by another process, opened read-only and never removed here.
  // `path` names the store or its sidecar.
  static std::unique_ptr<DiskFrameStore> OpenLeftBehind(const std::string& path);
  ~DiskFrameStore() override;
  DiskFrameStore(const DiskFrameStore&) = delete;
  DiskFrameStore& operator=(const DiskFrameStore&) = delete;

  int32_t width() const override { return desc_.width; }
  int32_t height() const override { return desc_.height; }
  int32_t frames() const override { return desc_.frames; }
  void Read(int32_t frame, Channel c, Plane& dest) const override;
  void Write(int32_t frame, Channel c, const Plane& src) override;

  // Rewrites the sidecar with the document's current source file and alpha settings.
  void Describe(const std::string& source, int32_t alpha_bits, bool has_alpha);
  const StoreDescription& description() const { return desc_; }
  const std::string& path() const { return desc_.store_path; }

 private:
  DiskFrameStore() = default;
  int64_t Offset(int32_t frame, Channel c) const;
  void CheckAccess(int32_t frame, const char* what) const;
  void WriteSidecar();

  StoreDescription desc_;
  int64_t plane_bytes_ = 0;
  int fd_ = -1;
  bool owned_ = false;
  std::optional<PrivateFolder> folder_;  // of an owned store
  std::string store_name_;               // its name in the folder
};

// Reads a sidecar (or the sidecar of a store path). Throws an Error naming the file.
StoreDescription ReadStoreDescription(const std::string& path);
// Every store with a readable sidecar in the private folder `folder`, oldest first (links in
// it are not followed).
std::vector<StoreDescription> FindStores(const std::string& folder);
// The stores in `folder` whose owning process has ended: what a crash left behind.
std::vector<StoreDescription> FindLeftBehindStores(const std::string& folder);
// A store without a readable description: its process was killed before describing it, or
// while rewriting the description. Only its owner, from the name, is known (0: unknown).
struct UndescribedStore {
  std::string path;
  int64_t pid = 0;
};
// The owner a store's file name ("frames-PID-....store") gives: nullopt when `name` is no
// store's name, 0 when the name holds no process id.
std::optional<int64_t> StoreOwnerFromName(const std::string& name);
// The stores in the private folder `folder` that have no readable description and whose
// owner has ended or is unknown.
std::vector<UndescribedStore> FindUndescribedStores(const std::string& folder);
// Deletes such a store (and what is left of its description); refuses while its owner runs.
void DiscardUndescribedStore(const std::string& path);
// True while the process that made the store is still running.
bool StoreOwnerAlive(const StoreDescription& d);
// Deletes a left-behind store and its sidecar; refuses while the owner is alive.
void DiscardStore(const StoreDescription& d);

}  // namespace tessfx
