#include "model_file.h"

#include <stdexcept>

#include "binary_file.h"
#include "zel/inpout/ioconn.h"
#include "zel/inpout/stream.h"
#include "zel/util/parallel.h"
#include "zel/util/seed.h"

namespace orvview {

namespace {

namespace impls = orvik::impls;

constexpr char k_no_model[] = " holds no model";
constexpr char k_no_trees[] = " holds a model without trees";
constexpr char k_other_columns[] = " does not have the columns of the model: ";
constexpr char k_unknown_value[] = "?";

std::unique_ptr<impls::dtree> read_model(const std::string& file) {
  std::unique_ptr<impls::dtree> model;
  orvik::read_binary(file, "model", [&model](zel::inpout::ibinstream& in) {
    if (!in.read_presence()) return;
    model = std::make_unique<impls::dtree>("");
    in >> *model;
  });
  if (!model) throw std::runtime_error("File: " + file + k_no_model);
  if (model->n_trees() == 0) throw std::runtime_error("File: " + file + k_no_trees);
  return model;
}

zel::inpout::stream open_text(const std::string& file, char separator) {
  return {zel::inpout::ioconn::get_default_input(file), separator, /*owns=*/true};
}

/// Runs read(); an error of it that does not say of which file it is gets the name in front.
template <class Read>
void naming(const std::string& file, const Read& read) {
  try {
    read();
  } catch (const std::runtime_error& failure) {
    const std::string what = failure.what();
    if (what.find(file) != what.npos) throw;
    throw std::runtime_error("File: " + file + ": " + what);
  }
}

void require_same_columns(const impls::table& schema, const impls::table& t,
                          const std::string& file) {
  const auto fail = [&file](const std::string& what) {
    throw std::runtime_error("File: " + file + k_other_columns + what);
  };
  if (t.n_columns() != schema.n_columns()) {
    fail(std::to_string(t.n_columns()) + " for " + std::to_string(schema.n_columns()));
  }
  for (unsigned long i = 0; i < t.n_columns(); ++i) {
    const impls::column& own = t.get_column(i);
    const impls::column& wanted = schema.get_column(i);
    if (own.name() != wanted.name()) fail(own.name() + " for " + wanted.name());
    const bool same =
        own.type() == wanted.type() && own.values()->type() == wanted.values()->type();
    if (!same) fail("type or role of " + own.name());
  }
}

std::unique_ptr<impls::table> read_rows(const sources& from, const impls::table& schema) {
  auto rows = std::make_unique<impls::table>(from.data);
  naming(from.names, [&] {
    zel::inpout::stream names = open_text(from.names, from.separator);
    rows->load_meta_data(&names, k_unknown_value);
  });
  require_same_columns(schema, *rows, from.names);
  naming(from.data, [&] {
    zel::inpout::stream data = open_text(from.data, from.separator);
    rows->load_data(&data, zel::util::parallel::n_workers, /*log=*/nullptr);
    rows->rescale_weights();
  });
  return rows;
}

}  // namespace

opened open_sources(const sources& from) {
  opened found;
  found.model = read_model(from.model);
  if (!from.data.empty()) found.rows = read_rows(from, *found.model->get_training_table());
  if (found.rows && from.seed) {
    zel::util::set_seed(*from.seed);
    found.model->recall_draws(*found.rows);
  }
  return found;
}

}  // namespace orvview
