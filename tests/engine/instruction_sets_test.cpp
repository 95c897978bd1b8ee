// The kernels are compiled for several instruction sets and one is picked at run time: every
// implemented effect must give the same bytes on each of them as on the one-lane build, on
// frames narrower than a vector, with partial last vectors, and wide enough for whole ones.
#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/targets.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <string>

#include "effects/test_frame.h"
#include "engine/catalogue.h"

namespace tessfx {
namespace {

using testing::TestFrame;

// Per effect, the bytes of its results at the panel's values, every slider at its minimum
// and at its maximum, with the alpha-bits flag 0 and 1.
std::map<std::string, std::vector<uint8_t>> ResultsOfEveryEffect() {
  std::map<std::string, std::vector<uint8_t>> results;
  for (auto [w, h] : {std::pair{1, 1}, std::pair{67, 5}, std::pair{203, 37}}) {
    TestFrame f(w, h, 2);
    testing::NoiseFrames(f, w, h, 2);
    for (const EffectDef& e : Effects()) {
      if (!e.implemented()) continue;
      for (int32_t flag : {0, 1}) {
        f.host().set_alpha_bits(flag);
        for (const auto& values : {testing::PanelValues(e), testing::SlidersAt(e, testing::SliderEnd::Min),
                                   testing::SlidersAt(e, testing::SliderEnd::Max)}) {
          f.Dispatch(std::string(e.name), values);
          std::vector<uint8_t>& out = results[std::string(e.name)];
          const ImageState& s = f.image();
          for (const Plane* p : {&s.work_r, &s.work_g, &s.work_b, &s.work_a})
            out.insert(out.end(), p->data(), p->data() + p->size());
        }
      }
    }
  }
  return results;
}

TEST(InstructionSets, EveryCompiledTargetGivesTheBytesOfTheScalarOne) {
  const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
  // The portable build without vector instructions (one lane with GCC 12, a 16-byte
  // emulation with other compilers) is the reference.
  const int64_t portable = HWY_BASELINE_SCALAR;
  ASSERT_NE(std::find(targets.begin(), targets.end(), portable), targets.end()) << "the portable build is missing";
  hwy::SetSupportedTargetsForTest(portable);
  const auto reference = ResultsOfEveryEffect();
  for (int64_t target : targets) {
    if (target == portable) continue;
    hwy::SetSupportedTargetsForTest(target);
    const auto results = ResultsOfEveryEffect();
    for (const auto& [name, bytes] : reference) EXPECT_TRUE(results.at(name) == bytes) << name << " on " << hwy::TargetName(target);
  }
  hwy::SetSupportedTargetsForTest(0);
  // This machine's best target is among those compared, so what runs in use is covered.
  std::cout << "compared " << targets.size() << " instruction sets\n";
}

}  // namespace
}  // namespace tessfx
