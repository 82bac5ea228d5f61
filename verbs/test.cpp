// orvik test: how good a model is on rows whose classes are known.
#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "applied_model.h"
#include "figures.h"
#include "files.h"
#include "predictions.h"
#include "verbs.h"

namespace orvverbs {

namespace {

constexpr char k_test_examples[] =
    "Examples:\n"
    "  orvik test people.orvik more.csv\n"
    "  orvik test people.orvik more.csv --json > figures.json\n\n"
    "Rows of unknown class are left out, and told. See orvik-test(1).";

constexpr char k_other_class[] = "(not in the model)";

/// Gives rows a class more, the last one, of which the model says nothing.
void add_class(const std::string& name, orvik::judged_rows& rows) {
  const std::size_t k = rows.classes.size();
  rows.classes.push_back(name);
  if (rows.shares.empty()) return;
  std::vector<double> shares(rows.size() * (k + 1));
  for (std::size_t i = 0; i < rows.size(); ++i) {
    std::copy_n(rows.shares.data() + i * k, k, shares.data() + i * (k + 1));
  }
  rows.shares = std::move(shares);
}

class test_verb : public verb {
 public:
  const char* name() const override { return "test"; }
  const char* summary() const override { return "how good a model is on rows of known classes"; }

  void declare(options& all) override {
    applied_.declare_files(all);
    all.group("What is written");
    all.flag("--json", json_, "the figures as JSON");
    all.file("-o,--output", output_, "where to; else standard output");
    applied_.declare_layout(all);
    all.examples(k_test_examples);
  }

  void run() override {
    applied_.open(output_);
    if (!applied_.rows().has_class()) {
      throw std::runtime_error(applied_.file() + ": has no column '" +
                               applied_.model().get_schema().class_column().name() +
                               "', the class; orvik predict needs none");
    }
    judged_test found = test_of(judged(), "rows of " + applied_.file());
    found.costs = applied_.model().get_costs();
    write_file(output_, [&](std::ostream& out) { write(found, out); });
  }

 private:
  orvik::judged_rows judged() {
    orvik::judged_rows all;
    all.classes = applied_.model().class_values();
    const bool with_shares = all.classes.size() <= orvik::k_most_judged_classes;
    unsigned long unclassed = 0, other = 0;
    predicted_rows found;
    applied_.rows().read({}, [&](row_block& block) {
      predict_block(applied_.model(), block, with_shares, found);
      for (unsigned long i = 0; i < block.n; ++i) {
        if (block.new_class[i]) {
          block.classes[i] = all.classes.size();
          ++other;
        }
        block.classes[i] == orvik::k_unknown ? static_cast<void>(++unclassed)
                                             : add(block, i, found, all);
      }
    });
    if (other > 0) add_class(k_other_class, all);
    tell(unclassed, " of unknown class left out");
    tell(other, " of a class that the model does not have: errors");
    if (all.size() == 0) throw std::runtime_error(applied_.file() + ": no rows of known class");
    return all;
  }

  void tell(unsigned long n_rows, const char* what) const {
    if (n_rows == 0) return;
    std::cerr << applied_.file() << ": " << n_rows << (n_rows == 1 ? " row" : " rows") << what
              << '\n';
  }

  static void add(const row_block& block, unsigned long i, const predicted_rows& found,
                  orvik::judged_rows& to) {
    to.actual.push_back(block.classes[i]);
    to.predicted.push_back(found.outcomes[i].class_code);
    to.weights.push_back(block.weights[i]);
    const unsigned long k = found.shares.size() / block.n;
    const auto shares = found.shares.begin() + static_cast<std::ptrdiff_t>(i * k);
    to.shares.insert(to.shares.end(), shares, shares + static_cast<std::ptrdiff_t>(k));
  }

  void write(const judged_test& found, std::ostream& out) const {
    if (!json_) {
      write_error(found, out);
      return write_figures(found, out);
    }
    zel::text::json_sink sink(out);
    json_out json(sink);
    json.object([&] { write_figures(found, applied_.file(), json); });
    out << '\n';
  }

  applied_model applied_;
  std::string output_ = "-";
  bool json_ = false;
};

}  // namespace

std::unique_ptr<verb> new_test() { return std::make_unique<test_verb>(); }

}  // namespace orvverbs
