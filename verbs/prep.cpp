// orvik prep: a delimited file as the table that orvcmd reads.
#include <iostream>
#include <sstream>

#include "conversion.h"
#include "files.h"
#include "input.h"
#include "verbs.h"

namespace orvverbs {

namespace {

constexpr char k_prep_examples[] =
    "Examples:\n"
    "  orvik prep people.csv -o people --class buys\n"
    "  orvcmd -f people -tstd\n\n"
    "COLUMN is a name or a number from 1. See orvik-prep(1).";

class prep_verb : public verb {
 public:
  const char* name() const override { return "prep"; }
  const char* summary() const override { return "a CSV file as .names and .data, for orvcmd"; }

  void declare(options& all) override {
    all.positional("FILE", input_.file, "delimited file, plain or gzip; - for standard input");
    all.group("What is written");
    all.text("-o,--output", output_, "PREFIX", "write PREFIX.names and PREFIX.data");
    all.file("--test", test_, "a second file, written as PREFIX.test in the same form");
    all.text("--out-separator", out_separator_, "CHAR", "of what is written");
    all.text("--replace", replacement_, "TEXT",
             "what stands for separators and line ends inside a value");
    all.flag("--drop-unclassed", drop_unclassed_, "leave rows of unknown class out");
    all.flag("-q,--quiet", quiet_, "no table of the columns");
    input_.declare_columns(all);
    input_.declare_layout(all);
    all.examples(k_prep_examples);
  }

  void run() override {
    if (output_.empty()) throw usage_error("--output PREFIX: what is to be written?");
    orvprep::settings how = input_.settings();
    how.test = test_;
    how.output = output_;
    how.drop_unclassed = drop_unclassed_;
    how.quiet = quiet_;
    how.cells.replacement = replacement_;
    how.cells.out_separator = separator_of("--out-separator", out_separator_);
    if (how.cells.breaks_form(how.cells.replacement)) {
      throw usage_error("--replace: holds what it is to replace");
    }
    static_cast<void>(orvprep::convert(how, std::cout));
    flush_standard_output();
  }

 private:
  input_options input_;
  std::string output_, test_, out_separator_ = "auto", replacement_ = "_";
  bool drop_unclassed_ = false, quiet_ = false;
};

}  // namespace

std::unique_ptr<verb> new_prep() { return std::make_unique<prep_verb>(); }

}  // namespace orvverbs
