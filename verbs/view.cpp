// orvik view: a model as a report, pictures, rules and programs.
#include <filesystem>
#include <iostream>
#include <map>
#include <stdexcept>

#include "files.h"
#include "forms.h"
#include "input.h"
#include "learning.h"
#include "model_file.h"
#include "new_rows.h"
#include "orvik/orvik.h"
#include "report.h"
#include "rules.h"
#include "verbs.h"

namespace orvverbs {

namespace {

using orvik::view::chosen_tree;
using orvik::view::opened;

constexpr char k_no_such_tree[] = ": there is no such tree; the model has ";
constexpr char k_view_examples[] =
    "Examples:\n"
    "  orvik view people.orvik                   # people.html, for a browser\n"
    "  orvik view people.orvik --summary\n"
    "  orvik view people.orvik --rules sql --table people\n\n"
    "The report goes to a file named after the model in the current folder, other forms to\n"
    "standard output. See orvik-view(1).";

class view_verb : public verb {
 public:
  const char* name() const override { return "view"; }
  const char* summary() const override {
    return "a model as a report, a picture, rules, a program";
  }

  void declare(options& all) override {
    all.positional("MODEL", from_.model, "a model that orvik train or orvcmd -tb wrote");
    all.group("What is written; the report by default");
    all.flag("--html", html_, "a report to be opened in a browser");
    all.flag("--svg", svg_, "a picture of a tree");
    all.choice("--rules", rules_, {"text", "csv", "sql", "json"}, "the rules of a tree");
    all.flag("--cpp", cpp_, "a C++17 source that predicts");
    all.flag("--python", python_, "a Python 3 module that predicts");
    all.flag("--summary", summary_, "the tree on a terminal");
    all.file("-o,--output", output_, "where to; - for standard output");
    all.group("How");
    all.number("--tree", tree_, 1, ~0UL, "which tree of an ensemble, from 1");
    all.number("--depth", depth_, 0, ~0UL, "levels of splits to show (--svg, --summary)");
    all.text("--table", relation_, "NAME", "the table of --rules sql");
    all.choice("--color", color_, {"auto", "always", "never"}, "colours of --summary");
    all.group("Rows for the report");
    all.file("--data", from_.data, "rows whose columns are found as by orvik test");
    all.file("--names", from_.names, "metadata of --data, where they do not lie beside it");
    all.number("--seed", seed_, 0, ~0UL, "of the training run, to know its draws again");
    all.text("-s,--separator", separator_, "CHAR", "of --data: a character, tab or auto");
    all.examples(k_view_examples);
    given_ = [&all](const char* name) { return all.given(name); };
  }

  void run() override {
    check_options();
    const opened found = open();
    const unsigned long n = found.model->get_no_trees();
    if (tree_ > n) {
      throw std::runtime_error("--tree " + std::to_string(tree_) + k_no_such_tree +
                               std::to_string(n));
    }
    check_files({from_.model, from_.names, from_.data}, {output_});
    write_file(output_, [&](std::ostream& out) { write_form(found, out); });
    if (!is_standard(output_)) std::cerr << "written: " << with_size(output_) << '\n';
  }

 private:
  bool writes_report() const { return !svg_ && !cpp_ && !python_ && !summary_ && rules_.empty(); }

  void check_options() {
    const int n = html_ + svg_ + cpp_ + python_ + summary_ + !rules_.empty();
    if (n > 1) throw usage_error("--html, --svg, --rules, --cpp, --python, --summary: one of them");
    if (!from_.names.empty() && from_.data.empty()) throw usage_error("--names needs --data");
    if (given_("--seed")) {
      if (from_.data.empty()) throw usage_error("--seed needs --data");
      from_.seed = seed_;
    }
    if (!given_("--depth")) depth_ = orvik::k_all_levels;
    const char given = separator_of("--separator", separator_);
    from_.separator = given == 0 ? ',' : given;
    namespace fs = std::filesystem;
    if (output_.empty()) {
      output_ = writes_report()
                    ? fs::path(from_.model).filename().replace_extension(".html").string()
                    : "-";
    }
  }

  opened open() const {
    if (from_.data.empty() || !from_.names.empty()) return orvik::view::open_sources(from_);
    orvik::view::sources only_model = from_;
    only_model.data.clear();
    only_model.seed.reset();
    opened found = orvik::view::open_sources(only_model);
    const reading how = reading_of(*found.model);
    new_rows rows(*found.model, how, from_.data, separator_of("--separator", separator_),
                  std::cerr);
    found.rows = rows.load();
    if (from_.seed) {
      orvik::set_seed(*from_.seed);
      found.model->recall_draws(found.rows.get());
    }
    return found;
  }

  void write_rules(const chosen_tree& chosen, std::ostream& out) const {
    if (rules_ == "sql") return orvik::view::write_sql(chosen, relation_, out);
    using writer = void (*)(const chosen_tree&, std::ostream&);
    static const std::map<std::string, writer> writers{{"text", orvik::view::write_rules_text},
                                                       {"csv", orvik::view::write_rules_csv},
                                                       {"json", orvik::view::write_rules_json}};
    writers.at(rules_)(chosen, out);
  }

  void write_form(const opened& found, std::ostream& out) const {
    const chosen_tree chosen{*found.model, tree_ == 0 ? orvik::view::k_whole_model : tree_ - 1};
    if (svg_) return orvik::view::write_svg(chosen, depth_, out);
    if (cpp_) return orvik::view::write_cpp(*found.model, out);
    if (python_) return orvik::view::write_python(*found.model, out);
    if (summary_) {
      return orvik::view::write_summary(chosen, depth_, terminal_of(is_standard(output_), color_),
                                        out);
    }
    if (!rules_.empty()) return write_rules(chosen, out);
    const std::string title = std::filesystem::path(from_.model).filename().string();
    orvik::view::write_html_report(*found.model, title, found.rows.get(), out);
  }

  orvik::view::sources from_;
  std::string output_, rules_, relation_ = "cases", color_ = "auto", separator_ = "auto";
  bool html_ = false, svg_ = false, cpp_ = false, python_ = false, summary_ = false;
  unsigned long tree_ = 0, depth_ = 0, seed_ = 0;
  std::function<bool(const char*)> given_;
};

}  // namespace

std::unique_ptr<verb> new_view() { return std::make_unique<view_verb>(); }

}  // namespace orvverbs
