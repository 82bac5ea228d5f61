// orvik select: which attributes a tree needs.
#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <utility>

#include "trial.h"
#include "verbs.h"

namespace orvverbs {

namespace {

using orvik::dtree;
using orvik::table;

constexpr char k_select_examples[] =
    "Examples:\n"
    "  orvik select people.csv --class buys --within 1\n"
    "  orvik select people.csv --class buys --method backward --limit 60\n\n"
    "See orvik-select(1).";

struct search_method {
  const char* name;
  orvik::model::feature_selection method;
};
const std::vector<search_method> k_methods = {{"acceptable", orvik::model::ACCEPTABLE_SUBSET},
                                              {"exhaustive", orvik::model::EXHAUSTIVE},
                                              {"forward", orvik::model::FORWARD},
                                              {"backward", orvik::model::BACKWARD},
                                              {"fast-backward", orvik::model::OPTIMISED_BACKWARD}};

struct selection {
  std::vector<std::string> chosen, others;  // names of columns
  orvik::feature_search search;
  std::string told;  // by the library
  double seconds = 0;
  judged_test of_all, of_chosen;  // on rows that neither grew nor searched
};

double error_of(const judged_test& test) { return test.matrix->err_misc(); }

/// A row.
double cost_of(const judged_test& test) {
  return test.matrix->get_cost(*test.costs) / test.matrix->cases();
}

/// "0.58"
std::string cost_text(double cost) {
  std::array<char, 32> room;
  std::snprintf(room.data(), room.size(), "%.4g", cost);
  return room.data();
}

/// The options of what errors cost, for a shell.
std::string cost_words(const learning& how) {
  std::string words;
  const std::pair<const char*, const std::string&> files[] = {
      {" --costs ", how.costs}, {" --class-weights ", how.class_weights}};
  for (const auto& [option, file] : files) {
    if (!file.empty()) words += option + shell_word(file);
  }
  const std::pair<const char*, bool> flags[] = {{" --cost-weights", how.cost_weights},
                                                {" --balanced", how.balanced},
                                                {" --laplace", how.laplace}};
  for (const auto& [option, set] : flags) words += set ? option : "";
  return words;
}

class select_verb : public trial {
 public:
  const char* name() const override { return "select"; }
  const char* summary() const override { return "the attributes that a tree needs"; }

  void declare(options& all) override {
    declare_file(all);
    std::vector<std::string> names;
    names.reserve(std::size(k_methods));
    for (const search_method& m : k_methods) names.emplace_back(m.name);
    all.group("The search");
    all.choice("--method", method_, names, "acceptable: the smallest set that is good enough");
    all.real("--within", within_, 0, 100,
             "percentage points above the best error, or hundredths of a cost, that will do (1)");
    all.real("--limit", limit_, 0.001, 1e9, "seconds; else the search takes its time");
    all.choice("--prune", learning_.prune,
               {"none", "pre", "ebp", "ebpg", "ebpa", "pep", "pepg", "pepa"},
               "pruning of the trees (ebp)");
    all.real("--min", learning_.min_weight, 1e-300, 1e300,
             "least weight of two branches of a split (2)");
    all.real("--holdout", holdout_, 1, 90,
             "percent of the rows that the sets are compared on (30)");
    learning_.declare_costs(all);
    declare_output(all, "the result as JSON");
    declare_rest(all);
    all.examples(k_select_examples);
  }

 private:
  void try_out(const training_input& in) override { found_ = search(in); }

  selection search(const training_input& in) const {
    table& t = *in.table;
    const std::unique_ptr<table::subset> all(t.get_wsubset_all());
    const split_cases parts = split(t, *all, 1 - holdout_ / 100);
    const auto model = learning_.make("selected", *in.table);
    model->set_keep_training_cm(false);
    model->build(&t, parts.first.get());
    selection found;
    found.of_all = tested_on(*model, t, *parts.rest);
    model->set_fs(std::ranges::find(k_methods, method_,
                                    [](const search_method& m) { return std::string(m.name); })
                      ->method,
                  within_);
    if (limit_ > 0) model->set_fs_limit(limit_);
    model->feature_selection(&t, parts.first.get(), nullptr);
    found.seconds = model->get_elapsed();
    found.search = model->get_search();
    found.told = model->get_as_logs();
    const std::vector<unsigned long> numbers = numbers_of(model->attributes(&t));
    model->set_fs(orvik::model::NO_SELECTION, 0);
    model->build(&t, parts.first.get());
    found.of_chosen = tested_on(*model, t, *parts.rest);
    const orvik::schema_view schema = t.get_schema();
    for (unsigned long a = 0; a < schema.n_attributes(); ++a) {
      if (!schema.attribute(a).is_input()) continue;
      const bool chosen = std::ranges::find(numbers, a) != numbers.end();
      (chosen ? found.chosen : found.others)
          .push_back(in.how.plan.columns[schema.attribute(a).index()].name);
    }
    return found;
  }

  static judged_test tested_on(const dtree& model, table& t, table::subset& cases) {
    judged_test test{{}, nullptr, {}, "hold-out rows", model.get_costs()};
    test.matrix.reset(model.test(&t, &cases, nullptr));
    return test;
  }

  static std::vector<unsigned long> numbers_of(const std::string& list) {
    std::vector<unsigned long> numbers;
    for (std::size_t at = 0; at < list.size();) {
      const std::size_t end = std::min(list.find(',', at), list.size());
      numbers.push_back(std::stoul(list.substr(at, end - at)));
      at = end + 1;
    }
    return numbers;
  }

  void write(std::ostream& out) const override {
    const selection& found = found_;
    out << found.chosen.size() << " of " << found.chosen.size() + found.others.size()
        << " attributes, by the method " << method_ << ", seed " << learning_.seed << ":\n";
    for (const std::string& name : found.chosen) out << "  " << name << '\n';
    out << "error: " << percent(error_of(found.of_chosen)) << " with them, "
        << percent(error_of(found.of_all)) << " with all, of the hold-out rows\n";
    if (found.of_all.costs) {
      out << "cost: " << cost_text(cost_of(found.of_chosen)) << " with them, "
          << cost_text(cost_of(found.of_all)) << " with all, a hold-out row\n";
    }
    out << "search: " << found.search.trees_grown << " trees grown in " << found.seconds << " s; "
        << (learning_.decides_by_costs()
                ? "cost " + cost_text(found.search.error) + " a search row\n"
                : "error " + percent(found.search.error) + " of the search rows\n");
    if (!found.search.ended) out << "stopped at its limit: nothing is proven of the set\n";
    if (found.others.empty()) return;
    input_options with_them = input_;
    std::vector<std::string>& ignored = with_them.columns.ignored;
    ignored.insert(ignored.end(), found.others.begin(), found.others.end());
    std::cerr << "\nnext:\n  orvik train " << with_them.words() << cost_words(learning_) << '\n';
  }

  void write(json_out& json) const override {
    const selection& found = found_;
    const auto text = [&json](const std::string& name) { json.text(name); };
    const auto number = [&json](const char* key, double value) {
      json.key(key);
      json.number(value);
    };
    json.key("method");
    json.text(method_);
    number("seed", static_cast<double>(learning_.seed));
    json.array("attributes", found.chosen, text);
    json.array("others", found.others, text);
    number("error", error_of(found.of_chosen));
    number("error_of_all", error_of(found.of_all));
    if (found.of_all.costs) {
      number("mean_cost", cost_of(found.of_chosen));
      number("mean_cost_of_all", cost_of(found.of_all));
    }
    number(learning_.decides_by_costs() ? "search_cost" : "search_error", found.search.error);
    number("trees_grown", static_cast<double>(found.search.trees_grown));
    number("seconds", found.seconds);
    json.key("ended");
    json.Bool(found.search.ended);
  }

  selection found_;
  std::string method_ = "acceptable";
  double within_ = 1, limit_ = 0, holdout_ = 30;
};

}  // namespace

std::unique_ptr<verb> new_select() { return std::make_unique<select_verb>(); }

}  // namespace orvverbs
