// tessfx effects: the effect catalogue, as text or as JSON.
#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "cli/cli.h"
#include "engine/catalogue.h"

namespace tessfx::cli {
namespace {

std::string SliderText(const SliderSpec& s) {
  return std::string(s.caption) + " " + std::to_string(s.min) + ".." + std::to_string(s.max) + " = " +
         std::to_string(s.value);
}

void PrintText(std::ostream& out) {
  size_t name_width = 0;
  for (const EffectDef& e : Effects()) name_width = std::max(name_width, e.name.size());
  size_t implemented = 0;
  for (const CategorySpec& c : Categories()) {
    out << c.name << "\n";
    for (const EffectDef* e : c.effects) {
      std::string line = std::string(kListIndent) + std::string(e->name);
      line.append(name_width + 2 - e->name.size(), ' ');
      if (e->sliders.empty()) line += "(no sliders)";
      for (size_t i = 0; i < e->sliders.size(); ++i) line += (i ? ", " : "") + SliderText(e->sliders[i]);
      if (!e->implemented()) line += "  [not implemented]";
      out << line << "\n";
      implemented += e->implemented() ? 1 : 0;
    }
  }
  out << Categories().size() << " categories, " << Effects().size() << " effects, " << implemented
      << " implemented\n";
}

nlohmann::ordered_json CatalogueJson() {
  nlohmann::ordered_json categories = nlohmann::ordered_json::array();
  for (const CategorySpec& c : Categories()) {
    nlohmann::ordered_json effects = nlohmann::ordered_json::array();
    for (const EffectDef* e : c.effects) {
      nlohmann::ordered_json sliders = nlohmann::ordered_json::array();
      for (const SliderSpec& s : e->sliders)
        sliders.push_back({{"caption", s.caption}, {"min", s.min}, {"max", s.max}, {"default", s.value}});
      effects.push_back({{"name", e->name},
                         {"category", e->category},
                         {"implemented", e->implemented()},
                         {"description", e->description},
                         {"sliders", std::move(sliders)},
                         {"swap", e->Uses(kSwapImage)},
                         {"sequence", e->Uses(kSequenceFrame)}});
    }
    categories.push_back({{"category", c.name}, {"effects", std::move(effects)}});
  }
  return categories;
}

}  // namespace

void AddEffectsCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("effects", "List the effect catalogue: categories, effects and their sliders");
  auto json = std::make_shared<bool>(false);
  cmd->add_flag("--json", *json, "Print the catalogue as JSON");
  cmd->callback([=] {
    if (*json)
      std::cout << CatalogueJson().dump(2) << std::endl;
    else
      PrintText(std::cout);
  });
}

}  // namespace tessfx::cli
