#include "model_file.h"

#include <stdexcept>

#include "orvik/orvik.h"

namespace orvik::view {

namespace {

constexpr char k_no_model[] = " holds no model";
constexpr char k_no_trees[] = " holds a model without trees";
constexpr char k_other_columns[] = " does not have the columns of the model: ";

std::unique_ptr<orvik::dtree> read_model(const std::string& file) {
  std::unique_ptr<orvik::dtree> model(orvik::dtree::fromBinary(file));
  if (!model) throw std::runtime_error("File: " + file + k_no_model);
  if (model->get_no_trees() == 0) throw std::runtime_error("File: " + file + k_no_trees);
  return model;
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

void require_same_columns(const orvik::schema_view& schema, const orvik::schema_view& rows,
                          const std::string& file) {
  const auto fail = [&file](const std::string& what) {
    throw std::runtime_error("File: " + file + k_other_columns + what);
  };
  if (rows.n_columns() != schema.n_columns()) {
    fail(std::to_string(rows.n_columns()) + " for " + std::to_string(schema.n_columns()));
  }
  for (unsigned long i = 0; i < rows.n_columns(); ++i) {
    const orvik::column_view own = rows.column(i), wanted = schema.column(i);
    if (own.name() != wanted.name()) fail(own.name() + " for " + wanted.name());
    const bool same = own.role() == wanted.role() && own.has_type_of(wanted);
    if (!same) fail("type or role of " + own.name());
  }
}

std::unique_ptr<orvik::table> read_rows(const sources& from, const orvik::schema_view& schema) {
  auto rows = std::make_unique<orvik::table>(from.data);
  naming(from.names,
         [&] { rows->load_meta_data(from.names, from.separator, orvik::k_unknown_text); });
  require_same_columns(schema, rows->get_schema(), from.names);
  naming(from.data, [&] {
    rows->load_data(from.data, from.separator, orvik::get_n_workers(), /*log=*/nullptr);
    rows->rescale_weights();
  });
  return rows;
}

}  // namespace

opened open_sources(const sources& from) {
  opened found;
  found.model = read_model(from.model);
  if (!from.data.empty()) found.rows = read_rows(from, found.model->get_schema());
  if (found.rows && from.seed) {
    orvik::set_seed(*from.seed);
    found.model->recall_draws(found.rows.get());
  }
  return found;
}

}  // namespace orvik::view
