#include "host/image_state.h"

namespace tessfx {

void ImageState::ReadGeometry() {
  height = host.Tes_BufferHeight();
  width = host.Tes_BufferWidth();
  alpha_bits = host.Tes_GetAlphabits();
}

void ImageState::FetchHostPlanes() {
  host_r = host.Tes_GetRBuffer();
  host_g = host.Tes_GetGBuffer();
  host_b = host.Tes_GetBBuffer();
  host_a = host.Tes_GetaBuffer();
}

void ImageState::CopyHostToWorking() {
  work_r.CopyFrom(host_r);
  work_g.CopyFrom(host_g);
  work_b.CopyFrom(host_b);
  work_a.CopyFrom(host_a);
}

void ImageState::FetchSwapPlanes() {
  swap_r = host.tes_GetSwapRBuffer();
  swap_g = host.tes_GetSwapGBuffer();
  swap_b = host.tes_GetSwapBBuffer();
  if (!external_swap.active()) return;
  const int32_t frame = host.tes_Getcurrentframe();
  // A frame of the animation file is a swap image even when the host has none: it is
  // drawn into black planes then, as it is drawn over the host's otherwise.
  if ((swap_r.empty() || swap_g.empty() || swap_b.empty()) && frame >= 0 && frame < external_swap.header().frames)
    for (Plane* p : {&swap_r, &swap_g, &swap_b}) *p = Plane(width, height);
  external_swap.LoadAnimationFrame(frame, width, height, swap_r, swap_g, swap_b);
}

std::unique_ptr<SharedState> SharedState::Startup(const HostRegistry& registry, const std::string& prog_id) {
  std::unique_ptr<SharedState> s(new SharedState());
  s->selected_key_index = -1;
  s->tables_ = std::make_unique<LookupTables>(BuildLookupTables());
  s->host_ = registry.CreateObject(prog_id);
  s->image_ = std::make_unique<ImageState>(*s->host_, *s->tables_);
  s->image_->ReadGeometry();
  s->image_->FetchHostPlanes();
  s->image_->CopyHostToWorking();
  return s;
}

}  // namespace tessfx
