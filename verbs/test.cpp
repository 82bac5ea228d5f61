// orvik test: how good a model is on rows whose classes are known.
#include <iostream>
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
    const auto matrix = tested(*model, rows);
    write_file(output_, [&](std::ostream& out) { write(*model, *matrix, out); });
  }

 private:
  std::unique_ptr<orvik::conf_matrix> tested(const orvik::dtree& model, new_rows& rows) const {
    auto matrix = std::make_unique<orvik::conf_matrix>(model.class_values());
    unsigned long unclassed = 0;
    predicted_rows found;
    zel::util::default_context().progress().begin(zel::util::progress::unit::rows, 0);
    rows.read({}, [&](row_block& block) {
      predict_block(model, block, /*with_shares=*/false, found);
      for (unsigned long i = 0; i < block.n; ++i) {
        if (block.classes[i] == orvik::k_unknown && !block.new_class[i]) {
          ++unclassed;
        } else {
          matrix->add_case(block.classes[i], found.outcomes[i].class_code, block.weights[i]);
        }
      }
    });
    if (unclassed > 0) {
      std::cerr << file_ << ": " << unclassed << " rows of unknown class left out\n";
    }
    if (matrix->ncases() == 0) throw std::runtime_error(file_ + ": no rows of known class");
    return matrix;
  }

  void write(const orvik::dtree& model, const orvik::conf_matrix& matrix, std::ostream& out) const {
    if (!json_) return write_figures(matrix, model.class_values(), "rows of " + file_, out);
    zel::text::json_sink sink(out);
    json_out json(sink);
    json.object([&] { write_figures(matrix, model.class_values(), file_, json); });
    out << '\n';
  }

  std::string model_, file_, output_ = "-", separator_ = "auto";
  bool json_ = false;
  learning run_;
};

}  // namespace

std::unique_ptr<verb> new_test() { return std::make_unique<test_verb>(); }

}  // namespace orvverbs
