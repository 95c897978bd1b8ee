#include "engine/effect_search.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "engine/catalogue.h"

namespace tessfx {
namespace {

std::string Lower(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::vector<std::string> Words(std::string_view query) {
  std::vector<std::string> words;
  std::string word;
  for (char c : query) {
    if (std::isspace(static_cast<unsigned char>(c))) {
      if (!word.empty()) words.push_back(Lower(word));
      word.clear();
    } else {
      word.push_back(c);
    }
  }
  if (!word.empty()) words.push_back(Lower(word));
  return words;
}

bool IsEffectRow(const std::string& row) { return row.size() > kListIndent.size() && row.starts_with(kListIndent); }

}  // namespace

std::vector<bool> EffectRowsMatching(std::string_view query) {
  const std::vector<std::string>& rows = List1Rows();
  std::vector<bool> shown(rows.size(), true);
  const std::vector<std::string> words = Words(query);
  if (words.empty()) return shown;
  int heading = -1;
  std::string category;
  for (size_t i = 0; i < rows.size(); ++i) {
    if (!IsEffectRow(rows[i])) {
      heading = static_cast<int>(i);
      category = Lower(rows[i]);
      shown[i] = false;  // until one of its effects matches
      continue;
    }
    const std::string name = Lower(std::string_view(rows[i]).substr(kListIndent.size()));
    const bool match = std::all_of(words.begin(), words.end(), [&](const std::string& w) {
      return name.find(w) != std::string::npos || category.find(w) != std::string::npos;
    });
    shown[i] = match;
    if (match && heading >= 0) shown[static_cast<size_t>(heading)] = true;
  }
  return shown;
}

int NextEffectRow(const std::vector<bool>& shown, int row, int step) {
  const std::vector<std::string>& rows = List1Rows();
  std::vector<int> effects;  // shown effect rows in order
  for (size_t i = 0; i < rows.size() && i < shown.size(); ++i)
    if (shown[i] && IsEffectRow(rows[i])) effects.push_back(static_cast<int>(i));
  if (effects.empty()) return -1;
  if (row < 0) return effects.front();
  // Where `row` stands among them: a heading or a hidden row counts as the gap before the
  // next shown effect.
  const auto at = std::lower_bound(effects.begin(), effects.end(), row);
  long index = at - effects.begin();
  const bool on_effect = at != effects.end() && *at == row;
  if (!on_effect && step > 0) --index;  // one step down from the gap lands on *at
  const long target = std::clamp<long>(index + step, 0, static_cast<long>(effects.size()) - 1);
  return effects[static_cast<size_t>(target)];
}

int FirstShownEffectRow(const std::vector<bool>& shown) { return NextEffectRow(shown, -1, 1); }

int LastShownEffectRow(const std::vector<bool>& shown) {
  const int first = FirstShownEffectRow(shown);
  return first < 0 ? -1 : NextEffectRow(shown, first, static_cast<int>(shown.size()));
}

}  // namespace tessfx
