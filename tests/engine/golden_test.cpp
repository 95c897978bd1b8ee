// Every implemented effect against recorded digests of its results: frames from 1 x 1 to
// sizes past the band and wrap limits, slider defaults, ends and values in between, each
// alpha-bits flag. A change to a kernel or to the dispatch that changes any byte of any of
// these results shows here, named by effect and flag.
//
// TESSFX_WRITE_GOLDEN=1 rewrites tests/engine/golden_effects.txt from the current code; a
// deliberate change of results goes in with the rewritten file and the reason.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

#include "effects/test_frame.h"
#include "engine/catalogue.h"

namespace tessfx {
namespace {

using testing::Noise;
using testing::TestFrame;

const std::string kGoldenFile = std::string(TESSFX_TEST_SOURCE_DIR) + "/engine/golden_effects.txt";

struct Digest {
  uint64_t h = 1469598103934665603ull;
  void Add(const uint8_t* p, size_t n) {
    for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
  }
  void Add(const Plane& p) {
    const int32_t wh[2] = {p.width(), p.height()};
    Add(reinterpret_cast<const uint8_t*>(wh), sizeof wh);
    Add(p.data(), p.size());
  }
};

// The value sets each effect runs with: the panel's values after picking it, every slider at
// its minimum, at its maximum, and two draws of values in range with fractions.
std::vector<EffectParams> ValueSets(const EffectDef& e, size_t index) {
  std::vector<EffectParams> sets = {testing::PanelValues(e), testing::SlidersAt(e, testing::SliderEnd::Min),
                                    testing::SlidersAt(e, testing::SliderEnd::Max)};
  std::mt19937 rng(static_cast<uint32_t>(1000 + index));
  for (int draw = 0; draw < 2; ++draw) {
    EffectParams& v = sets.emplace_back();
    for (size_t i = 0; i < e.sliders.size(); ++i) {
      std::uniform_int_distribution<int> quarter(e.sliders[i].min * 4, e.sliders[i].max * 4);
      v[i] = static_cast<float>(quarter(rng)) / 4.0f;
    }
  }
  return sets;
}

// Also checks, as a routine must never write the host planes it reads, that they are the
// stored frame's after every run.
std::string DigestOf(const EffectDef& e, size_t index, int32_t flag) {
  Digest d;
  for (auto [w, h] : {std::pair{1, 1}, std::pair{2, 3}, std::pair{7, 5}, std::pair{33, 17}, std::pair{130, 3},
                      std::pair{67, 129}}) {
    TestFrame f(w, h, 3);
    testing::NoiseFrames(f, w, h, 3);
    f.host().Tes_GotoFrame(1);
    const testing::Rgb stored{Noise(w, h, 12), Noise(w, h, 22), Noise(w, h, 32)};
    testing::NoiseSequence(f, w, h, 61);
    f.host().set_alpha_bits(flag);
    for (const auto& values : ValueSets(e, index)) {
      f.Dispatch(std::string(e.name), values);
      const ImageState& s = f.image();
      EXPECT_TRUE(testing::Host(s) == stored) << e.name << " wrote the host planes on " << w << "x" << h;
      for (const Plane* p : {&s.work_r, &s.work_g, &s.work_b, &s.work_a}) d.Add(*p);
    }
  }
  std::ostringstream out;
  out << std::hex << d.h;
  return out.str();
}

// "effect name|flag" -> digest, for every implemented effect and flags 0, 1 and 256.
std::map<std::string, std::string> CurrentDigests() {
  std::map<std::string, std::string> digests;
  size_t index = 0;
  for (const EffectDef& e : Effects()) {
    ++index;
    if (!e.implemented()) continue;
    for (int32_t flag : {0, 1, 256})
      digests[std::string(e.name) + "|" + std::to_string(flag)] = DigestOf(e, index, flag);
  }
  return digests;
}

TEST(GoldenResults, EveryEffectGivesItsRecordedBytes) {
  const std::map<std::string, std::string> now = CurrentDigests();
  if (std::getenv("TESSFX_WRITE_GOLDEN")) {
    std::ofstream out(kGoldenFile);
    for (const auto& [key, digest] : now) out << key << "|" << digest << "\n";
    ASSERT_TRUE(out.flush()) << kGoldenFile;
    GTEST_SKIP() << "wrote " << kGoldenFile;
  }
  std::ifstream in(kGoldenFile);
  ASSERT_TRUE(in) << kGoldenFile;
  std::map<std::string, std::string> recorded;
  for (std::string line; std::getline(in, line);) {
    const size_t bar = line.rfind('|');
    if (bar != std::string::npos) recorded[line.substr(0, bar)] = line.substr(bar + 1);
  }
  for (const auto& [key, digest] : now) {
    const auto it = recorded.find(key);
    if (it == recorded.end()) {
      ADD_FAILURE() << key << ": no recorded digest (a new effect: record it with TESSFX_WRITE_GOLDEN=1)";
      continue;
    }
    EXPECT_EQ(digest, it->second) << key;
  }
}

}  // namespace
}  // namespace tessfx
