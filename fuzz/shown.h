// A model in every form that shows it.
#pragma once

#include <sstream>

#include "forms.h"
#include "impls/model/dtree.h"
#include "rules.h"

namespace orvik::fuzz {

/// The forms of orvview. The model has trees.
inline void show(const impls::dtree& shown) {
  std::ostringstream out;
  const orvik::dtree model(shown.clone(/*parameters_only=*/false));
  const orvview::chosen_tree last{model, model.get_no_trees() - 1};
  orvview::write_cpp(model, out);
  orvview::write_python(model, out);
  orvview::write_sql(last, "cases", out);
  orvview::write_rules_text(last, out);
  orvview::write_rules_csv(last, out);
  orvview::write_rules_json(last, out);
  orvview::write_svg(last, k_all_levels, out);
  for (const bool rich : {false, true}) {
    orvview::write_summary(last, k_all_levels, {/*width=*/80, rich, rich}, out);
  }
}

}  // namespace orvik::fuzz
