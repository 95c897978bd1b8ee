// tessfx's kernels and effects beside their OpenCV counterparts on the same 1920 x 1080
// data, in one process: for every row, repetitions of the two alternate and the fastest of
// each counts, so that a slow moment of a shared machine hurts neither side more. OpenCV
// runs on three planes (the very planes tessfx works on) and on one interleaved image where
// it has both; the faster layout is the reference. Each row runs on one thread and on all
// threads.
//
//   bench_peers [--reps N] [--filter TEXT] [--threads 1|all|both] [--json FILE]
//
// The ratio is tessfx's time over the reference's: at most 1.0 means tessfx is as fast or
// faster.
#include <benchmark/benchmark.h>
#include <tbb/global_control.h>
#include <tbb/info.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <limits>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "core/lookup_tables.h"
#include "effects/effect.h"
#include "engine/catalogue.h"
#include "filters/blend.h"
#include "filters/blur.h"
#include "filters/color.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

constexpr int32_t kWidth = 1920, kHeight = 1080;

// The frame both sides work on: host, working and swap planes of noise, and OpenCV images
// over the same samples (planes) or holding them interleaved.
struct Frames {
  Frames() : tables(BuildLookupTables()) {
    std::mt19937 rng(7);
    for (Plane* p : {&host_r, &host_g, &host_b, &host_a, &swap_r, &swap_g, &swap_b}) {
      *p = Plane(kWidth, kHeight);
      for (size_t i = 0; i < p->size(); ++i) p->data()[i] = rng() & 0xFF;
    }
    work_r = host_r.Clone();
    work_g = host_g.Clone();
    work_b = host_b.Clone();
    work_a = host_a.Clone();
    frame.width = kWidth;
    frame.height = kHeight;
    frame.alpha_bits = 1;  // the effect alone: the alpha composite has a row of its own
    frame.host = {host_r.view(), host_g.view(), host_b.view(), host_a.view()};
    frame.work = {work_r.view(), work_g.view(), work_b.view(), work_a.view()};
    frame.swap = {swap_r.view(), swap_g.view(), swap_b.view()};
    frame.tables = &tables;
    for (int c = 0; c < 3; ++c) {
      host_cv[c] = Wrap(*std::array{&host_r, &host_g, &host_b}[c]);
      swap_cv[c] = Wrap(*std::array{&swap_r, &swap_g, &swap_b}[c]);
      out_cv[c].create(kHeight, kWidth, CV_8UC1);
      tmp_cv[c].create(kHeight, kWidth, CV_8UC1);
    }
    alpha_cv = Wrap(host_a);
    cv::merge(host_cv, 3, host3);
    cv::merge(swap_cv, 3, swap3);
    out3.create(kHeight, kWidth, CV_8UC3);
    tmp3.create(kHeight, kWidth, CV_8UC3);
  }
  static cv::Mat Wrap(Plane& p) { return cv::Mat(kHeight, kWidth, CV_8UC1, p.data(), static_cast<size_t>(p.stride())); }

  RgbView work() { return {work_r.view(), work_g.view(), work_b.view()}; }
  ConstRgbView host() const { return {host_r.view(), host_g.view(), host_b.view()}; }

  Plane host_r, host_g, host_b, host_a, work_r, work_g, work_b, work_a, swap_r, swap_g, swap_b;
  LookupTables tables;
  EffectFrame frame;
  cv::Mat host_cv[3], swap_cv[3], out_cv[3], tmp_cv[3], alpha_cv;
  cv::Mat host3, swap3, out3, tmp3;
};

using Op = std::function<void()>;

struct Row {
  std::string op;
  Op ours;
  Op planes;       // OpenCV on the three planes (empty: no such layout)
  Op interleaved;  // OpenCV on the interleaved image
};

// For each plane of three: fn(source, destination, index).
template <typename Fn>
Op PerPlane(Frames& f, Fn fn) {
  return [&f, fn] {
    for (int c = 0; c < 3; ++c) fn(f.host_cv[c], f.out_cv[c], c);
  };
}

Op Effect(Frames& f, const char* name, EffectParams p) {
  const EffectDef* e = FindEffect(name);
  if (!e || !e->implemented()) {
    std::fprintf(stderr, "no effect named %s\n", name);
    std::exit(1);
  }
  return [&f, e, p] { RunEffect(*e, f.frame, p); };
}

// The whole-pixel offsets of "Motion blur" at an angle and a length, as its routine makes
// them, drawn as the equivalent OpenCV kernel (ones at the samples, divided by their count).
cv::Mat MotionKernel(float angle, float length, cv::Point& anchor) {
  const double t = angle * 0.01745;
  const int dx = static_cast<int>(std::floor(length * std::cos(t))), dy = static_cast<int>(std::floor(length * std::sin(t)));
  const int n = std::max(std::abs(dx), std::abs(dy));
  cv::Mat k = cv::Mat::zeros(std::abs(dy) + 1, std::abs(dx) + 1, CV_32F);
  for (int i = 0; i <= n; ++i) {
    const int x = static_cast<int>(std::nearbyint(static_cast<double>(i) * dx / std::max(n, 1)));
    const int y = static_cast<int>(std::nearbyint(static_cast<double>(i) * dy / std::max(n, 1)));
    k.at<float>(dy < 0 ? -dy + y : y, dx < 0 ? -dx + x : x) = 1.0f / static_cast<float>(n + 1);
  }
  anchor = cv::Point(dx < 0 ? -dx : 0, dy < 0 ? -dy : 0);
  return k;
}

std::vector<Row> Rows(Frames& f) {
  std::vector<Row> rows;
  const int64_t stride = kWidth + 1;
  rows.push_back({"copy",
                  [&f, stride] {
                    ForEachRowBand(0, kHeight + 1, stride * 3, [&](int32_t y0, int32_t y1) {
                      const size_t o = static_cast<size_t>(y0 * stride), n = static_cast<size_t>((y1 - y0) * stride);
                      std::memcpy(f.work_r.data() + o, f.host_r.data() + o, n);
                      std::memcpy(f.work_g.data() + o, f.host_g.data() + o, n);
                      std::memcpy(f.work_b.data() + o, f.host_b.data() + o, n);
                    });
                  },
                  PerPlane(f, [](const cv::Mat& s, cv::Mat& d, int) { s.copyTo(d); }), [&f] { f.host3.copyTo(f.out3); }});
  rows.push_back({"Negative", Effect(f, "Negative", {}),
                  PerPlane(f, [](const cv::Mat& s, cv::Mat& d, int) { cv::bitwise_not(s, d); }),
                  [&f] { cv::bitwise_not(f.host3, f.out3); }});
  {
    ToneTable table{};
    for (int i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(255.0 * std::pow(i / 255.0, 0.8) + 0.5);
    cv::Mat lut(1, 256, CV_8U, table.data());
    rows.push_back({"256-entry table", [&f, table] { SetValue(f.work(), table); },
                    PerPlane(f, [lut](const cv::Mat& s, cv::Mat& d, int) { cv::LUT(s, lut, d); }),
                    [&f, lut] { cv::LUT(f.host3, lut, f.out3); }});
  }
  rows.push_back({"Color add", Effect(f, "Color add", {30, -20, 5}),
                  PerPlane(f,
                           [](const cv::Mat& s, cv::Mat& d, int c) {
                             cv::add(s, cv::Scalar(std::array{30, -20, 5}[c]), d);
                           }),
                  [&f] { cv::add(f.host3, cv::Scalar(5, -20, 30), f.out3); }});
  {
    // OpenCV's per-pixel blend takes float weights, made here once outside the timing.
    auto weights = std::make_shared<std::array<cv::Mat, 2>>();
    f.alpha_cv.convertTo((*weights)[0], CV_32F, 1.0 / 255);
    (*weights)[1] = 1.0 - (*weights)[0];
    rows.push_back({"alpha composite", [&f] { Overlay_b(f.work(), f.host(), f.host_a.view(), 0); },
                    [&f, weights] {
                      for (int c = 0; c < 3; ++c)
                        cv::blendLinear(f.host_cv[c], f.swap_cv[c], (*weights)[0], (*weights)[1], f.out_cv[c]);
                    },
                    [&f, weights] { cv::blendLinear(f.host3, f.swap3, (*weights)[0], (*weights)[1], f.out3); }});
  }
  {
    const cv::Size small(kWidth / 8, kHeight / 8), full(kWidth, kHeight);
    rows.push_back({"Mosaic 8", Effect(f, "Mosaic", {8}),
                    PerPlane(f,
                             [&f, small, full](const cv::Mat& s, cv::Mat& d, int c) {
                               cv::resize(s, f.tmp_cv[c], small, 0, 0, cv::INTER_NEAREST);
                               cv::resize(f.tmp_cv[c], d, full, 0, 0, cv::INTER_NEAREST);
                             }),
                    [&f, small, full] {
                      cv::resize(f.host3, f.tmp3, small, 0, 0, cv::INTER_NEAREST);
                      cv::resize(f.tmp3, f.out3, full, 0, 0, cv::INTER_NEAREST);
                    }});
  }
  {
    // The same moves as "Displace" at 64: the maps are made once outside the timing.
    auto map = std::make_shared<cv::Mat>(kHeight, kWidth, CV_16SC2);
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x) {
        const int dx = ((f.swap_r.at(y, x) - 128) * 64) / 255, dy = ((f.swap_g.at(y, x) - 128) * 64) / 255;
        map->at<cv::Vec2s>(y, x) = cv::Vec2s(static_cast<short>(std::abs(x + dx) % kWidth),
                                             static_cast<short>(std::abs(y + dy) % kHeight));
      }
    rows.push_back({"Displace 64", Effect(f, "Displace", {64}),
                    PerPlane(f,
                             [map](const cv::Mat& s, cv::Mat& d, int) {
                               cv::remap(s, d, *map, cv::noArray(), cv::INTER_NEAREST, cv::BORDER_WRAP);
                             }),
                    [&f, map] { cv::remap(f.host3, f.out3, *map, cv::noArray(), cv::INTER_NEAREST, cv::BORDER_WRAP); }});
  }
  {
    const cv::Mat cross = cv::getStructuringElement(cv::MORPH_CROSS, cv::Size(3, 3));
    rows.push_back({"Maximize", Effect(f, "Maximize", {}),
                    PerPlane(f, [cross](const cv::Mat& s, cv::Mat& d, int) { cv::dilate(s, d, cross); }),
                    [&f, cross] { cv::dilate(f.host3, f.out3, cross); }});
    rows.push_back({"Minimize", Effect(f, "Minimize", {}),
                    PerPlane(f, [cross](const cv::Mat& s, cv::Mat& d, int) { cv::erode(s, d, cross); }),
                    [&f, cross] { cv::erode(f.host3, f.out3, cross); }});
  }
  rows.push_back({"Hue/Sat/Value", Effect(f, "Hue / Sat / Value", {40, 120, 200}), {}, [&f] {
                    cv::cvtColor(f.host3, f.tmp3, cv::COLOR_BGR2HSV_FULL);
                    cv::multiply(f.tmp3, cv::Scalar(1.0, 1.2, 0.8), f.tmp3);
                    cv::cvtColor(f.tmp3, f.out3, cv::COLOR_HSV2BGR_FULL);
                  }});
  for (int radius : {2, 4, 8, 10, 11, 16, 32, 64}) {
    const cv::Size k(2 * radius + 1, 2 * radius + 1);
    const double sigma = GaussianSigmaForRadius(radius);
    rows.push_back({"Gaussian r" + std::to_string(radius),
                    [&f, radius] {
                      const PlaneView planes[3] = {f.work_r.view(), f.work_g.view(), f.work_b.view()};
                      GaussianBlur(planes, radius);
                    },
                    PerPlane(f,
                             [k, sigma](const cv::Mat& s, cv::Mat& d, int) {
                               cv::GaussianBlur(s, d, k, sigma, sigma, cv::BORDER_REFLECT);
                             }),
                    [&f, k, sigma] { cv::GaussianBlur(f.host3, f.out3, k, sigma, sigma, cv::BORDER_REFLECT); }});
  }
  rows.push_back({"Combine multiply", Effect(f, "Combine multiply", {}),
                  PerPlane(f, [&f](const cv::Mat& s, cv::Mat& d, int c) { cv::multiply(s, f.swap_cv[c], d, 1.0 / 255); }),
                  [&f] { cv::multiply(f.host3, f.swap3, f.out3, 1.0 / 255); }});
  rows.push_back({"Combine screen", Effect(f, "Combine screen", {}),
                  PerPlane(f,
                           [&f](const cv::Mat& s, cv::Mat& d, int c) {
                             cv::bitwise_not(s, f.tmp_cv[c]);
                             cv::bitwise_not(f.swap_cv[c], d);
                             cv::multiply(f.tmp_cv[c], d, d, 1.0 / 255);
                             cv::bitwise_not(d, d);
                           }),
                  [&f] {
                    cv::bitwise_not(f.host3, f.tmp3);
                    cv::bitwise_not(f.swap3, f.out3);
                    cv::multiply(f.tmp3, f.out3, f.out3, 1.0 / 255);
                    cv::bitwise_not(f.out3, f.out3);
                  }});
  rows.push_back({"Level mix", [&f] { LevelMix(f.work(), f.host(), 100); },
                  PerPlane(f,
                           [&f](const cv::Mat& s, cv::Mat& d, int c) {
                             cv::addWeighted(f.swap_cv[c], 100 / 255.0, s, 1 - 100 / 255.0, 0, d);
                           }),
                  [&f] { cv::addWeighted(f.swap3, 100 / 255.0, f.host3, 1 - 100 / 255.0, 0, f.out3); }});
  for (auto [angle, length] : {std::pair{0.0f, 10.0f}, std::pair{45.0f, 10.0f}, std::pair{90.0f, 30.0f}}) {
    cv::Point anchor;
    const cv::Mat k = MotionKernel(angle, length, anchor);
    rows.push_back({"Motion blur " + std::to_string(static_cast<int>(angle)) + "/" + std::to_string(static_cast<int>(length)),
                    Effect(f, "Motion blur", {angle, length}),
                    PerPlane(f,
                             [k, anchor](const cv::Mat& s, cv::Mat& d, int) {
                               cv::filter2D(s, d, -1, k, anchor, 0, cv::BORDER_REPLICATE);
                             }),
                    [&f, k, anchor] { cv::filter2D(f.host3, f.out3, -1, k, anchor, 0, cv::BORDER_REPLICATE); }});
  }
  // Black and white by the pixel's grey, written to all three channels.
  rows.push_back({"Threshold", Effect(f, "Threshold", {128}), {}, [&f] {
                    cv::cvtColor(f.host3, f.tmp_cv[0], cv::COLOR_BGR2GRAY);
                    cv::threshold(f.tmp_cv[0], f.tmp_cv[0], 127, 255, cv::THRESH_BINARY);
                    cv::cvtColor(f.tmp_cv[0], f.out3, cv::COLOR_GRAY2BGR);
                  }});
  rows.push_back({"Median 3x3", Effect(f, "Median", {}),
                  PerPlane(f, [](const cv::Mat& s, cv::Mat& d, int) { cv::medianBlur(s, d, 3); }),
                  [&f] { cv::medianBlur(f.host3, f.out3, 3); }});
  {
    const cv::Mat sharpen = (cv::Mat_<float>(3, 3) << 0, -1, 0, -1, 5, -1, 0, -1, 0);
    rows.push_back({"Sharpen", Effect(f, "Sharpen", {255}),
                    PerPlane(f,
                             [sharpen](const cv::Mat& s, cv::Mat& d, int) {
                               cv::filter2D(s, d, -1, sharpen, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
                             }),
                    [&f, sharpen] {
                      cv::filter2D(f.host3, f.out3, -1, sharpen, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
                    }});
  }
  rows.push_back({"Box 3x3", Effect(f, "Simple blur", {255}),
                  PerPlane(f,
                           [](const cv::Mat& s, cv::Mat& d, int) {
                             cv::blur(s, d, cv::Size(3, 3), cv::Point(-1, -1), cv::BORDER_REPLICATE);
                           }),
                  [&f] { cv::blur(f.host3, f.out3, cv::Size(3, 3), cv::Point(-1, -1), cv::BORDER_REPLICATE); }});
  return rows;
}

double Milliseconds(const Op& op) {
  const auto t0 = std::chrono::steady_clock::now();
  op();
  benchmark::ClobberMemory();
  const auto t1 = std::chrono::steady_clock::now();
  return std::chrono::duration<double, std::milli>(t1 - t0).count();
}

struct Result {
  std::string op;
  int threads;
  double ours, planes, interleaved;
  double reference() const { return std::min(planes, interleaved); }
};

// Repetitions of the three alternate; the fastest of each counts.
Result Measure(const Row& row, int threads, int reps) {
  const double none = std::numeric_limits<double>::infinity();
  Result r{row.op, threads, none, none, none};
  for (int i = 0; i < reps; ++i) {
    r.ours = std::min(r.ours, Milliseconds(row.ours));
    if (row.planes) r.planes = std::min(r.planes, Milliseconds(row.planes));
    if (row.interleaved) r.interleaved = std::min(r.interleaved, Milliseconds(row.interleaved));
  }
  return r;
}

int Main(int argc, char** argv) {
  int reps = 15;
  std::string filter, json_path, thread_choice = "both";
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    auto value = [&]() -> std::string {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "%s needs a value\n", arg.c_str());
        std::exit(64);
      }
      return argv[++i];
    };
    if (arg == "--reps")
      reps = std::max(1, std::stoi(value()));
    else if (arg == "--filter")
      filter = value();
    else if (arg == "--json")
      json_path = value();
    else if (arg == "--threads")
      thread_choice = value();
    else {
      std::fprintf(stderr, "usage: bench_peers [--reps N] [--filter TEXT] [--threads 1|all|both] [--json FILE]\n");
      return 64;
    }
  }
  Frames frames;
  const std::vector<Row> rows = Rows(frames);
  std::vector<int> thread_counts;
  if (thread_choice != "all") thread_counts.push_back(1);
  if (thread_choice != "1") thread_counts.push_back(tbb::info::default_concurrency());

  std::printf("%-20s %7s %11s %11s %11s %7s\n", "op", "threads", "tessfx ms", "cv planes", "cv interl.", "ratio");
  std::vector<Result> results;
  for (int threads : thread_counts) {
    tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<size_t>(threads));
    cv::setNumThreads(threads);
    for (const Row& row : rows) {
      if (!filter.empty() && row.op.find(filter) == std::string::npos) continue;
      row.ours();  // first runs allocate and warm caches
      if (row.planes) row.planes();
      if (row.interleaved) row.interleaved();
      const Result r = Measure(row, threads, reps);
      auto cell = [](double ms) { return std::isfinite(ms) ? std::to_string(ms).substr(0, 7) : std::string("-"); };
      std::printf("%-20s %7d %11s %11s %11s %7.2f\n", r.op.c_str(), threads, cell(r.ours).c_str(),
                  cell(r.planes).c_str(), cell(r.interleaved).c_str(), r.ours / r.reference());
      std::fflush(stdout);
      results.push_back(r);
    }
  }
  if (!json_path.empty()) {
    nlohmann::json out = nlohmann::json::array();
    for (const Result& r : results)
      out.push_back({{"op", r.op},
                     {"tessfx_ms", r.ours},
                     {"opencv_ms", r.reference()},
                     {"opencv_layout", r.planes <= r.interleaved ? "planes" : "interleaved"},
                     {"ratio", r.ours / r.reference()},
                     {"threads", r.threads}});
    std::ofstream file(json_path);
    file << out.dump(2) << "\n";
    if (!file.flush()) {
      std::fprintf(stderr, "cannot write %s\n", json_path.c_str());
      return 74;
    }
  }
  return 0;
}

}  // namespace
}  // namespace tessfx

int main(int argc, char** argv) { return tessfx::Main(argc, argv); }
