// A model in every form that shows it.
#pragma once

#include <sstream>

#include "forms.h"
#include "impls/model/dtree.h"
#include "rules.h"

namespace orvik::fuzz {

/// The forms of orvik view. The model has trees.
inline void show(const impls::dtree& shown) {
  std::ostringstream out;
  const orvik::dtree model(shown.clone(/*parameters_only=*/false));
  const orvik::view::chosen_tree last{model, model.get_no_trees() - 1};
  orvik::view::write_cpp(model, out);
  orvik::view::write_python(model, out);
  orvik::view::write_sql(last, "cases", out);
  orvik::view::write_rules_text(last, out);
  orvik::view::write_rules_csv(last, out);
  orvik::view::write_rules_json(last, out);
  orvik::view::write_svg(last, k_all_levels, out);
  for (const bool rich : {false, true}) {
    orvik::view::write_summary(last, k_all_levels, {/*width=*/80, rich, rich}, out);
  }
}

}  // namespace orvik::fuzz
