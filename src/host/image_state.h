#pragma once
// The shared image state of the editor: frame size, alpha-bits flag, the host planes as
// fetched, the working planes that effects write, the swap planes and the lookup tables.
// One instance, made at start-up and passed by reference to whoever needs it.
#include <memory>

#include "core/plane.h"
#include "host/host.h"
#include "core/lookup_tables.h"
#include "host/registry.h"
#include "media/tsa.h"

namespace tessfx {

struct ImageState {
  ImageState(TessalineHost& host_object, const LookupTables& lookup) : host(host_object), tables(lookup) {}

  TessalineHost& host;
  const LookupTables& tables;

  int32_t width = 0;
  int32_t height = 0;
  int32_t alpha_bits = 0;

  Plane host_r, host_g, host_b, host_a;  // the frame as fetched; effects never write them
  Plane work_r, work_g, work_b, work_a;  // effects write here; render sends R, G, B back
  Plane swap_r, swap_g, swap_b;          // the second image

  ExternalAnimation external_swap;  // an animation file as the swap source, when active

  // Reads height, width and the alpha-bits flag from the host, in that order.
  void ReadGeometry();
  // Fetches the four host planes (R, G, B, A, in that order), adopting them.
  void FetchHostPlanes();
  // Copies the host planes into the working planes (independent copies; storage reused).
  void CopyHostToWorking();
  // The host's swap image, then the external animation's frame at the host's current frame
  // when that source is active.
  void FetchSwapPlanes();
};

// Everything start-up creates, owned together for the life of the editor.
class SharedState {
 public:
  // Start-up in order: selected key -1, the six tables, the host object from the ProgID,
  // height, width and flag, the four host planes, then the working planes as copies.
  // The tool window is handed to the host afterwards by whoever creates it (HandFormToHost).
  static std::unique_ptr<SharedState> Startup(const HostRegistry& registry, const std::string& prog_id = kHostProgId);

  TessalineHost& host() { return *host_; }
  ImageState& image() { return *image_; }
  const LookupTables& tables() const { return *tables_; }
  // Gives the host the main window object (Tes_SendFormObject with the Integer 0).
  void HandFormToHost(ObjectRef form) { host_->Tes_SendFormObject(form, 0); }

  int32_t selected_key_index = -1;  // no key selected

 private:
  SharedState() = default;
  std::unique_ptr<LookupTables> tables_;
  std::shared_ptr<TessalineHost> host_;
  std::unique_ptr<ImageState> image_;
};

}  // namespace tessfx
