// orvik test: how good a model is on rows whose classes are known.
#include <sstream>

#include "applied_model.h"
#include "figures.h"
#include "files.h"
#include "judged_file.h"
#include "sets.h"
#include "verbs.h"

namespace orvverbs {

namespace {

constexpr char k_test_examples[] =
    "Examples:\n"
    "  orvik test people.orvik more.csv\n"
    "  orvik test people.orvik more.csv --json > figures.json\n\n"
    "Rows of unknown class are left out, and told. See orvik-test(1).";

class test_verb : public verb {
 public:
  const char* name() const override { return "test"; }
  const char* summary() const override { return "how good a model is on rows of known classes"; }

  void declare(options& all) override {
    applied_.declare_files(all);
    all.group("What is written");
    all.flag("--json", json_, "the figures as JSON");
    all.file("-o,--output", output_, "where to; else standard output");
    sets_.declare(all);
    applied_.declare_layout(all);
    all.examples(k_test_examples);
  }

  void run() override {
    applied_.open(output_);
    sets_.open(applied_.model(), applied_.model_file());
    judged_test found = test_of(judged(), "rows of " + applied_.file());
    found.costs = applied_.model().get_costs();
    write_file(output_, [&](std::ostream& out) { write(found, out); });
  }

 private:
  orvik::judged_rows judged() {
    judged_file found = judge_file(applied_.model(), applied_.rows(), applied_.file());
    tell_rows(applied_.file(), found.unclassed, " of unknown class left out");
    tell_rows(applied_.file(), found.other, " of a class that the model does not have: errors");
    return std::move(found.rows);
  }

  void write(const judged_test& found, std::ostream& out) const {
    if (!json_) {
      write_error(found, out);
      write_figures(found, out);
      if (sets_.wanted()) write_set_figures(set_figures(found), sets_.request(), out);
      return;
    }
    zel::text::json_sink sink(out);
    json_out json(sink);
    json.object([&] {
      write_figures(found, applied_.file(), json);
      if (sets_.wanted()) write_sets(set_figures(found), json);
    });
    out << '\n';
  }

  std::vector<orvik::set_figures> set_figures(const judged_test& found) const {
    return set_figures_of(found.rows, sets_.limits());
  }

  void write_sets(const std::vector<orvik::set_figures>& all, json_out& json) const {
    const auto number = [&json](const char* key, double x) {
      json.key(key);
      json.number(x);
    };
    json.key("sets");
    json.object([&] {
      number("percent", sets_.request().percent);
      json.key("by_class");
      json.Bool(sets_.request().by_class);
      json.array("figures", all, [&](const orvik::set_figures& each) {
        json.object([&] {
          json.key("class");
          &each == all.data() ? static_cast<void>(json.Null()) : json.text(utf8(each.name));
          number("weight", each.weight);
          number("covered", each.covered);
          number("size", each.size);
          number("empty", each.empty);
          number("single", each.single);
        });
      });
    });
  }

  applied_model applied_;
  asked_sets sets_;
  std::string output_ = "-";
  bool json_ = false;
};

}  // namespace

std::unique_ptr<verb> new_test() { return std::make_unique<test_verb>(); }

}  // namespace orvverbs
