// Columns of other programs' arrays into columns of codes, each by itself: only those that are
// worked on have their values twice.
#include <stdexcept>

#include "impls/loading/final_codes.h"
#include "impls/loading/new_column.h"
#include "impls/tables/table.h"
#include "zel/util/cronos.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_has_its_columns[] = "the table has its columns already";
constexpr char k_no_columns[] = "there must be at least one column";
constexpr char k_no_row_in_memory[] = "there must be at least one row of data";

const char* name_of(model::column_role role) {
  constexpr const char* k_names[] = {"discrete", "continuous", "class", "weights", "ignore"};
  return k_names[role];
}

/// Column `from` with its codes, over the value set of `empty`.
std::unique_ptr<column> filled(column& empty, const cell_array& cells, const cell_rows& rows) {
  std::vector<std::uint32_t> codes;
  empty.values()->load_cells(cells, rows, codes);
  std::unique_ptr<column> full = empty.refitted();
  if (full->codes().bits == 0) return full;  // stores nothing
  full->reserve(rows.size());
  append_codes(
      codes.size(), [&codes](std::size_t i) { return code_t{codes[i]}; }, *full);
  return full;
}

}  // namespace

void table::load_columns(std::span<const column_cells> columns, const cell_rows& rows,
                         const std::string& missing_value, zel::util::run_context& run) {
  if (!columns_.empty()) throw std::runtime_error(k_has_its_columns);
  if (columns.empty()) throw std::runtime_error(k_no_columns);
  if (rows.size() == 0) throw std::runtime_error(k_no_row_in_memory);
  zel::util::cronos watch;
  watch.start();
  std::vector<std::unique_ptr<column>> made;
  for (const column_cells& c : columns) {
    made.push_back(make_column(c.name, c.type, name_of(c.role), missing_value));
  }
  std::vector<std::string> errors(made.size());
  run.with_workers([&] {
    run.for_each_index(made.size(), [&](unsigned long i) {
      try {
        made[i] = filled(*made[i], columns[i].cells, rows);
      } catch (const std::runtime_error& failure) {
        errors[i] = "column " + columns[i].name + ": " + failure.what();
      }
    });
  });
  for (const std::string& error : errors) {
    if (!error.empty()) throw std::runtime_error(error);
  }
  table loaded(name_);  // beside this one, which stays as it is if a check fails
  loaded.adopt_columns(std::move(made));
  loaded.n_rows_ = rows.size();
  loaded.check_classes();
  loaded.check_weights();
  adopt_columns(std::move(loaded.columns_));
  n_rows_ = rows.size();
  run.count(zel::util::progress::unit::rows, n_rows_);
  watch.stop();
  elapsed_ = watch.get_elapsed();
}

}  // namespace orvik::impls
