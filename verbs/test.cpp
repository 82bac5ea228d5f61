// orvik test: how good a model is on rows whose classes are known.
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "figures.h"
#include "files.h"
#include "input.h"
#include "learning.h"
#include "predictions.h"
#include "verbs.h"
#include "zel/util/run_context.h"

namespace orvverbs {

namespace {

constexpr char k_examples[] =
    "Examples:\n"
    "  orvik test people.orvik more.csv\n"
    "  orvik test people.orvik more.csv --json > figures.json\n\n"
    "Rows of unknown class are left out, and told. See orvik-test(1).";

class test_verb : public verb {
 public:
  const char* name() const override { return "test"; }
  const char* summary() const override { return "how good a model is on rows of known classes"; }

  void declare(options& all) override {
    all.positional("MODEL", model_, "a model that orvik train or orvcmd -tb wrote");
    all.positional("FILE", file_,
                   "the rows: a delimited file, plain or gzip; - for standard input");
    all.group("What is written");
    all.flag("--json", json_, "the figures as JSON");
    all.file("-o,--output", output_, "where to; else standard output");
    all.group("What FILE looks like");
    all.text("-s,--separator", separator_, "CHAR", "a character, tab or auto");
    run_.declare_threads(all);
    all.examples(k_examples);
  }

  void run() override {
    run_.begin();
    check_files({model_, file_}, {output_});
    const auto model = read_model(model_);
    const reading how = reading_of(*model);
    new_rows rows(*model, how, file_, separator_of("--separator", separator_), std::cerr);
    if (!rows.has_class()) {
      throw std::runtime_error(file_ + ": has no column '" +
                               model->get_schema().class_column().name() +
                               "', the class; orvik predict needs none");
    }
    const results found = tested(*model, rows);
    write_file(output_, [&](std::ostream& out) { write(*model, found, out); });
  }

 private:
  struct results {
    std::unique_ptr<orvik::conf_matrix> matrix;
    orvik::judged_rows rows;
  };

  results tested(const orvik::dtree& model, new_rows& rows) const {
    results all{std::make_unique<orvik::conf_matrix>(model.class_values()), {}};
    all.rows.classes = model.class_values();
    const bool with_shares = all.rows.classes.size() <= orvik::k_most_judged_classes;
    unsigned long unclassed = 0;
    predicted_rows found;
    zel::util::default_context().progress().begin(zel::util::progress::unit::rows, 0);
    rows.read({}, [&](row_block& block) {
      predict_block(model, block, with_shares, found);
      for (unsigned long i = 0; i < block.n; ++i) {
        const bool unknown = block.classes[i] == orvik::k_unknown && !block.new_class[i];
        unknown ? static_cast<void>(++unclassed) : add(block, i, found, all);
      }
    });
    if (unclassed > 0) {
      std::cerr << file_ << ": " << unclassed << " rows of unknown class left out\n";
    }
    if (all.matrix->ncases() == 0) throw std::runtime_error(file_ + ": no rows of known class");
    return all;
  }

  static void add(const row_block& block, unsigned long i, const predicted_rows& found,
                  results& to) {
    const orvik::code_t predicted = found.outcomes[i].class_code;
    to.matrix->add_case(block.classes[i], predicted, block.weights[i]);
    to.rows.actual.push_back(block.classes[i]);
    to.rows.predicted.push_back(predicted);
    to.rows.weights.push_back(block.weights[i]);
    const unsigned long k = found.shares.size() / block.n;
    const auto shares = found.shares.begin() + static_cast<std::ptrdiff_t>(i * k);
    to.rows.shares.insert(to.rows.shares.end(), shares, shares + static_cast<std::ptrdiff_t>(k));
  }

  void write(const orvik::dtree& model, const results& found, std::ostream& out) const {
    const orvik::metrics all = orvik::metrics_of(found.rows, "rows of " + file_);
    if (!json_) {
      write_figures(*found.matrix, model.class_values(), "rows of " + file_, out);
      return orvik::write_metrics_text(all, out);
    }
    std::ostringstream figures;
    orvik::write_metrics_json({all}, figures);
    const std::string text = figures.str();
    zel::text::json_sink sink(out);
    json_out json(sink);
    json.object([&] {
      write_figures(*found.matrix, model.class_values(), file_, json);
      json.key("metrics");
      json.RawValue(text.data(), text.find_last_not_of('\n') + 1, rapidjson::kObjectType);
    });
    out << '\n';
  }

  std::string model_, file_, output_ = "-", separator_ = "auto";
  bool json_ = false;
  learning run_;
};

}  // namespace

std::unique_ptr<verb> new_test() { return std::make_unique<test_verb>(); }

}  // namespace orvverbs
