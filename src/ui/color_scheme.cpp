#include "ui/color_scheme.h"

#include <cstdlib>
#include <string>

namespace tessfx {

ColorScheme ReadColorScheme(TessalineHost& host) {
  std::array<int32_t, 19> v{};
  for (size_t i = 0; i < kColorSchemeKeys.size(); ++i) {
    const auto& e = kColorSchemeKeys[i];
    const std::string text =
        host.GetSetting("tessaline", "Startup", std::string(e.key), std::to_string(e.fallback));
    char* end = nullptr;
    const long long parsed = std::strtoll(text.c_str(), &end, 10);
    v[i] = (end == text.c_str() || parsed < INT32_MIN || parsed > INT32_MAX) ? e.fallback : static_cast<int32_t>(parsed);
  }
  return ColorScheme{v[0],  v[1],  v[2],  v[3],  v[4],  v[5],  v[6],  v[7],  v[8],  v[9],
                     v[10], v[11], v[12], v[13], v[14], v[15], v[16], v[17], v[18]};
}

}  // namespace tessfx
