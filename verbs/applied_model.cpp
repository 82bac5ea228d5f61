#include "applied_model.h"

#include <iostream>

#include "files.h"
#include "input.h"
#include "zel/util/run_context.h"

namespace orvverbs {

void applied_model::declare_files(options& all) {
  all.positional("MODEL", model_file_, "a model that orvik train or orvcmd -tb wrote");
  all.positional("FILE", file_, "the rows: a delimited file, plain or gzip; - for standard input");
}

void applied_model::declare_layout(options& all) {
  all.group("What FILE looks like");
  all.text("-s,--separator", separator_, "CHAR", "a character, tab or auto");
  run_.declare_threads(all);
}

void applied_model::open(const std::string& output, const std::string& second) {
  run_.begin();
  check_files({model_file_, file_}, {output, second});
  model_ = read_model(model_file_);
  how_ = reading_of(*model_);
  const char separator = separator_of("--separator", separator_);
  rows_ = std::make_unique<new_rows>(*model_, how_, file_, separator, std::cerr);
  zel::util::default_context().progress().begin(zel::util::progress::unit::rows, 0);
}

}  // namespace orvverbs
