#include "trial.h"

#include <iostream>

#include "files.h"
#include "row_file.h"

namespace orvverbs {

void trial::declare_file(options& all) {
  all.positional("FILE", input_.file, "the rows, as of orvik train");
}

void trial::declare_output(options& all, const std::string& json_help) {
  all.group("What is written");
  all.flag("--json", json_, json_help);
  all.file("-o,--output", output_, "where to; else standard output");
}

void trial::declare_rest(options& all) {
  input_.declare_columns(all);
  input_.declare_layout(all);
  learning_.declare_run(all);
}

void trial::run() {
  learning_.begin();
  const auto [names, data] = pair_of(input_.file);
  check_files({input_.file, names, data, learning_.costs, learning_.class_weights}, {output_});
  try_out(load_training(input_, std::cerr));
  write_file(output_, [this](std::ostream& out) {
    if (!json_) return write(out);
    zel::text::json_sink sink(out);
    json_out json(sink);
    json.object([&] { write(json); });
    out << '\n';
  });
}

}  // namespace orvverbs
