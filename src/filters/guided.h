#pragma once
// Box means and the guided filter over dense float planes (width x height values, row
// after row, no extra row or column).
//
// The guided filter (an edge-preserving smoother) fits, in every window, the input as a
// linear function of the guide, a I + b, and averages the fits of the windows covering
// each pixel: where the guide varies much more than sqrt(eps) the output follows it (edges
// stay sharp), where it varies less the output is the input's local mean. Its cost does
// not depend on the radius: everything is box means, which are running sums.
#include <cstdint>
#include <span>

namespace tessfx {

// A dense float plane: width x height values, row after row.
struct FloatPlane {
  float* data;
  int32_t width, height;
};
struct ConstFloatPlane {
  const float* data;
  int32_t width, height;
};

// out = the mean of in over the (2 radius + 1)^2 window around each sample, the edge
// samples of `in` repeated beyond the plane; out may be in. Each row and
// each column is summed from its start, whatever the thread count, so results do not
// depend on it.
// `scratch`, when given, holds width x height floats for the pass across.
void BoxMean(FloatPlane out, ConstFloatPlane in, int32_t radius, float* scratch = nullptr);

// outputs[i] = inputs[i] + strength (the guided filter of inputs[i] by `guide` - inputs[i])
// (all the same size), with the window radius and the regularisation eps (in squared
// sample units): strength 1 is the filter, less blends it with the input, a negative
// strength amplifies what it takes away. An input may be the guide itself; an output may
// be its own input, and the last one may be the guide.
//
// With step > 1 the window fits are made on step x step block means over a window of
// radius / step blocks and interpolated back (the fast form of the filter), which costs
// about 1 / step^2 as much; edges stay nearly as sharp, since the fits are applied to the
// full-resolution guide, but the fits of both sides of a strong edge blend a little into
// the pixels beside it.
void GuidedFilter(std::span<const FloatPlane> outputs, ConstFloatPlane guide, std::span<const ConstFloatPlane> inputs,
                  int32_t radius, float eps, int32_t step = 1, float strength = 1.0f);

}  // namespace tessfx
