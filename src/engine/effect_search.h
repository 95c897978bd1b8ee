#pragma once
// Finding effects in the effect list by typing, and moving through the list by keyboard.
// Both work on the list's rows (headings and effect entries, as List1Rows gives them), so
// the window only shows and hides rows.
#include <string_view>
#include <vector>

namespace tessfx {

// Which rows a search shows. Every word of the query must appear, ignoring case, in the
// effect's name or its category's name ("blur gauss", "color key"); a heading shows when
// any of its effects does, as a separator. An empty query shows every row.
std::vector<bool> EffectRowsMatching(std::string_view query);

// The effect row keyboard navigation lands on when it moves `step` rows (1 and -1 for the
// arrow keys, a page for Page Up and Down) from `row` among the shown rows: the shown effect
// `step` effects away, headings never counted, stopping at the first or last shown effect.
// From no row (-1), any step lands on the first shown effect. -1 when nothing is shown.
int NextEffectRow(const std::vector<bool>& shown, int row, int step);

// The first and last shown effect rows, or -1.
int FirstShownEffectRow(const std::vector<bool>& shown);
int LastShownEffectRow(const std::vector<bool>& shown);

}  // namespace tessfx
